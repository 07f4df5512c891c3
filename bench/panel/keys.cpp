// The panel's keys and mouse, and the page that tells them.
#define NCURSES_NOMACROS
#include <curses.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "panel/panel.h"
#include "panel/text.h"

namespace bench {
namespace {

constexpr milliseconds TAP(80);  // the bridge sees the press before the release
constexpr int WHEEL = 4;
constexpr mmask_t LEFT_CLICK = BUTTON1_CLICKED | BUTTON1_DOUBLE_CLICKED | BUTTON1_TRIPLE_CLICKED;
constexpr int ESCAPE = 27, ENTER = '\r', NEWLINE = '\n', TAB = '\t';
constexpr Ink TITLE{231, 24, true}, NAME{220, -1, true};

enum Direction { LEFT, RIGHT, UP, DOWN };

constexpr int control_key(char letter) {
    return letter & 0x1F;
}

}  // namespace

// What the keys do, in the order of the help page.
struct Panel::Key {
    struct Stroke {
        int code;
        int argument;
    };
    const char* name;
    const char* help;
    void (Panel::*act)(int);
    bool plays;  // needs a bridge that is ready
    Stroke strokes[10];
};
// clang-format off
constexpr Panel::Key Panel::KEYS[] = {
    {"arrows", "go to the next control in that direction", &Panel::move, false,
     {{KEY_LEFT, LEFT}, {KEY_RIGHT, RIGHT}, {KEY_UP, UP}, {KEY_DOWN, DOWN}}},
    {"Tab, Shift+Tab", "go to the next control, to the previous one", &Panel::step, false, {{'\t', 1}, {KEY_BTAB, -1}}},
    {"g", "go to a control by its name", &Panel::ask, false, {{'g', AskControl}}},
    {"Space", "tap a button; spin a platter, or let it go; centre a pot", &Panel::tap, true, {{' ', 0}}},
    {"Enter", "press a button and hold it, or let it go", &Panel::hold, true, {{ENTER, 0}, {NEWLINE, 0}, {KEY_ENTER, 0}}},
    {"+ -  Shift+Right Left", "turn by one step", &Panel::turn, true,
     {{'+', 1}, {'=', 1}, {'-', -1}, {KEY_SRIGHT, 1}, {KEY_SLEFT, -1}}},
    {"> <  Shift+Up Down", "turn by eight steps", &Panel::turn, true, {{'>', 8}, {'<', -8}, {KEY_SR, 8}, {KEY_SF, -8}}},
    {"0 to 9", "set a pot; from the host, a light or a meter", &Panel::set, true,
     {{'0', 0}, {'1', 1}, {'2', 2}, {'3', 3}, {'4', 4}, {'5', 5}, {'6', 6}, {'7', 7}, {'8', 8}, {'9', 9}}},
    {"t", "lay a hand on the platter, or take it off", &Panel::touch, true, {{'t', 0}}},
    {"r", "let a platter or the encoder come to rest", &Panel::rest, true, {{'r', 0}}},
    {"l", "from the host: light on or off", &Panel::light, true, {{'l', 0}}},
    {"b", "from the host: change the label on this control's note", &Panel::label, true, {{'b', 0}}},
    {"i", "from the host: Identity Request", &Panel::identity, true, {{'i', 0}}},
    {":", "type a step of a scenario: host send 90 3c 7f", &Panel::ask, true, {{':', AskStep}}},
    {"v", "show the wire, the log or the screen", &Panel::next_pane, false, {{'v', 0}}},
    {"p, End", "pause or go on", &Panel::pause, false, {{'p', 0}, {KEY_END, 0}}},
    {"PgUp PgDn, wheel", "scroll back or forward", &Panel::scroll, false, {{KEY_PPAGE, 1}, {KEY_NPAGE, -1}}},
    {"f", "show only the lines of this control, or all lines", &Panel::filter_control, false, {{'f', 0}}},
    {"/", "show only lines that contain a text; empty: all", &Panel::ask, false, {{'/', AskFilter}}},
    {"w", "restart and record, or stop and write the scenario", &Panel::record, false, {{'w', 0}}},
    {"R", "restart with the files as they are on disk now", &Panel::restart, false, {{'R', 0}}},
    {"Ctrl+L", "redraw everything", &Panel::redraw, false, {{control_key('L'), 0}}},
    {"?", "this page", &Panel::help, false, {{'?', 0}}},
    {"q, Ctrl+C", "quit", &Panel::quit, false, {{'q', 0}}},
};
// clang-format on
// What is not a key.
struct Row {
    const char* name;
    const char* help;
};
constexpr Row ALSO[] = {
    {"left button", "press a button, drag a pot, spin a platter, light on or off"},
    {"right button", "light on or off"},
    {"wheel", "turn what is under the pointer"},
    {"at : g /", "Up Down: earlier input; Tab: complete; Esc: cancel"},
    {"board → host →", "on the wire: sent by that end into the bridge"},
    {"board ← host ←", "out of the bridge, received by that end"},
    {"board 12→10 host/s", "messages a second: 12 from the board, 10 to the host"},
    {"host 3→2 board/s", "the other way"},
    {"dropped", "bytes for no mapped control or on another channel"},
    {"merged", "changes of pots and meters sent together with later ones"},
    {"port →1 ←2", "1 connection from the port, 2 to it"},
    {"gone, 3 lost", "the device is gone; messages that were lost"},
    {"a faint name", "with --board: the control has not spoken yet"},
    {"▲ ▼ in the title", "the traffic LED: messages to the host, to the board"},
    {"▼ on a button", "it is held"},
    {"lost", "the control's line in the mapping is gone or was skipped"},
    {"=60", "another control has number 60 at the host too"},
};

// What is asked on the last line.
struct Panel::Prompt {
    const char* question;
    void (Panel::*answered)(const std::string&);
    std::vector<std::string> (Panel::*candidates)() const;
};
constexpr Panel::Prompt Panel::PROMPTS[] = {
    {"step: ", &Panel::play, &Panel::step_candidates},
    {"go to: ", &Panel::go_to_named, &Panel::name_candidates},
    {"lines with: ", &Panel::filter_by, &Panel::no_candidates},
};

// The steps that may be typed, and which controls they take.
struct StepWords {
    const char* words;
    bool (*takes)(const Control&);
    const char* rest;
};
constexpr StepWords STEP_WORDS[] = {
    {"board press ", [](const Control& control) { return control.sends_notes(); }, ""},
    {"board release ", [](const Control& control) { return control.sends_notes(); }, ""},
    {"board turn ", [](const Control& control) { return control.sends_position(); }, " "},
    {"board spin ", [](const Control& control) { return control.sends_steps(); }, " "},
    {"board rest ", [](const Control& control) { return control.sends_steps(); }, ""},
    {"board send ", nullptr, ""},
    {"board send identity reply", nullptr, ""},
    {"host light ", has_light, " "},
    {"host dark ", has_light, ""},
    {"host meter ", [](const Control& control) { return control.kind == Kind::Meter; }, " "},
    {"host send ", nullptr, ""},
    {"host send identity request", nullptr, ""},
};

std::vector<std::string> Panel::step_candidates() const {
    std::vector<std::string> candidates;
    for (const StepWords& step : STEP_WORDS) {
        if (step.takes == nullptr) {
            candidates.emplace_back(step.words);
            continue;
        }
        for (const Control& control : controller_->mapping().controls()) {
            if (control.mapped && step.takes(control)) {
                candidates.push_back(step.words + control.name + step.rest);
            }
        }
    }
    return candidates;
}

void Panel::move(int direction) {
    static constexpr int WAYS[][2] = {{-1, 0}, {1, 0}, {0, -1}, {0, 1}};
    front_.move(WAYS[direction][0], WAYS[direction][1]);
}

void Panel::ask(int question) {
    asked_ = question;
    lines_[static_cast<std::size_t>(question)].open();
}

// What is refused stays, to be mended.
void Panel::prompt_key(int code) {
    const auto question = static_cast<std::size_t>(*asked_);
    const Prompt& prompt = PROMPTS[question];
    LineEdit& line = lines_[question];
    message_.clear();
    if (code == ESCAPE) {
        asked_.reset();
    } else if (code == TAB) {
        message_ = line.complete((this->*prompt.candidates)());
    } else if (code == ENTER || code == NEWLINE || code == KEY_ENTER) {
        line.remember();
        if (question == AskFilter || !line.text().empty()) {
            (this->*prompt.answered)(line.text());
        }
        if (message_.empty()) {
            asked_.reset();
        }
    } else {
        line.key(code);
    }
}

void Panel::draw_prompt(int row) {
    const auto question = static_cast<std::size_t>(*asked_);
    const std::string asked = PROMPTS[question].question;
    const int start = text_width(asked), room = terminal_->columns() - start;
    const int scrolled = std::max(0, lines_[question].cursor() - room + 1);
    const int cursor = lines_[question].cursor() - scrolled;
    const std::string text = lines_[question].text() + " ";
    const std::string shown = text.substr(static_cast<std::size_t>(scrolled));
    terminal_->text(row, 0, start + room, asked + shown, NAME);
    terminal_->text(row, start + cursor, 1, shown.substr(static_cast<std::size_t>(cursor), 1),
                    {NAME.foreground, NAME.background, true, true});
}

void Panel::help_key(int code) {
    const bool on = code == KEY_NPAGE || code == KEY_DOWN || code == ' ';
    const bool back = code == KEY_PPAGE || code == KEY_UP;
    if (on || back) {
        turn_page(on ? 1 : -1);
    } else {
        help_ = false;
    }
}

void Panel::key(int code) {
    if (code == KEY_RESIZE) {
        return;
    }
    if (code == KEY_MOUSE) {
        message_.clear();
        mouse();
    } else if (help_) {
        help_key(code);
    } else if (asked_) {
        prompt_key(code);
    } else {
        command_key(code);
    }
}

void Panel::command_key(int code) {
    message_ = "? shows the keys";
    for (const Key& known : KEYS) {
        const auto stroke =
            std::find_if(std::begin(known.strokes), std::end(known.strokes),
                         [&](const Key::Stroke& other) { return other.code == code && code != 0; });
        if (stroke == std::end(known.strokes)) {
            continue;
        }
        const bool always = known.act == &Panel::quit || known.act == &Panel::restart;
        message_.clear();
        if (always || (fits() && controller_ != nullptr && (ready_ || !known.plays))) {
            (this->*known.act)(stroke->argument);
        } else {
            message_ = controller_ == nullptr ? "no bridge could be started: R tries again, q ends"
                                              : STARTING;
        }
        return;
    }
}

// The library gives what came together as one key, and the last of it first.
void Panel::mouse() {
    std::vector<MEVENT> events;
    for (MEVENT event; getmouse(&event) == OK;) {
        events.insert(events.begin(), event);
    }
    if (!fits() || help_ || controller_ == nullptr || !ready_) {
        return;
    }
    for (const MEVENT& event : events) {
        mouse_event(event.y, event.x, event.bstate);
    }
}

void Panel::mouse_event(int row, int column, unsigned long state) {
    if ((state & BUTTON1_RELEASED) != 0) {
        if (held_by_mouse_) {
            play_later(TAP, "board release " + controller_->mapping().at(*held_by_mouse_).name);
        }
        held_by_mouse_.reset();
        dragged_.reset();
    }
    if ((state & REPORT_MOUSE_POSITION) != 0) {
        drag_to(column);
    } else if (const std::optional<int> index = front_.at(row, column)) {
        mouse_at(*index, column, state);
    } else if ((state & (BUTTON4_PRESSED | BUTTON5_PRESSED)) != 0 && row > front_rows()) {
        scroll((state & BUTTON4_PRESSED) != 0 ? 1 : -1);
    }
}

void Panel::mouse_at(int index, int column, unsigned long state) {
    const bool clicked = (state & LEFT_CLICK) != 0;
    const int wheel = ((state & BUTTON4_PRESSED) != 0 ? 1 : 0) - ((state & BUTTON5_PRESSED) != 0);
    front_.put_cursor(index);
    const Control& control = current();
    if (wheel != 0) {
        turn(control.sends_position() ? wheel * WHEEL : wheel);
    } else if ((state & (BUTTON3_PRESSED | BUTTON3_CLICKED)) != 0) {
        light(0);
    } else if (!clicked && (state & BUTTON1_PRESSED) == 0) {
        return;
    } else if (control.sends_notes()) {
        play("board press " + control.name);
        if (clicked) {
            play_later(TAP, "board release " + control.name);
        } else {
            held_by_mouse_ = index;
        }
    } else if (control.sends_position() || control.kind == Kind::Meter) {
        dragged_ = clicked ? std::nullopt : std::optional(index);
        put(control, front_.along(index, column));
    } else if (has_light(control)) {
        light(0);
    } else {
        tap(0);
    }
}

void Panel::put(const Control& control, int position) {
    play((control.kind == Kind::Meter ? "host meter " : "board turn ") + control.name + " " +
         std::to_string(position));
}

void Panel::drag_to(int column) {
    if (!dragged_) {
        return;
    }
    const Control& control = controller_->mapping().at(*dragged_);
    const int position = front_.along(*dragged_, column);
    if (control.kind == Kind::Meter || controller_->board().position(*dragged_) != position) {
        put(control, position);
    }
}

void Panel::turn_page(int pages) {
    help_page_ += pages;  // drawing keeps it among those there are
}

void Panel::draw_help() {
    constexpr int NAME_WIDTH = 23, INDENT = 1;
    const int room = terminal_->columns() - NAME_WIDTH - INDENT;
    std::vector<std::pair<std::string, std::string>> rows;
    const auto add = [&](const std::string& name, const std::string& help) {
        std::string first = name;
        for (const std::string& line : wrapped(help, room, 0)) {
            rows.emplace_back(std::exchange(first, ""), line);
        }
    };
    for (const Key& known : KEYS) {
        add(known.name, known.help);
    }
    for (const auto& [name, help] : ALSO) {
        add(name, help);
    }
    const int height = terminal_->rows() - 2, count = static_cast<int>(rows.size());
    const int pages = (count + height - 1) / height;
    help_page_ = std::clamp(help_page_, 0, pages - 1);
    std::string title = " Keys, mouse, signs";
    title += pages == 1 ? ""
                        : "   page " + std::to_string(help_page_ + 1) + " of " +
                              std::to_string(pages) + ", Space for the next";
    terminal_->text(0, 0, terminal_->columns(), title + "   q goes back", TITLE);
    for (int i = 0; i < height && help_page_ * height + i < count; ++i) {
        const auto& [name, text] = rows[static_cast<std::size_t>(help_page_ * height + i)];
        terminal_->text(i + 1, INDENT, NAME_WIDTH, name, NAME);
        terminal_->text(i + 1, INDENT + NAME_WIDTH, room, text);
    }
}

}  // namespace bench
