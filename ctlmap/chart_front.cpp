// The front of the controller: a deck, the mixer, the other deck, each a drawing of its own, so
// that they stand side by side where there is room and below each other where there is none.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "chart_parts.h"

namespace ctlmap {
namespace {

// --- What stands where ---

// Groups of controls that stand together, from top to bottom.
enum block { TOP, TURNING, EFFECTS, TEMPO, LOOPS, PADS, TRANSPORT, KNOBS, FADERS, KEYS, CROSS };

enum built_in { DECK_A, MIXER, DECK_B, BY_TURNS };  // by turns: even A, odd B

struct spot {
    int first, last;
    block in;
    built_in on;
};
constexpr spot SPOTS[] = {
    {0, 1, FADERS, BY_TURNS},    {2, 9, KNOBS, BY_TURNS},     {10, 15, TURNING, BY_TURNS},
    {16, 16, CROSS, MIXER},      {17, 17, KNOBS, MIXER},      {18, 18, TOP, MIXER},
    {19, 20, KNOBS, MIXER},      {21, 23, TRANSPORT, DECK_A}, {24, 27, PADS, DECK_A},
    {28, 32, LOOPS, DECK_A},     {33, 36, TEMPO, DECK_A},     {37, 40, EFFECTS, DECK_A},
    {41, 41, TRANSPORT, DECK_A}, {42, 44, TRANSPORT, DECK_B}, {45, 48, PADS, DECK_B},
    {49, 53, LOOPS, DECK_B},     {54, 57, TEMPO, DECK_B},     {58, 61, EFFECTS, DECK_B},
    {62, 62, TRANSPORT, DECK_B}, {63, 63, TURNING, DECK_A},   {64, 64, TURNING, DECK_B},
    {65, 65, KEYS, MIXER},       {66, 67, TOP, MIXER},        {68, 68, TOP, DECK_A},
    {69, 69, TOP, DECK_B},       {70, 70, TOP, MIXER},        {71, 71, KEYS, MIXER},
    {72, 73, TURNING, BY_TURNS}, {74, 79, TOP, BY_TURNS},     {80, 81, KEYS, MIXER},
    {82, 83, FADERS, BY_TURNS},  {84, 84, KEYS, MIXER},
};

const spot& spot_of(int idx) {
    return *std::find_if(std::begin(SPOTS), std::end(SPOTS),
                         [&](const spot& one) { return idx >= one.first && idx <= one.last; });
}

bool is_pitch_fader(const control& one) {
    return one.kind == POT && spot_of(one.idx).in == TURNING;
}

struct box {
    int x, y, width, height;
};

// --- Sizes ---

constexpr int PANEL_WIDTH = 380, HEADING = 34, MARGIN = 10;
constexpr int STRIP_WIDTH = 84, STRIP_MOST = 6;  // knobs below each other
constexpr int SCREEN_HEIGHT = 204;
constexpr int LEAST_GAP = 8, MOST_RADIUS = 104, ROOMY_RADIUS = 80, PITCH_WIDTH = 70;

struct block_form {
    int height;   // of a row
    int columns;  // where there is no strip of its own for it
};
constexpr block_form FORMS[] = {
    {52, 4},   // TOP
    {0, 1},    // TURNING
    {52, 4},   // EFFECTS
    {52, 4},   // TEMPO
    {52, 5},   // LOOPS
    {62, 4},   // PADS
    {58, 4},   // TRANSPORT
    {78, 4},   // KNOBS
    {196, 4},  // FADERS
    {54, 5},   // KEYS
    {84, 1},   // CROSS
};

// Blocks below each other between two edges.
struct column {
    int x, width;
    std::span<const block> blocks;
    bool is_strip;
};
constexpr block STRIP_BLOCKS[] = {KNOBS, FADERS};
constexpr block DECK_BLOCKS[] = {TOP, TURNING, EFFECTS, TEMPO, LOOPS, PADS, TRANSPORT, KEYS, CROSS};
constexpr block MIXER_BLOCKS[] = {TOP,  TURNING,   EFFECTS, TEMPO,  LOOPS, PADS,
                                  KEYS, TRANSPORT, KNOBS,   FADERS, CROSS};
constexpr int INNER = PANEL_WIDTH - 2 * MARGIN;
constexpr int MAIN_WIDTH = INNER - STRIP_WIDTH - MARGIN;
constexpr column LEFT_COLUMNS[] = {{MARGIN, MAIN_WIDTH, DECK_BLOCKS, false},
                                   {2 * MARGIN + MAIN_WIDTH, STRIP_WIDTH, STRIP_BLOCKS, true}};
constexpr column RIGHT_COLUMNS[] = {{MARGIN, STRIP_WIDTH, STRIP_BLOCKS, true},
                                    {2 * MARGIN + STRIP_WIDTH, MAIN_WIDTH, DECK_BLOCKS, false}};
constexpr column MIXER_COLUMNS[] = {{MARGIN, INNER, MIXER_BLOCKS, false}};
constexpr std::span<const column> COLUMNS[SIDES] = {LEFT_COLUMNS, MIXER_COLUMNS, RIGHT_COLUMNS};

// The controls of a block on one side, in the order of their indices.
struct group {
    const control* items[TOTAL_CFG_ITEM];
    int count = 0;

