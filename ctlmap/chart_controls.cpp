// Every control with its messages, byte by byte.
#include <cstring>

#include "chart_parts.h"
#include "softlabel.h"

namespace ctlmap {
namespace {

constexpr const char* COLUMNS[] = {"Control",       "Index",        "From the board", "To the host",
                                   "From the host", "To the board", "Values",         "Passes"};
enum column { CONTROL, INDEX, FROM_BOARD, TO_HOST, FROM_HOST, TO_BOARD, VALUES, PASSES };

// "90 3C vv": one message; the data byte is `vv` unless it is given.
struct message {
    int status, number;
    const char* data = "vv";
};

// Up to two messages in a cell, below each other.
void put_messages(column in, std::initializer_list<message> messages, FILE* out) {
    fprintf(out, "<td data-l=\"%s\">", COLUMNS[in]);
    const char* before = "<code>";
    for (const message& one : messages) {
        fprintf(out, "%s%02X %02X %s", before, static_cast<unsigned>(one.status),
                static_cast<unsigned>(one.number), one.data);
        before = "</code><br><code>";
    }
    fputs(messages.size() > 0 ? "</code></td>" : "</td>", out);
}

bool sends_positions(const control& one) {
    return one.kind == POT;
}

void put_from_board(const control& one, FILE* out) {
    if (one.board_sends == NONE) {
        put_messages(FROM_BOARD, {}, out);
    } else if (one.host_sees_note) {
        put_messages(FROM_BOARD, {{0x90, one.board_sends}, {0x80, one.board_sends}}, out);
    } else if (sends_positions(one)) {
        put_messages(FROM_BOARD, {{0xB0, one.board_sends}, {0xB1, one.board_sends}}, out);
    } else {
        put_messages(FROM_BOARD, {{0xB0, one.board_sends}}, out);
    }
}

void put_to_host(const chart& from, const control& one) {
    const int channel = sent_channel(from.of);
    if (one.host_sees == NONE) {
        put_messages(TO_HOST, {}, from.out);
    } else if (one.host_sees_note) {
        put_messages(TO_HOST,
                     {{0x90 | channel, one.host_sees, "7F"}, {0x80 | channel, one.host_sees}},
                     from.out);
    } else {
        put_messages(TO_HOST, {{0xB0 | channel, one.host_sees}}, from.out);
    }
}

void put_from_host(const chart& from, const control& one) {
    const int channel = from.of.channel;
    if (one.host_sends == NONE || !is_heard(from.of)) {
        put_messages(FROM_HOST, {}, from.out);
    } else if (one.host_sends_note) {
        put_messages(FROM_HOST,
                     {{0x90 | channel, one.host_sends}, {0x80 | channel, one.host_sends}},
                     from.out);
    } else {
        put_messages(FROM_HOST, {{0xB0 | channel, one.host_sends}}, from.out);
    }
}

void put_to_board(const control& one, FILE* out) {
    if (one.board_sees == NONE) {
        put_messages(TO_BOARD, {}, out);
    } else if (one.kind == METER) {
        put_messages(TO_BOARD, {{0xB0, one.board_sees, "30"}, {0xB0, one.board_sees, "37"}}, out);
    } else {
        put_messages(TO_BOARD, {{one.board_sees_note ? 0x90 : 0xB0, one.board_sees}}, out);
    }
}

void put_values(const control& one, FILE* out) {
    const bool has_led = one.host_sends_note && one.board_sees_note && one.host_sends != NONE;
    fprintf(out, "<td data-l=\"%s\">", COLUMNS[VALUES]);
    if (one.relative) {
        fprintf(out, "relative: 65-127 clockwise, 63-1 back%s; %d unit%s a step",
                one.kind == PLATTER ? "" : ", 64 at rest", one.units_per_step,
                one.units_per_step == 1 ? "" : "s");
    } else if (one.host_sees != NONE && !one.host_sees_note) {
        fputs("absolute: 0-127", out);
    } else if (one.kind == METER) {
        fputs("0-127 in 8 levels", out);
    } else if (one.kind == SPARE) {
        fputs("not connected", out);
    } else if (one.kind == BUTTON) {
        fputs(has_led ? "on press 127<br>" : "on press 127", out);
    }
    if (has_led) {
        fprintf(out, "LED 0-127, %s", one.off_darkens ? "off by note-off" : "also by note-off");
    }
    if (one.idx == HOST_CFG_BASE + LED_ZERO) {
        fputs("; makes the next value of every LED and meter go out again", out);
    }
    fprintf(out, one.passes > 0 ? "</td><td data-l=\"%s\">%d</td>" : "</td><td></td>",
            COLUMNS[PASSES], one.passes);
}

void put_row(const chart& from, const control& one) {
    FILE* const out = from.out;
    fprintf(out, "<tr id=\"c%d\"><th scope=\"row\">", one.idx);
    put_text(one.name[0] != '\0' ? one.name : "no name", out);
    fprintf(out, "<small> %s", KIND_NAMES[one.kind]);
    const t_soft_label* const label = one.host_sends == NONE ? nullptr : label_of(one.host_sends);
    if (label != nullptr) {
        fputs(", label \u201C", out);
        put_line(label_text(*label), out);
        fputs("\u201D", out);
    }
    fputs(one.record == nullptr ? ", no line</small>" : "</small>", out);
    put_finding_links(from, one.idx);
    fprintf(out, "</th><td data-l=\"%s\">%d</td>", COLUMNS[INDEX], one.idx);
    put_from_board(one, out);
    put_to_host(from, one);
    put_from_host(from, one);
    put_to_board(one, out);
    put_values(one, out);
    fputs("</tr>\n", out);
}

}  // namespace

void put_controls(const chart& from) {
    FILE* const out = from.out;
    fputs(
        "<section><h2>Controls</h2>\n<p>Bytes are hexadecimal, other numbers decimal. "
        "<code>vv</code> is the value; in a release it is what the board sends. The board sends a "
        "position in eight bits, the highest in the status byte. Passes: the fewest rounds of the "
        "daemon\u2019s worker between two messages of a controller.</p>\n"
        "<table class=\"controls\"><thead><tr>",
        out);
    for (const char* name : COLUMNS) {
        fprintf(out, "<th scope=\"col\">%s</th>", name);
    }
    fputs("</tr></thead>\n", out);
    for (const side on : {LEFT, MIDDLE, RIGHT}) {
        const char* before = "<tbody>";
        for (const control& one : from.controls) {
            if (side_of(one) != on) {
                continue;
            }
            if (*before != '\0') {
                fprintf(out, "%s<tr><th scope=\"rowgroup\" colspan=\"8\">%s</th></tr>\n", before,
                        SIDE_NAMES[on]);
                before = "";
            }
            put_row(from, one);
        }
        fputs(*before == '\0' ? "</tbody>\n" : "", out);
    }
    fputs("</table></section>\n", out);
}

}  // namespace ctlmap
