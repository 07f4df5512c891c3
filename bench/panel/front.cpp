#include "panel/front.h"

#include <strings.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "panel/room.h"

namespace bench {
namespace {

constexpr int LEFT = 0, CENTRE = 1, RIGHT = 2;
constexpr const char* SECTIONS[] = {"Deck A", "Mixer", "Deck B"};
constexpr int FULL = 127;
constexpr unsigned UNITS_PER_GLYPH = 8;
constexpr const char* TURNING[] = {"◐", "◓", "◑", "◒"};
constexpr const char* HELD_MARK = "▼";
constexpr int METER_COLORS[METER_TOP] = {34, 34, 34, 34, 220, 220, 160};
constexpr int LED_COLORS[] = {94, 136, 178, 220};  // by quarters of the value
constexpr int BLACK = 16, BAR = 25, BAR_TEXT = 231, GROUND = 235, PLAIN = 252, FAINT = 242;
constexpr int HELD = 45, HEADING = 75, BAD = 203, DOUBTFUL = 213;
constexpr const char *LOST_MARK = "✗", *FINDING_MARK = "!";

// By kind: pots first, then what turns, meters, buttons, lights; and the columns that are kept for
// the value, so that the name is written the same way whatever it is.
constexpr int RANKS[] = {0, 1, 2, 3, 5, 6, 4, 7};
constexpr int KEPT[] = {4, 2, 2, 2, 0, 0, METER_TOP, 0};

int of(const int (&by_kind)[8], const Control& control) {
    return by_kind[static_cast<std::size_t>(control.kind)];
}

int section(const std::string& name) {
    if (name.ends_with("_A")) {
        return LEFT;
    }
    return name.ends_with("_B") ? RIGHT : CENTRE;
}

std::string short_name(const std::string& name) {
    return name.substr(0, name.size() - (section(name) == CENTRE ? 0 : 2));
}

std::string number(int number, bool note) {
    return number < 0 ? "" : (note ? "note " : "CC ") + std::to_string(number);
}

// "host note 60"; where the two ways differ, both: "host CC 7, note 60".
std::string numbers(const char* end, const std::string& sent, const std::string& seen) {
    const bool differ = !sent.empty() && !seen.empty() && sent != seen;
    const std::string text = differ ? sent + ", " + seen : std::max(sent, seen);
    return text.empty() ? "" : end + text;
}

}  // namespace

struct Front::Look {
    std::string value = {};  // shown if there is room
    std::string least = {};  // else this
    Ink ink{PLAIN, GROUND};
    int filled = 0;  // columns of the cell that the bar takes
};

namespace {

std::string steps_seen(const Host& host, const Control& control) {
    const int seen = host.seen(control.index);
    char steps[16] = "";
    if (seen >= 0 && seen != REST) {
        std::snprintf(steps, sizeof steps, "%+d ", seen - REST);
    }
    return steps;
}

void draw_meter(Terminal& terminal, int row, int column, int width, int level) {
    for (int i = 0; i < METER_TOP && width > METER_TOP; ++i) {
        terminal.text(row, column + width - METER_TOP + i, 1, i < level ? "▮" : "▯",
                      {i < level ? METER_COLORS[i] : FAINT, GROUND});
    }
}

}  // namespace

// --- Where ---

void Front::take(const Mapping& mapping, const std::vector<Finding>& findings) {
    for (const Control& control : mapping.controls()) {
        Known& now = known_[static_cast<std::size_t>(control.index)];
        const std::string other = now.name.empty() ? control.lost_name : now.name;
        now = {.name = control.mapped ? control.name : other};
        now.lost = !control.mapped && (control.lost || !now.name.empty());
    }
    for (const Finding& finding : findings) {
        if (finding.control < 0 || finding.control >= CONTROL_COUNT) {
            continue;
        }
        Known& its = known_[static_cast<std::size_t>(finding.control)];
        if (finding.severity > its.severity) {
            its.finding = finding.where();
            its.severity = finding.severity;
        }
    }
}

std::string Front::label(int index) const {
    const Known& its = known(index);
    const std::string mark = its.lost ? LOST_MARK : !its.finding.empty() ? FINDING_MARK : "";
    return mark + (its.name.empty() ? "unmapped " + std::to_string(index) : short_name(its.name));
}

void Front::lay_out(const Mapping& mapping, int width, int rows) {
    std::vector<const Control*> sections[SECTION_COUNT];
    int wanted = 0;
    for (const Control& control : mapping.controls()) {
        const std::string& name = known(control.index).name;
        sections[section(name)].push_back(&control);
        wanted = std::max(wanted,
                          text_width(name.empty() ? "" : label(control.index)) + of(KEPT, control));
    }
    for (std::vector<const Control*>& controls : sections) {
        std::stable_sort(controls.begin(), controls.end(), [](const Control* a, const Control* b) {
            return of(RANKS, *a) < of(RANKS, *b);
        });
    }
    std::array<int, SECTION_COUNT> cells{};
    std::transform(std::begin(sections), std::end(sections), cells.begin(),
                   [](const auto& controls) { return static_cast<int>(controls.size()); });
    layout_ = fit_layout(cells, width, rows - 1, wanted + 1);
    places_.clear();
    for (std::size_t s = 0; s < std::size(sections); ++s) {
        const int first = layout_.borders[s], columns = layout_.columns[s];
        const int cell = (layout_.borders[s + 1] - first) / columns;
        for (int i = 0; i < cells[s]; ++i) {
            places_.push_back({sections[s][static_cast<std::size_t>(i)]->index, i / columns + 1,
                               first + i % columns * cell, cell - 1});
        }
    }
    std::sort(places_.begin(), places_.end(), [](const Place& a, const Place& b) {
        return a.row != b.row ? a.row < b.row : a.column < b.column;
    });
}

const Front::Place* Front::place(int index) const {
    const auto found = std::find_if(places_.begin(), places_.end(),
                                    [&](const Place& other) { return other.index == index; });
    return found == places_.end() ? nullptr : &*found;
}

void Front::move(int columns, int rows) {
    constexpr int ASIDE = 40;  // how much farther what stands aside counts
    const Place* const from = place(cursor_);
    int best = INT_MAX;
    for (const Place& to : places_) {
        const int ahead = (to.column - from->column) * columns + (to.row - from->row) * rows;
        const int aside = std::abs(columns != 0 ? to.row - from->row : to.column - from->column);
        if (ahead > 0 && ahead + ASIDE * aside < best) {
            best = ahead + ASIDE * aside;
            cursor_ = to.index;
        }
    }
}

void Front::step(int places) {
    const int count = static_cast<int>(places_.size());
    const int now = static_cast<int>(place(cursor_) - places_.data());
    cursor_ = places_[static_cast<std::size_t>((now + places + count) % count)].index;
}

std::optional<int> Front::find(const std::string& name) const {
    std::optional<int> found;
    for (int index = 0; index < CONTROL_COUNT; ++index) {
        const std::string& other = known(index).name;
        if (strcasecmp(other.c_str(), name.c_str()) == 0) {
            return index;
        }
        const bool begins = strncasecmp(other.c_str(), name.c_str(), name.size()) == 0;
        found = !found && begins ? index : found;
    }
    return found;
}

std::vector<std::string> Front::names() const {
    std::vector<std::string> names;
    for (const Known& control : known_) {
        if (!control.name.empty()) {
            names.push_back(control.name);
        }
    }
    return names;
}

std::optional<int> Front::at(int row, int column) const {
    const auto found = std::find_if(places_.begin(), places_.end(), [&](const Place& one) {
        return row == top_ + one.row - scrolled_ && row > top_ && row < top_ + rows_ &&
               column >= one.column && column < one.column + one.width;
    });
    return found == places_.end() ? std::nullopt : std::optional(found->index);
}

int Front::along(int index, int column) const {
    const Place* const cell = place(index);
    return std::clamp((column - cell->column) * FULL / (cell->width - 1), 0, FULL);
}

// --- How it looks ---

Front::Look Front::look_of(Controller& controller, const Control& control, int width,
                           const Motion& motion) const {
    const Board& board = controller.board();
    const Known& its = known(control.index);
    const int light = board.light(control.index);
    const bool held = board.pressed(control.index);
    Look look;
    if (its.lost || !its.finding.empty()) {
        look.ink.foreground = its.severity == Severity::Warning ? DOUBTFUL : BAD;
    } else if (its.name.empty() || motion.silent) {
        look.ink.foreground = FAINT;
    }
    if (control.sends_position()) {
        const int position = board.position(control.index);
        look.filled = (position * width + FULL / 2) / FULL;
        look.value = std::to_string(position);
    } else if (control.sends_steps()) {
        look.least = TURNING[static_cast<unsigned>(motion.travel) / UNITS_PER_GLYPH % 4];
        look.value = (motion.moves ? steps_seen(controller.host(), control) : "") + look.least;
    } else if (control.kind != Kind::Meter && (light > 0 || held)) {
        look.least = held ? HELD_MARK : "";
        look.value = look.least + (light > 0 ? std::to_string(light) : "");
        look.ink = {HELD, GROUND, true};
        if (light > 0) {
            look.ink = {BLACK, LED_COLORS[std::min(light, FULL) / 32], true};
        }
    }
    return look;
}

void Front::draw_control(Terminal& terminal, const Place& place, int row, Controller& controller,
                         const Motion& motion) const {
    const Control& control = controller.mapping().at(place.index);
    const bool meter = control.kind == Kind::Meter;
    const int width = place.width;
    const Look look = look_of(controller, control, width, motion);
    const std::string full = label(place.index);
    std::string text = abbreviated(full, width - of(KEPT, control))
                           .value_or(abbreviated(full, width).value_or(full));
    const int left = width - text_width(text);
    const auto fits = [&](const std::string& value) { return text_width(value) < left; };
    const std::string value = fits(look.value) ? look.value : fits(look.least) ? look.least : "";
    text.append(static_cast<std::size_t>(std::max(0, left - text_width(value))), ' ');
    text += value;
    terminal.text(row, place.column, width, text, look.ink);
    if (look.filled > 0) {
        terminal.text(row, place.column, look.filled, text, {BAR_TEXT, BAR, true});
    }
    if (meter) {
        draw_meter(terminal, row, place.column, width, controller.board().light(control.index));
    }
    if (place.index == cursor_) {
        const int shown = std::max(width - (meter ? METER_TOP : text_width(value)), 1);
        terminal.text(row, place.column, shown, text, {PLAIN, BLACK, true, true});
    }
}

void Front::draw(Terminal& terminal, int top, int rows, Controller& controller,
                 const Motions& motions) {
    top_ = top;
    rows_ = rows;
    const int cursor_row = place(cursor_)->row;
    scrolled_ = std::clamp(scrolled_, cursor_row - rows + 1, cursor_row - 1);
    for (std::size_t s = 0; s < std::size(SECTIONS); ++s) {
        const int first = layout_.borders[s], width = layout_.borders[s + 1] - first;
        std::string heading = std::string("── ") + SECTIONS[s] + " ";
        while (text_width(heading) < width - 1) {
            heading += "─";
        }
        terminal.text(top, first, width, heading, {HEADING});
    }
    for (const Place& place : places_) {
        const int shown = place.row - scrolled_;
        if (shown > 0 && shown < rows) {
            draw_control(terminal, place, top + shown, controller,
                         motions[static_cast<std::size_t>(place.index)]);
        }
    }
}

std::string Front::help(const Mapping& mapping, int width) const {
    const Control& control = mapping.at(cursor_);
    const Known& its = known(cursor_);
    const bool note = control.sends_notes();
    const char* const missing = its.lost         ? " has lost its line"
                                : control.mapped ? ""
                                                 : " has no line in the mapping";
    return joined(
        {(its.name.empty() ? control.name : its.name) + missing, "index " + std::to_string(cursor_),
         numbers("board ", number(control.board_sends, note),
                 number(control.board_sees, control.is_note_light())),
         numbers("host ", number(control.host_sees, note),
                 number(control.host_sends, control.takes_notes())),
         its.finding.empty() ? "" : "see " + its.finding},
        width);
}

}  // namespace bench