    group(const chart& from, side on, block in) {
        for (const control& one : from.controls) {
            if (side_of(one) == on && spot_of(one.idx).in == in) {
                items[count++] = &one;
            }
        }
    }
    std::span<const control* const> all() const { return {items, static_cast<size_t>(count)}; }
    int pitch_faders() const {
        return static_cast<int>(
            std::count_if(items, items + count, [](auto* one) { return is_pitch_fader(*one); }));
    }
};

int radius_of(const group& of, int width) {
    return std::min(MOST_RADIUS, (width - of.pitch_faders() * PITCH_WIDTH) / 2);
}

int columns_in(const column& of, block in, int count) {
    if (of.is_strip) {
        return in == FADERS || count > STRIP_MOST ? 2 : 1;
    }
    return FORMS[in].columns;
}

int height_of(const chart& from, side on, const column& of, block in) {
    const group members(from, on, in);
    if (members.count == 0) {
        return 0;
    }
    if (in == TURNING) {
        return 2 * MOST_RADIUS;
    }
    const int columns = columns_in(of, in, members.count);
    return (members.count + columns - 1) / columns * FORMS[in].height;
}

// Of the column's blocks without the gaps between them; `used` gets how many there are.
int height_of(const chart& from, side on, const column& of, int* used) {
    int sum = on == MIDDLE ? SCREEN_HEIGHT : 0;
    *used = on == MIDDLE ? 1 : 0;
    for (const block in : of.blocks) {
        const int height = height_of(from, on, of, in);
        sum += height;
        *used += height > 0 ? 1 : 0;
    }
    return sum;
}

// --- Text ---

constexpr int LINE_HEIGHT = 10;

int columns_for(int width) {
    return width * 10 / 55;  // of the small font
}

void put_number(const control& of, int x, int y, FILE* out) {
    const bool is_note = of.host_sees != NONE ? of.host_sees_note : of.host_sends_note;
    const int first = of.host_sees != NONE ? of.host_sees : of.host_sends;
    fprintf(out, "<text class=\"v\" x=\"%d\" y=\"%d\">", x, y);
    if (first == NONE) {
        fputs("no number", out);
    } else {
        fprintf(out, "%s %d", is_note ? "note" : "CC", first);
        if (of.host_sends != NONE && of.host_sends != first) {
            fprintf(out, " \u2190 %d", of.host_sends);
        }
    }
    fputs("</text>\n", out);
}

// Lines around `y`; returns how many.
int put_name(const control& of, int x, int y, int width, int most_lines, FILE* out) {
    const short_name name(of);
    text_line lines[MAX_TEXT_LINES];
    const int count = break_text(name.begin, name.end, columns_for(width), most_lines, lines);
    for (int i = 0; i < count; ++i) {
        fprintf(out, "<text x=\"%d\" y=\"%d\">", x, y + i * LINE_HEIGHT);
        put_line(lines[i], out);
        fputs("</text>", out);
    }
    return count;
}

// Name, at most two lines, and number below each other, from `y` on.
void put_caption(const control& of, const box& in, int y, FILE* out) {
    const int x = in.x + in.width / 2;
    const int lines = put_name(of, x, y, in.width - 2, 2, out);
    put_number(of, x, y + lines * LINE_HEIGHT + 1, out);
}

// The number of its first finding, in the corner.
void put_mark(const chart& from, int idx, int x, int y) {
    int first = 0, count = 0;
    severity worst = NOTE;
    for (int i = 0; i < from.found.count; ++i) {
        if (is_about(from, i, idx)) {
            first = count++ == 0 ? i + 1 : first;
            worst = std::min(worst, from.found.items[i].level);
        }
    }
    if (count > 0) {
        fprintf(from.out,
                "<rect class=\"%s\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"13\" rx=\"6\"/>"
                "<text class=\"m\" x=\"%d\" y=\"%d\">%d%s</text>\n",
                SEVERITY_NAMES[worst], x - 13, y - 6, 26, x, y + 4, first, count > 1 ? "+" : "");
    }
}

// --- Shapes ---

void draw_key(const control& of, const box& in, FILE* out) {
    const int x = in.x + in.width / 2;
    fprintf(out, "<rect class=\"key\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" rx=\"5\"/>",
            in.x + 2, in.y + 3, in.width - 4, in.height - 6);
    if (of.board_sees_note && of.kind == BUTTON) {
        fprintf(out, "<rect class=\"led\" x=\"%d\" y=\"%d\" width=\"16\" height=\"3\" rx=\"1\"/>",
                x - 8, in.y + 7);
    }
    const short_name name(of);
    text_line lines[2];
    const int count = break_text(name.begin, name.end, columns_for(in.width - 8), 2, lines);
    const int y = in.y + in.height / 2 + 1 - (count - 1) * LINE_HEIGHT / 2;
    put_name(of, x, y, in.width - 8, 2, out);
    put_number(of, x, in.y + in.height - 9, out);
}

void draw_lamp(const control& of, const box& in, FILE* out) {
    fprintf(out, "<circle class=\"led\" cx=\"%d\" cy=\"%d\" r=\"4\"/>", in.x + in.width / 2,
            in.y + 9);
    put_caption(of, in, in.y + 25, out);
}

void draw_knob(const control& of, const box& in, FILE* out) {
    const int x = in.x + in.width / 2, y = in.y + 20;
    const bool turns_on = of.kind == ENCODER;
    const int radius = std::min(16, in.height / 2 - 14);
    fprintf(out, "<circle class=\"%s\" cx=\"%d\" cy=\"%d\" r=\"%d\"/>",
            turns_on ? "knob notched" : "knob", x, in.y + radius + 3, radius);
    if (!turns_on) {
        fprintf(out, "<path class=\"line\" d=\"M%d %dv-9\"/>", x, y - 4);
    }
    put_caption(of, in, in.y + 2 * radius + 15, out);
}

void draw_fader(const control& of, const box& in, FILE* out) {
    const int x = in.x + in.width / 2, height = in.height - 46;
    fprintf(out, "<rect class=\"slot\" x=\"%d\" y=\"%d\" width=\"4\" height=\"%d\" rx=\"2\"/>",
            x - 2, in.y + 6, height);
    fputs("<path class=\"line\" d=\"", out);
    for (int i = 0; i <= 4; ++i) {
        fprintf(out, "M%d %dh4M%d %dh4", x - 14, in.y + 14 + i * (height - 16) / 4, x + 10,
                in.y + 14 + i * (height - 16) / 4);
    }
    fprintf(out, "\"/><rect class=\"cap\" x=\"%d\" y=\"%d\" width=\"22\" height=\"14\" rx=\"3\"/>",
            x - 11, in.y + height / 2 - 1);
    put_caption(of, in, in.y + height + 18, out);
}

void draw_cross(const control& of, const box& in, FILE* out) {
    const int x = in.x + in.width / 2, y = in.y + 22;
    fprintf(out,
            "<rect class=\"slot\" x=\"%d\" y=\"%d\" width=\"200\" height=\"4\" rx=\"2\"/>"
            "<rect class=\"cap\" x=\"%d\" y=\"%d\" width=\"16\" height=\"26\" rx=\"3\"/>",
            x - 100, y - 2, x - 8, y - 13);
    put_caption(of, in, in.y + 54, out);
}

void draw_meter(const control& of, const box& in, FILE* out) {
    constexpr int SEGMENTS = 7;
    const int height = (in.height - 46) / SEGMENTS;
    for (int i = 0; i < SEGMENTS; ++i) {
        fprintf(out,
                "<rect class=\"level\" x=\"%d\" y=\"%d\" width=\"12\" height=\"%d\" rx=\"1\"/>",
                in.x + in.width / 2 - 6, in.y + 6 + i * height, height - 3);
    }
    put_caption(of, in, in.y + in.height - 28, out);
}

void draw_control(const chart& from, const control& of, block in_block, const box& in) {
    FILE* const out = from.out;
    fprintf(out, "<g%s><title>", of.record == nullptr ? " class=\"lost\"" : "");
    put_text(of.name, out);
    fprintf(out, " (%s, index %d)</title>", KIND_NAMES[of.kind], of.idx);
    const bool slides = in_block == FADERS || is_pitch_fader(of);
    if (of.kind == METER) {
        draw_meter(of, in, out);
    } else if (of.kind == LED) {
        draw_lamp(of, in, out);
    } else if (of.kind == BUTTON || of.kind == SPARE) {
        draw_key(of, in, out);
    } else if (in_block == CROSS) {
        draw_cross(of, in, out);
    } else if (slides) {
        draw_fader(of, in, out);
    } else {
        draw_knob(of, in, out);
    }
    fputs("</g>\n", out);
    put_mark(from, of.idx, in.x + in.width - 13, in.y + 4);
}

// --- Blocks ---

void draw_grid(const chart& from, const group& members, block in, const column& of, int y) {
    const int columns = columns_in(of, in, members.count);
    const int width = of.width / columns;
    for (int i = 0; i < members.count; ++i) {
        const int in_row = std::min(columns, members.count - i / columns * columns);
        const int x = of.x + (of.width - in_row * width) / 2 + i % columns * width;
        draw_control(from, *members.items[i], in,
                     {x, y + i / columns * FORMS[in].height, width, FORMS[in].height});
    }
}

void draw_disc(int x, int y, int radius, FILE* out) {
    constexpr struct {
        const char* name;
        int smaller;
    } circles[] = {{"ring", 2}, {"disc", 9}, {"groove", 16}, {"groove", 21}};
    for (const auto& circle : std::span(circles).first(radius > ROOMY_RADIUS ? 4 : 2)) {
        fprintf(out, "<circle class=\"%s\" cx=\"%d\" cy=\"%d\" r=\"%d\"/>", circle.name, x, y,
                radius - circle.smaller);
    }
}

// The platter with all that belongs to it written on it, and the tempo faders beside it.
void draw_turning(const chart& from, const group& members, const column& of, int y, side on) {
    constexpr int ITEM_HEIGHT = 25;
    FILE* const out = from.out;
    const int faders = members.pitch_faders();
    const int radius = radius_of(members, of.width);
    const int left = on == RIGHT ? of.x : of.x + faders * PITCH_WIDTH;
    const int x = left + (of.width - faders * PITCH_WIDTH) / 2;
    int fader_x = on == RIGHT ? of.x + of.width - faders * PITCH_WIDTH : of.x;
    int text_y = y + MOST_RADIUS - (members.count - faders) * ITEM_HEIGHT / 2 + 10;
    if (members.count > faders) {
        draw_disc(x, y + MOST_RADIUS, radius, out);
    }
    for (const control* one : members.all()) {
        if (is_pitch_fader(*one)) {
            draw_control(from, *one, TURNING, {fader_x, y, PITCH_WIDTH, 2 * MOST_RADIUS});
            fader_x += PITCH_WIDTH;
            continue;
        }
        fprintf(out, "<g%s>", one->record == nullptr ? " class=\"lost\"" : "");
        put_name(*one, x, text_y, radius + 20, 1, out);
        put_number(*one, x, text_y + LINE_HEIGHT + 1, out);
        fputs("</g>\n", out);
        put_mark(from, one->idx, x - radius / 2 - 14, text_y + 2);
        text_y += ITEM_HEIGHT;
    }
}

void draw_column(const chart& from, side on, const column& of, int height) {
    int used = 0;
    const int content = height_of(from, on, of, &used);
    const int gap = used > 1 ? (height - content) / (used - 1) : 0;
    int y = HEADING;
    if (on == MIDDLE) {
        fprintf(from.out,
                "<use href=\"#screen1\" x=\"%d\" y=\"%d\" width=\"%d\" "
                "height=\"%d\"/>\n",
                MARGIN, y, INNER, SCREEN_HEIGHT);
        y += SCREEN_HEIGHT + gap;
    }
    for (const block in : of.blocks) {
        const group members(from, on, in);
        if (members.count == 0) {
            continue;
        }
        if (in == TURNING) {
            draw_turning(from, members, of, y, on);
        } else {
            draw_grid(from, members, in, of, y);
        }
        y += height_of(from, on, of, in) + gap;
    }
}

void draw_panel(const chart& from, side on, int height) {
    const int full_height = HEADING + height + MARGIN;
    fprintf(from.out,
            "<svg class=\"panel%s\" viewBox=\"0 0 %d %d\" role=\"img\"><title>%s</title><desc>Each "
            "control with its name and its number at the host, as the tables under Controls have "
            "them.</desc>\n<rect class=\"plate\" x=\"1\" y=\"1\" width=\"%d\" height=\"%d\" "
            "rx=\"12\"/><text class=\"h\" x=\"%d\" y=\"23\">%s</text>\n",
            on == MIDDLE ? " mixer" : "", PANEL_WIDTH, full_height, SIDE_NAMES[on], PANEL_WIDTH - 2,
            full_height - 2, PANEL_WIDTH / 2, SIDE_NAMES[on]);
    for (const column& one : COLUMNS[on]) {
        draw_column(from, on, one, height);
    }
    fputs("</svg>\n", from.out);
}

// So that each column has room, the blocks in it well apart.
int panel_height(const chart& from) {
    int height = 0;
    for (const side on : {LEFT, MIDDLE, RIGHT}) {
        for (const column& one : COLUMNS[on]) {
            int used = 0;
            const int content = height_of(from, on, one, &used);
            height = std::max(height, content + used * LEAST_GAP);
        }
    }
    return height;
}

}  // namespace

side side_of(const control& of) {
    const std::string_view name = of.name;
    const built_in place = spot_of(of.idx).on;
    if (name.empty()) {
        return place == BY_TURNS ? (of.idx % 2 == 0 ? LEFT : RIGHT) : static_cast<side>(place);
    }
    if (name.ends_with("_A")) {
        return LEFT;
    }
    return name.ends_with("_B") ? RIGHT : MIDDLE;
}

short_name::short_name(const control& of) : begin(of.name), end(begin + strlen(begin)) {
    if (begin + strspn(begin, "_") == end) {
        begin = spare;
        end = spare + snprintf(spare, sizeof spare, "index %d", of.idx);
    } else if (side_of(of) != MIDDLE && end - begin > 2) {
        end -= 2;
    }
}

void put_front(const chart& from) {
    const int height = panel_height(from);
    fputs("<div class=\"front\">\n", from.out);
    for (const side on : {LEFT, MIDDLE, RIGHT}) {
        draw_panel(from, on, height);
    }
    fputs("</div>\n", from.out);
    if (from.found.count > 0) {
        fputs(
            "<p class=\"soft\">A number in a coloured field is that of a "
            "<a href=\"#findings\">finding</a>; what is dashed has no line in the mapping.</p>\n",
            from.out);
    }
}

}  // namespace ctlmap
