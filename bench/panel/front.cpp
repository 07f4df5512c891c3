#include "panel/front.h"

#include <strings.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <iterator>

#include "panel/text.h"

namespace bench {
namespace {

constexpr int LEFT = 0, CENTRE = 1, RIGHT = 2;
constexpr const char* SECTIONS[] = {"Deck A", "Mixer", "Deck B"};
constexpr int SHARES[] = {3, 1, 3};  // of the unmapped controls
constexpr int FULL = 127, MOST_NUMBER = 127;
constexpr int UNITS_PER_GLYPH = 8;
constexpr const char* TURNING[] = {"◐", "◓", "◑", "◒"};
constexpr const char* HELD_MARK = "▼";
constexpr int POSITION_WIDTH = 3;
constexpr int METER_COLORS[METER_TOP] = {34, 34, 34, 34, 220, 220, 160};
constexpr int LED_COLORS[] = {94, 136, 178, 220};  // by quarters of the value
constexpr int BLACK = 16, BAR = 25, BAR_TEXT = 231, GROUND = 235, PLAIN = 252, FAINT = 242;
constexpr int HELD = 45, HEADING = 75, LOST = 203, SHARED = 213;

// Pots first, then what turns, meters, buttons, lights.
constexpr Kind ORDER[] = {Kind::Pot,   Kind::Platter, Kind::Partner, Kind::Encoder,
                          Kind::Meter, Kind::Button,  Kind::Light,   Kind::Spare};
constexpr const char* CONTROL_TYPES[] = {"pot", "button", "light", "button with light", "meter"};

int rank(const Control& control) {
    return static_cast<int>(std::find(std::begin(ORDER), std::end(ORDER), control.kind) - ORDER);
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

bool is_note_at_host(const Control& control) {
    return control.sends_notes() || control.kind == Kind::Light;
}

int host_number(const Control& control) {
    return std::max(control.host_sees, control.host_sends);
}

bool share_number(const Control& a, const Control& b) {
    const bool both = a.mapped && b.mapped && a.kind != Kind::Spare && b.kind != Kind::Spare;
    return both && is_note_at_host(a) == is_note_at_host(b) && host_number(a) <= MOST_NUMBER &&
           host_number(a) == host_number(b);
}

// "note 60", "CC 7"; where the two ways differ, both: "CC 7, note 60".
std::string number_words(int sends, bool sends_note, int sees, bool sees_note) {
    const auto words = [](int number, bool note) {
        return number < 0 ? std::string()
                          : std::string(note ? "note " : "CC ") + std::to_string(number);
    };
    const std::string sent = words(sends, sends_note), seen = words(sees, sees_note);
    const bool differ = !sent.empty() && !seen.empty() && sent != seen;
    return differ ? sent + ", " + seen : std::max(sent, seen);
}

}  // namespace

// Columns are kept for the value, so that the name is written the same way whatever it is.
struct Front::Look {
    std::string value = {};  // shown if there is room
    std::string least = {};  // else this
    int kept = 0;
    Ink ink{PLAIN, GROUND};
    int filled = 0;     // columns of the cell that the bar takes
    bool mark = false;  // the value is shown even if the name is cut for it
};

namespace {

int turned(int travel) {
    const int glyphs = static_cast<int>(std::size(TURNING));
    const int steps = travel / UNITS_PER_GLYPH - (travel % UNITS_PER_GLYPH < 0 ? 1 : 0);
    return (steps % glyphs + glyphs) % glyphs;
}

std::string steps_seen(const Host& host, const Control& control) {
    const int seen = host.seen(control.index);
    if (seen < 0 || seen == REST) {
        return "";
    }
    std::string steps = seen > REST ? "+" : "";
    return steps.append(std::to_string(seen - REST)).append(" ");
}

Ink ink_of_light(int light, bool held) {
    if (light > 0) {
        return {BLACK, LED_COLORS[std::min(light, FULL) / 32], true};
    }
    return held ? Ink{HELD, GROUND, true} : Ink{PLAIN, GROUND};
}

void draw_meter(Terminal& terminal, int row, int column, int width, int level) {
    for (int i = 0; i < METER_TOP && width > METER_TOP; ++i) {
        terminal.text(row, column + width - METER_TOP + i, 1, i < level ? "▮" : "▯",
                      {i < level ? METER_COLORS[i] : FAINT, GROUND});
    }
}

int kept_for(const Control& control) {
    if (control.sends_position()) {
        return POSITION_WIDTH;
    }
    if (control.kind == Kind::Meter) {
        return METER_TOP;
    }
    return control.sends_steps() ? 1 : 0;
}

// With the blank before what is kept; a meter's levels need none.
int gap_before(const Control& control, int kept) {
    return kept > 0 && control.kind != Kind::Meter ? 1 : 0;
}

}  // namespace

bool has_light(const Control& control) {
    return control.host_sends >= 0 && control.kind != Kind::Meter && control.kind != Kind::Spare;
}

// --- Where ---

void Front::take(const Mapping& mapping) {
    for (const Control& control : mapping.controls()) {
        Known& now = known_[static_cast<std::size_t>(control.index)];
        if (control.mapped) {
            now.name = control.name;
        } else if (now.name.empty()) {
            now.name = control.lost_name;
        }
        now.lost = !control.mapped && (control.lost || !now.name.empty());
        const auto& all = mapping.controls();
        const auto other = std::find_if(all.begin(), all.end(), [&](const Control& candidate) {
            return candidate.index != control.index && share_number(candidate, control);
        });
        now.shares = other == all.end() ? -1 : other->index;
    }
}

void Front::lay_out(const Mapping& mapping, int width, int rows) {
    std::vector<const Control*> sections[SECTION_COUNT], unnamed;
    int wanted = 0;
    for (const Control& control : mapping.controls()) {
        const std::string& name = known(control.index).name;
        (name.empty() ? unnamed : sections[section(name)]).push_back(&control);
        const int kept = kept_for(control);
        wanted = std::max(wanted, text_width(short_name(name)) + gap_before(control, kept) + kept);
    }
    for (std::vector<const Control*>& controls : sections) {
        std::stable_sort(controls.begin(), controls.end(),
                         [](const Control* a, const Control* b) { return rank(*a) < rank(*b); });
    }
    const auto length = [&](int s) { return static_cast<int>(sections[s].size()) / SHARES[s]; };
    for (const Control* control : unnamed) {
        const auto shorter = [&](int a, int b) { return length(a) < length(b); };
        sections[std::min({LEFT, CENTRE, RIGHT}, shorter)].push_back(control);
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
    for (const Place& other : places_) {
        const int shown = other.row - scrolled_;
        if (shown > 0 && shown < rows_ && row == top_ + shown && column >= other.column &&
            column < other.column + other.width) {
            return other.index;
        }
    }
    return std::nullopt;
}

int Front::along(int index, int column) const {
    const Place* const cell = place(index);
    return std::clamp((column - cell->column) * FULL / (cell->width - 1), 0, FULL);
}

// --- How it looks ---

Front::Look Front::marked(const Control& control) const {
    const bool lost = known(control.index).lost;
    std::string value = "lost";
    if (!lost) {
        value = std::string(1, '=').append(std::to_string(host_number(control)));
    }
    const int kept = text_width(value);
    return {.value = value, .kept = kept, .ink = {lost ? LOST : SHARED, GROUND}, .mark = true};
}

Front::Look Front::look_of(Controller& controller, const Control& control, int width,
                           const Motion& motion) const {
    const Board& board = controller.board();
    const int light = board.light(control.index);
    const bool held = board.pressed(control.index);
    const bool is_marked = known(control.index).lost || known(control.index).shares >= 0;
    Look look = marked(control);
    if (!is_marked) {
        look = {.value = "", .kept = kept_for(control)};
    }
    if (control.sends_position()) {
        const int position = board.position(control.index);
        look.filled = (position * width + FULL / 2) / FULL;
        look.value = is_marked ? look.value : std::to_string(position);
    } else if (control.sends_steps() && !is_marked) {
        look.least = TURNING[turned(motion.travel)];
        look.value = look.least;
        if (motion.moves) {
            look.value.insert(0, steps_seen(controller.host(), control));
        }
    } else if (control.kind != Kind::Meter && (light > 0 || held)) {
        const std::string number = light > 0 ? std::to_string(light) : "";
        look.least = held ? HELD_MARK : "";
        look.value = is_marked ? look.value : look.least + number;
        look.ink = ink_of_light(light, held);
    }
    if (known(control.index).name.empty() || motion.silent) {
        look.ink.foreground = FAINT;
    }
    return look;
}

void Front::draw_control(Terminal& terminal, const Place& place, int row, Controller& controller,
                         const Motion& motion) const {
    const Control& control = controller.mapping().at(place.index);
    const bool meter = control.kind == Kind::Meter;
    const int width = place.width;
    const Look look = look_of(controller, control, width, motion);
    const std::string& named = known(control.index).name;
    const std::string full =
        named.empty() ? "unmapped " + std::to_string(control.index) : short_name(named);
    const int room = width - look.kept - gap_before(control, look.kept);
    std::optional<std::string> name = abbreviated(full, room);
    if (!name && !look.mark) {
        name = abbreviated(full, width);
    }
    std::string text =
        name.value_or(full.substr(0, static_cast<std::size_t>(look.mark ? room : width)));
    const auto fits = [&](const std::string& value) {
        return text_width(text) + 1 + text_width(value) <= width;
    };
    std::string value = fits(look.value) ? look.value : look.least;
    value = fits(value) ? value : "";
    text.append(static_cast<std::size_t>(width - text_width(text) - text_width(value)), ' ');
    text += value;
    terminal.text(row, place.column, width, text, look.ink);
    if (look.filled > 0) {
        terminal.text(row, place.column, look.filled, text,
                      {look.mark ? look.ink.foreground : BAR_TEXT, BAR, true});
    }
    if (meter && !look.mark) {
        draw_meter(terminal, row, place.column, width, controller.board().light(control.index));
    }
    if (place.index == cursor_) {
        const int values = meter && !look.mark ? look.kept : text_width(value);
        const int shown = std::max(width - values, 1);
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

std::string Front::help(Controller& controller, int width) const {
    const Control& control = controller.mapping().at(cursor_);
    const Board& board = controller.board();
    std::string name = known(cursor_).name.empty() ? control.name : known(cursor_).name;
    if (known(cursor_).lost) {
        name += " has lost its line";
    } else if (!control.mapped) {
        name += " has no line in the mapping";
    }
    if (known(cursor_).shares >= 0) {
        name += " has the number of " + known(known(cursor_).shares).name;
    }
    std::vector<std::string> parts = {name, "index " + std::to_string(cursor_)};
    const auto add = [&](const std::string& what, const std::string& value) {
        if (!value.empty()) {
            parts.push_back(what + value);
        }
    };
    const bool note = control.sends_notes();
    add("board ",
        number_words(control.board_sends, note, control.board_sees, control.is_note_light()));
    add("host ",
        number_words(control.host_sees, note, control.host_sends, control.kind != Kind::Meter));
    const bool typed = control.control_type >= 0 &&
                       control.control_type < static_cast<int>(std::size(CONTROL_TYPES));
    add("type " + std::to_string(control.control_type),
        typed ? std::string(" ") + CONTROL_TYPES[control.control_type] : " ");
    if (control.sends_position()) {
        add("at ", std::to_string(board.position(cursor_)));
    } else if (board.light(cursor_) > 0) {
        add(control.kind == Kind::Meter ? "level " : "lit ", std::to_string(board.light(cursor_)));
    }
    if (control.data_type == 1) {
        add("zoom ", std::to_string(control.extra / 16) + ", " +
                         std::to_string(control.units_per_step()) + " a step");
    } else if (control.is_note_light()) {
        add(control.extra != 0 ? "off by note-off" : "dims", " ");
    }
    if (!note && control.kind != Kind::Light) {
        add("rate ", std::to_string(control.rate));
    }
    return joined(parts, width);
}

}  // namespace bench
