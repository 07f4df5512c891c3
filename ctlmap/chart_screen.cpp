// The screen with its labels, and what the labels are.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "chart_parts.h"
#include "softlabel.h"

namespace ctlmap {
namespace {

constexpr int SCREEN_COLUMNS = 60, SCREEN_ROWS = 17;
constexpr int CELL_WIDTH = 8, CELL_HEIGHT = 16, BASELINE = 12;  // 480 by 272, as the images are

// --- Colours of the console ---

constexpr const char* CONSOLE_COLORS[] = {"000", "a00", "0a0", "a50", "00a", "a0a", "0aa", "aaa",
                                          "555", "f55", "5f5", "ff5", "55f", "f5f", "5ff", "fff"};
constexpr int PLAIN = 7, BLACK = 0, BRIGHT = 8;

struct look {
    int fore = PLAIN, back = BLACK;
    bool bold = false, reversed = false;

    const char* text() const {
        return CONSOLE_COLORS[reversed ? back : fore | (bold && fore < BRIGHT ? BRIGHT : 0)];
    }
    const char* ground() const {
        return CONSOLE_COLORS[reversed ? fore | (bold && fore < BRIGHT ? BRIGHT : 0) : back];
    }
};

void apply_code(int code, look* to) {
    constexpr struct {
        int first, color;
        int look::*part;
    } ranges[] = {{30, 0, &look::fore},
                  {40, 0, &look::back},
                  {90, BRIGHT, &look::fore},
                  {100, BRIGHT, &look::back}};
    for (const auto& range : ranges) {
        if (code >= range.first && code < range.first + BRIGHT) {
            to->*range.part = range.color + code - range.first;
        }
    }
    if (code == 0) {
        *to = {};
    } else if (code == 1 || code == 22) {
        to->bold = code == 1;
    } else if (code == 7 || code == 27) {
        to->reversed = code == 7;
    } else if (code == 39) {
        to->fore = PLAIN;
    } else if (code == 49) {
        to->back = BLACK;
    }
}

// What a sequence of the colour list sets the console to; in it, as in echo -e, \033 is the escape
// byte. Sequences of another kind change nothing.
look look_of(const char* sequence) {
    look result;
    for (const char* at = strchr(sequence, '['); at != nullptr; at = strchr(at, '[')) {
        const std::string_view before(sequence, static_cast<size_t>(at - sequence));
        ++at;
        const char* const stop = at + strspn(at, "0123456789;");
        const bool is_escape = before.ends_with("\\033") || before.ends_with("\\e") ||
                               before.ends_with("\\x1b") || before.ends_with("\\x1B");
        while (is_escape && *stop == 'm' && at <= stop) {
            apply_code(atoi(at), &result);
            at = std::min(at + strcspn(at, ";m"), stop) + 1;
        }
        at = std::max(at, stop);
    }
    return result;
}

// As the daemon: a colour that is not in the list is drawn in colour 0.
look look_of_slot(int color) {
    return look_of(colorList[std::max(color, 0)].label_name);
}

const char* color_name(int color) {
    return color < 0 ? "not in the list" : colorList[color].key_name;
}

// --- Labels ---

std::span<const t_soft_label> labels() {
    const int count = total_valid_soft_label > 0 ? total_soft_label : 0;
    return {soft_label_array, static_cast<size_t>(count)};
}

bool is_used(const t_soft_label& label) {
    return label.cc != INVALID_CC;
}

// The console takes places beyond its edge for the edge.
void put_label(const t_soft_label& label, bool is_lit, FILE* out) {
    const look drawn = look_of_slot(is_lit ? label.on_color_idx : label.off_color_idx);
    const int x = (std::clamp(label.y_pos, 1, SCREEN_COLUMNS) - 1) * CELL_WIDTH;
    const int y = (std::clamp(label.x_pos, 1, SCREEN_ROWS) - 1) * CELL_HEIGHT;
    const int room = std::min(MAX_LABEL_LEN, SCREEN_COLUMNS - x / CELL_WIDTH);
    if (strcmp(drawn.ground(), CONSOLE_COLORS[BLACK]) != 0) {
        fprintf(out, "<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"#%s\"/>", x, y,
                room * CELL_WIDTH, CELL_HEIGHT, drawn.ground());
    }
    const text_line whole = label_text(label);
    text_line text;
    if (break_text(whole.begin, whole.end, room, 1, &text) > 0) {
        fprintf(out, "<text x=\"%d\" y=\"%d\" fill=\"#%s\">", x, y + BASELINE, drawn.text());
        put_line(text, out);
        fputs("</text>\n", out);
    }
}

void put_screen(bool is_lit, const char* what, FILE* out) {
    fprintf(out,
            "<figure><svg viewBox=\"0 0 480 272\" role=\"img\"><title>%s</title>\n"
            "<symbol id=\"screen%d\" viewBox=\"0 0 480 272\"><rect width=\"480\" height=\"272\" "
            "rx=\"4\"/>\n",
            what, is_lit);
    for (const t_soft_label& label : labels()) {
        if (is_used(label)) {
            put_label(label, is_lit, out);
        }
    }
    fprintf(out,
            "</symbol><use href=\"#screen%d\" width=\"480\" height=\"272\"/></svg>"
            "<figcaption>%s</figcaption></figure>\n",
            is_lit, what);
}

void put_chip(int color, FILE* out) {
    const look drawn = look_of_slot(color);
    fprintf(out,
            "<svg class=\"chip\" viewBox=\"0 0 20 14\" aria-hidden=\"true\"><rect width=\"20\" "
            "height=\"14\" rx=\"2\" fill=\"#%s\"/><rect x=\"4\" y=\"5\" width=\"12\" height=\"4\" "
            "fill=\"#%s\"/></svg> ",
            drawn.ground(), drawn.text());
    put_text(color_name(color), out);
}

void put_label_row(const t_soft_label& label, FILE* out) {
    fputs("<tr><th scope=\"row\">", out);
    put_text(label.key_name, out);
    fprintf(out, "</th><td data-l=\"Place\">%d, %d</td><td data-l=\"Text\">", label.x_pos,
            label.y_pos);
    put_line(label_text(label), out);
    if (!is_used(label)) {
        fputs("</td><td data-l=\"Note\">no label</td><td></td><td></td></tr>\n", out);
        return;
    }
    fprintf(out, "</td><td data-l=\"Note\">%d</td><td data-l=\"On\">", label.cc);
    put_chip(label.on_color_idx, out);
    fputs("</td><td data-l=\"Off\">", out);
    put_chip(label.off_color_idx, out);
    fputs("</td></tr>\n", out);
}

}  // namespace

text_line label_text(const t_soft_label& label) {
    const char* end = label.label_name + strlen(label.label_name);
    while (end > label.label_name && end[-1] == ' ') {
        --end;
    }
    return {label.label_name, end, false};
}

void put_screens(const chart& from) {
    FILE* const out = from.out;
    fputs("<section><h2>Screen</h2>\n<div class=\"screens\">\n", out);
    put_screen(true, "All labels on", out);
    put_screen(false, "All labels off, as after the start", out);
    fputs("</div>\n", out);
    if (labels().empty()) {
        fputs("<p>There are no labels.</p></section>\n", out);
        return;
    }
    fputs(
        "<table class=\"labels\"><caption>Labels, in the order in which notes find them</caption>\n"
        "<thead><tr><th scope=\"col\">Key</th><th scope=\"col\">Row, column</th>"
        "<th scope=\"col\">Text</th><th scope=\"col\">Note</th><th scope=\"col\">On</th>"
        "<th scope=\"col\">Off</th></tr></thead><tbody>\n",
        out);
    for (const t_soft_label& label : labels()) {
        put_label_row(label, out);
    }
    fputs("</tbody></table></section>\n", out);
}

}  // namespace ctlmap
