#include "findings.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>

#include "json.h"
#include "utility.h"

namespace ctlmap {
namespace {

void print_count(int count, const char* name, FILE* out) {
    fprintf(out, "%d %s%s", count, name, count == 1 ? "" : "s");
}

}  // namespace

int findings::of(severity level) const {
    const auto has_level = [&](const finding& item) { return item.level == level; };
    return static_cast<int>(std::count_if(items, items + count, has_level));
}

void report(findings* to, rule_ref by, const char* file, int line, const char* format, ...) {
    finding item{file, line, by.its->level, by.its->id, ""};
    va_list args;
    va_start(args, format);
    vsnprintf(item.text, sizeof item.text, format, args);
    va_end(args);
    utl_hide_controls(item.text);
    const auto is_same = [&](const finding& other) {
        return strcmp(other.file, file) == 0 && other.line == line &&
               strcmp(other.text, item.text) == 0;
    };
    if (std::any_of(to->items, to->items + to->count, is_same)) {
        return;
    }
    if (to->count == MAX_FINDINGS) {
        ++to->dropped;
    } else {
        to->items[to->count++] = item;
    }
}

void sort(findings* what, std::span<const char* const> files) {
    const auto rank = [&](const finding& item) {
        const auto is_its = [&](const char* file) { return strcmp(file, item.file) == 0; };
        return std::find_if(files.begin(), files.end(), is_its) - files.begin();
    };
    // Few, and moved seldom; std::stable_sort would allocate.
    for (int end = 1; end < what->count; ++end) {
        for (int i = end; i > 0; --i) {
            finding& upper = what->items[i - 1];
            finding& lower = what->items[i];
            const auto difference = rank(lower) - rank(upper);
            if (difference > 0 || (difference == 0 && lower.line >= upper.line)) {
                break;
            }
            std::swap(upper, lower);
        }
    }
}

void print(const findings& what, const char* dir, bool quiet, FILE* out) {
    for (const finding& item : what.all()) {
        if (quiet && item.level == NOTE) {
            continue;
        }
        fprintf(out, "%s/%s:", dir, item.file);
        if (item.line > 0) {
            fprintf(out, "%d:", item.line);
        }
        fprintf(out, " %s: %s [%s]\n", SEVERITY_NAMES[item.level], item.text, item.rule);
    }
    if (quiet) {
        return;
    }
    for (const severity level : {ERROR, WARNING, NOTE}) {
        print_count(what.of(level), SEVERITY_NAMES[level], out);
        fputs(level == NOTE ? "" : ", ", out);
    }
    if (what.dropped > 0) {
        fprintf(out, "; %d more not shown", what.dropped);
    }
    fputc('\n', out);
}

void print_json(const findings& what, const char* dir, FILE* out) {
    json_writer json(out);
    json.begin_object();
    json.key("directory").value(dir);
    for (const severity level : {ERROR, WARNING, NOTE}) {
        char plural[16];
        snprintf(plural, sizeof plural, "%ss", SEVERITY_NAMES[level]);
        json.key(plural).value(what.of(level));
    }
    json.key("findings").begin_array();
    for (const finding& item : what.all()) {
        json.begin_object();
        json.key("file").value(item.file);
        json.key("line").value(item.line);
        json.key("severity").value(SEVERITY_NAMES[item.level]);
        json.key("rule").value(item.rule);
        json.key("text").value(item.text);
        json.end_object();
    }
    json.end_array();
    json.end_object();
}

void print_rules(FILE* out) {
    fputs("| rule | | finds | what helps |\n|---|---|---|---|\n", out);
    for (const rule& one : RULES) {
        fprintf(out, "| `%s` | %s | %s | %s |\n", one.id, SEVERITY_NAMES[one.level], one.finds,
                one.cure);
    }
}

}  // namespace ctlmap
