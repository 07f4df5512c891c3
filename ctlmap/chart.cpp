#include "chart.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "chart_parts.h"
#include "chart_style.h"
#include "config.h"
#include "softlabel.h"

namespace ctlmap {
namespace {

constexpr const char* NO_LINE_RULE = "no-line";

// The control that a line of a file is about, or NONE.
int control_of_base_line(const model& of, int line) {
    char text[32];
    char* end = text;
    if (!read_line(of, BASE_FILE, line, text, sizeof text)) {
        return NONE;
    }
    const long idx = strtol(text, &end, 10);
    return end != text && text[0] != ' ' && idx >= 0 && idx < TOTAL_CFG_ITEM ? static_cast<int>(idx)
                                                                             : NONE;
}

int control_of_preset_line(const model& of, int line) {
    for (const auto& record : of.preset) {
        if (record.line == line && record.idx >= 0 && record.idx < TOTAL_CFG_ITEM) {
            return record.idx;
        }
    }
    return NONE;
}

int control_of_label_line(const chart& from, int line) {
    for (const auto& record : from.of.labels) {
        for (const control& one : from.controls) {
            if (record.line == line && one.host_sends_note && one.host_sends == record.note) {
                return one.idx;
            }
        }
    }
    return NONE;
}

int control_of_finding(const chart& from, const finding& what) {
    if (what.line == 0) {
        return NONE;
    }
    if (strcmp(what.file, BASE_FILE) == 0) {
        return control_of_base_line(from.of, what.line);
    }
    if (strcmp(what.file, from.of.preset_file) == 0) {
        return control_of_preset_line(from.of, what.line);
    }
    return strcmp(what.file, LABELS_FILE) == 0 ? control_of_label_line(from, what.line) : NONE;
}

void put_product(const model& of, FILE* out) {
    const char* const name = of.of(PRODUCT_NAME).value;
    put_text(name[0] != '\0' ? name : "Controller", out);
}

void put_count(int count, const char* name, FILE* out) {
    fprintf(out, ", %d %s%s", count, name, count == 1 ? "" : "s");
}

void put_summary(const chart& from) {
    FILE* const out = from.out;
    fputs("<p class=\"soft\">", out);
    put_text(from.of.dir, out);
    if (is_heard(from.of)) {
        fprintf(out, ", MIDI channel %d", from.of.channel + 1);
    } else {
        fputs(", <b class=\"error\">no valid MIDI channel: nothing from the host is used</b>", out);
    }
    if (from.of.preset_no >= 0) {
        fprintf(out, ", preset %d%s", from.of.preset_no, from.of.preset_found ? "" : " (missing)");
    }
    fputs(" \u00b7 <a href=\"#findings\">check", out);
    for (const severity level : {ERROR, WARNING, NOTE}) {
        put_count(from.found.of(level), SEVERITY_NAMES[level], out);
    }
    fputs("</a></p>\n", out);
}

void put_head(const model& of, FILE* out) {
    fputs(
        "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>",
        out);
    put_product(of, out);
    fprintf(out, ": controls</title>\n<style>%s</style></head>\n<body>\n", STYLE);
}

}  // namespace

int sent_channel(const model& of) {
    return is_heard(of) ? of.channel : 0;
}

bool is_heard(const model& of) {
    return of.channel >= 0;
}

bool is_about(const chart& from, int finding, int idx) {
    const bool is_lost = from.controls[idx].record == nullptr;
    return from.control_at[finding] == idx ||
           (is_lost && strcmp(from.found.items[finding].rule, NO_LINE_RULE) == 0);
}

void put_finding_links(const chart& from, int idx) {
    for (int i = 0; i < from.found.count; ++i) {
        if (is_about(from, i, idx)) {
            const char* const level = SEVERITY_NAMES[from.found.items[i].level];
            fprintf(from.out, " <a class=\"%s\" href=\"#f%d\">%s %d</a>", level, i + 1, level,
                    i + 1);
        }
    }
}

void put_findings(const chart& from) {
    FILE* const out = from.out;
    fputs("<section id=\"findings\"><h2>Findings of <code>ctlmap check</code></h2>\n", out);
    if (from.found.count == 0) {
        fputs("<p>None.</p></section>\n", out);
        return;
    }
    fputs("<ol>\n", out);
    for (int i = 0; i < from.found.count; ++i) {
        const finding& one = from.found.items[i];
        fprintf(out, "<li id=\"f%d\"><b class=\"%s\">%s</b> <code>", i + 1,
                SEVERITY_NAMES[one.level], SEVERITY_NAMES[one.level]);
        put_text(one.file, out);
        fprintf(out, one.line > 0 ? ":%d</code> " : "</code> ", one.line);
        put_text(one.text, out);
        fprintf(out, " <small>[%s]</small>", one.rule);
        if (from.control_at[i] != NONE) {
            const control& at = from.controls[from.control_at[i]];
            fprintf(out, " <a href=\"#c%d\">", at.idx);
            put_text(at.name[0] != '\0' ? at.name : "control", out);
            fputs("</a>", out);
        }
        fputs("</li>\n", out);
    }
    fputs("</ol>\n", out);
    if (from.found.dropped > 0) {
        fprintf(out, "<p>%d more are not shown.</p>\n", from.found.dropped);
    }
    fputs("</section>\n", out);
}

void write_page(const model& of, const findings& found, FILE* out) {
    chart from{of, found, out, {}, {}};
    for (control& one : from.controls) {
        one = control_of(of, static_cast<int>(&one - from.controls));
    }
    for (int i = 0; i < found.count; ++i) {
        from.control_at[i] = control_of_finding(from, found.items[i]);
    }
    put_head(of, out);
    fputs("<main>\n<div class=\"sheet\"><h1>", out);
    put_product(of, out);
    fputs("</h1>\n", out);
    put_summary(from);
    put_front(from);
    fputs("</div>\n", out);
    put_screens(from);
    put_controls(from);
    put_midi_chart(from);
    put_findings(from);
    fputs("</main></body></html>\n", out);
}

}  // namespace ctlmap
