#include "panel/front.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <iterator>

namespace bench {
namespace {

constexpr int LEFT = 0, CENTRE = 1, RIGHT = 2;
constexpr const char* SECTIONS[] = {"Deck A", "Mixer", "Deck B"};
constexpr int NARROWEST_CELL = 13;
constexpr int FULL = 127;
constexpr int UNITS_PER_GLYPH = 8;
constexpr const char* TURNING[] = {"◐", "◓", "◑", "◒"};
constexpr int METER_COLORS[METER_TOP] = {34, 34, 34, 34, 220, 220, 160};
constexpr int LED_COLORS[] = {94, 136, 178, 220};  // by quarters of the value
constexpr int BLACK = 16, BAR = 25, BAR_TEXT = 231, GROUND = 235, PLAIN = 252, FAINT = 242;
constexpr int HELD = 45, HEADING = 75;

// Pots first, then what turns, meters, buttons, lights.
constexpr Kind ORDER[] = {Kind::Pot,   Kind::Platter, Kind::Partner, Kind::Encoder,
                          Kind::Meter, Kind::Button,  Kind::Light,   Kind::Spare};
constexpr const char* CONTROL_TYPES[] = {"pot", "button", "light", "button with light", "meter"};

int rank(const Control& control) {
    return static_cast<int>(std::find(std::begin(ORDER), std::end(ORDER), control.kind) - ORDER);
}

int section(const Control& control) {
    if (control.name.ends_with("_A")) {
        return LEFT;
    }
    return control.name.ends_with("_B") ? RIGHT : CENTRE;
}

std::string number(int value) {
    return value < 0 ? "-" : std::to_string(value);
}

std::string both_ways(int sends, int sees) {
    const int either = std::max(sends, sees);
    return sends == sees || std::min(sends, sees) < 0 ? number(either)
                                                      : number(sends) + "/" + number(sees);
}

struct Look {
    std::string value;
    Ink ink{PLAIN, GROUND};
    int filled = 0;  // columns of the cell that the bar takes
};

Look look_of_pot(const Board& board, const Control& control, int width) {
    const int position = board.position(control.index);
    return {std::to_string(position), {PLAIN, GROUND}, (position * width + FULL / 2) / FULL};
}

Look look_of_turning(const Host& host, const Control& control, int travel) {
    const int seen = host.seen(control.index);
    const int glyphs = static_cast<int>(std::size(TURNING));
    const int turned = travel / UNITS_PER_GLYPH - (travel % UNITS_PER_GLYPH < 0 ? 1 : 0);
    std::string steps;
    if (seen >= 0) {
        steps = seen > REST ? "+" : "";
        steps += std::to_string(seen - REST);
        steps += " ";
    }
    return {steps + TURNING[static_cast<std::size_t>((turned % glyphs + glyphs) % glyphs)]};
}

Look look_of_light(const Board& board, const Control& control) {
    const int light = board.light(control.index);
    const bool held = board.pressed(control.index);
    Look look{std::string(held ? "▼" : "") + (light > 0 ? std::to_string(light) : "")};
    if (light > 0) {
        look.ink = {BLACK, LED_COLORS[std::min(light, FULL) / 32], true};
    } else if (held) {
        look.ink.foreground = HELD;
        look.ink.bold = true;
    }
    return look;
}

void draw_meter(Terminal& terminal, int row, int column, int width, int level) {
    const int first = column + width - METER_TOP;
    for (int i = 0; i < METER_TOP && width > METER_TOP; ++i) {
        terminal.text(row, first + i, 1, i < level ? "▮" : "▯",
                      {i < level ? METER_COLORS[i] : FAINT, GROUND});
    }
}

std::string short_name(const Control& control) {
    if (!control.mapped) {
        return "unmapped " + std::to_string(control.index);
    }
    return control.name.substr(0, control.name.size() - (section(control) == CENTRE ? 0 : 2));
}

void draw_control(Terminal& terminal, int row, int column, int width, Controller& controller,
                  const Control& control, int travel, bool at_cursor) {
    const bool meter = control.kind == Kind::Meter;
    Look look;
    if (control.sends_position()) {
        look = look_of_pot(controller.board(), control, width);
    } else if (control.sends_steps()) {
        look = look_of_turning(controller.host(), control, travel);
    } else if (!meter) {
        look = look_of_light(controller.board(), control);
    }
    if (!control.mapped) {
        look.ink.foreground = FAINT;
    }
    const int value = meter ? METER_TOP : text_width(look.value);
    const int room = width - value - (value > 0 && !meter ? 1 : 0);
    std::string text = short_name(control).substr(0, static_cast<std::size_t>(room));
    text.append(static_cast<std::size_t>(width - value) - text.size(), ' ');
    text += look.value;
    terminal.text(row, column, width, text, look.ink);
    if (look.filled > 0) {
        terminal.text(row, column, look.filled, text, {BAR_TEXT, BAR, true});
    }
    if (meter) {
        draw_meter(terminal, row, column, width, controller.board().light(control.index));
    }
    if (at_cursor) {
        terminal.text(row, column, room, text, {PLAIN, BLACK, true, true});
    }
}

}  // namespace

void Front::lay_out(const Mapping& mapping, int width) {
    const int side = width * 2 / 5;
    borders_ = {0, side, width - side, width};
    std::vector<const Control*> sections[3], unmapped;
    for (const Control& control : mapping.controls()) {
        (control.mapped ? sections[section(control)] : unmapped).push_back(&control);
    }
    const auto columns = [&](int s) {
        return std::max(
            1, (borders_[static_cast<std::size_t>(s) + 1] - borders_[static_cast<std::size_t>(s)]) /
                   NARROWEST_CELL);
    };
    const auto rows = [&](int s) { return static_cast<int>(sections[s].size()) / columns(s); };
    for (std::vector<const Control*>& controls : sections) {
        std::stable_sort(controls.begin(), controls.end(),
                         [](const Control* a, const Control* b) { return rank(*a) < rank(*b); });
    }
    for (const Control* control : unmapped) {
        sections[std::min({LEFT, CENTRE, RIGHT}, [&](int a, int b) { return rows(a) < rows(b); })]
            .push_back(control);
    }
    places_.clear();
    height_ = 1;
    for (int s = LEFT; s <= RIGHT; ++s) {
        const int first = borders_[static_cast<std::size_t>(s)];
        const int cell = (borders_[static_cast<std::size_t>(s) + 1] - first) / columns(s);
        for (int i = 0; i < static_cast<int>(sections[s].size()); ++i) {
            const Control& control = *sections[s][static_cast<std::size_t>(i)];
            const int row = i / columns(s) + 1;
            places_.push_back({control.index, row, first + i % columns(s) * cell, cell - 1});
            height_ = std::max(height_, row + 1);
        }
    }
    std::sort(places_.begin(), places_.end(), [](const Place& a, const Place& b) {
        return a.row != b.row ? a.row < b.row : a.column < b.column;
    });
}

const Front::Place* Front::place(int index) const {
    const auto found = std::find_if(places_.begin(), places_.end(),
                                    [&](const Place& known) { return known.index == index; });
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

std::optional<Front::Spot> Front::at(int row, int column) const {
    for (const Place& known : places_) {
        const int shown = known.row - scrolled_;
        if (shown > 0 && shown < rows_ && row == top_ + shown && column >= known.column &&
            column < known.column + known.width) {
            return Spot{known.index, (column - known.column) * FULL / (known.width - 1)};
        }
    }
    return std::nullopt;
}

void Front::draw(Terminal& terminal, int top, int rows, Controller& controller,
                 const std::array<int, CONTROL_COUNT>& travel) {
    top_ = top;
    rows_ = rows;
    const int cursor_row = place(cursor_)->row;
    scrolled_ = std::clamp(scrolled_, cursor_row - rows + 1, cursor_row - 1);
    for (std::size_t s = 0; s < std::size(SECTIONS); ++s) {
        std::string heading = std::string("── ") + SECTIONS[s] + " ";
        while (text_width(heading) < borders_[s + 1] - borders_[s] - 1) {
            heading += "─";
        }
        terminal.text(top, borders_[s], borders_[s + 1] - borders_[s], heading, {HEADING});
    }
    for (const Place& known : places_) {
        const int shown = known.row - scrolled_;
        if (shown > 0 && shown < rows) {
            draw_control(terminal, top + shown, known.column, known.width, controller,
                         controller.mapping().at(known.index),
                         travel[static_cast<std::size_t>(known.index)], known.index == cursor_);
        }
    }
}

std::string control_help(const Control& control) {
    const bool typed = control.control_type >= 0 &&
                       control.control_type < static_cast<int>(std::size(CONTROL_TYPES));
    std::string text = control.name + (control.mapped ? "" : " (not in the mapping)");
    text += "   index " + number(control.index);
    text += "   board " + both_ways(control.board_sends, control.board_sees);
    text += "   host " + both_ways(control.host_sees, control.host_sends);
    text += "   type " + number(control.control_type) +
            (typed ? std::string(" ") + CONTROL_TYPES[control.control_type] : "");
    if (control.data_type == 1) {
        text += ", steps   zoom " + number(control.extra / 16) + " (" +
                number(control.units_per_step()) + " a step)";
    } else if (control.is_note_light()) {
        text += control.extra != 0 ? "   off by note-off" : "   dims";
    } else {
        text += "   zoom -";
    }
    return text + "   rate " + number(control.rate);
}

}  // namespace bench
