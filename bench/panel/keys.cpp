// The panel's keys and mouse, and the page that tells them.
#define NCURSES_NOMACROS
#include <curses.h>

#include <algorithm>
#include <iterator>

#include "panel/panel.h"

namespace bench {
namespace {

constexpr milliseconds TAP(80);  // the bridge sees the press before the release
constexpr int WHEEL = 4;
constexpr mmask_t LEFT_CLICK = BUTTON1_CLICKED | BUTTON1_DOUBLE_CLICKED | BUTTON1_TRIPLE_CLICKED;
constexpr int ESCAPE = 27, ENTER = '\r', NEWLINE = '\n', BACKSPACE = 127;
constexpr Ink TITLE{231, 24, true}, NAME{220, -1, true};

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
    {"arrows left, right", "to the next control that way", &Panel::move_across, false, {{KEY_LEFT, -1}, {KEY_RIGHT, 1}}},
    {"arrows up, down", "to the next control that way", &Panel::move_along, false, {{KEY_UP, -1}, {KEY_DOWN, 1}}},
    {"Tab, Shift+Tab", "the next control, the one before", &Panel::step, false, {{'\t', 1}, {KEY_BTAB, -1}}},
    {"g", "go to a control by its name", &Panel::go_to, false, {{'g', 0}}},
    {"Space", "tap a button; spin a platter, and let it go; centre a pot", &Panel::tap, true, {{' ', 0}}},
    {"Enter", "press a button and hold it; let it go", &Panel::hold, true, {{ENTER, 0}, {NEWLINE, 0}, {KEY_ENTER, 0}}},
    {"+ -, Shift+Right Left", "turn by one step", &Panel::turn, true,
     {{'+', 1}, {'=', 1}, {'-', -1}, {KEY_SRIGHT, 1}, {KEY_SLEFT, -1}}},
    {"> <, Shift+Up Down", "turn by eight steps", &Panel::turn, true, {{'>', 8}, {'<', -8}, {KEY_SR, 8}, {KEY_SF, -8}}},
    {"0 to 9", "a pot's position; from the host, a light's or meter's value", &Panel::set, true,
     {{'0', 0}, {'1', 1}, {'2', 2}, {'3', 3}, {'4', 4}, {'5', 5}, {'6', 6}, {'7', 7}, {'8', 8}, {'9', 9}}},
    {"t", "lay a hand on the platter, take it off", &Panel::touch, true, {{'t', 0}}},
    {"r", "let a platter or the encoder come to rest", &Panel::rest, true, {{'r', 0}}},
    {"l", "from the host: light on, light off", &Panel::light, true, {{'l', 0}}},
    {"b", "from the host: change the label on this control's note", &Panel::label, true, {{'b', 0}}},
    {"i", "from the host: Identity Request", &Panel::identity, true, {{'i', 0}}},
    {":", "type a step of a scenario: host send 90 3c 7f", &Panel::type_step, true, {{':', 0}}},
    {"v", "show the wire, the log, the screen", &Panel::next_pane, false, {{'v', 0}}},
    {"p, End", "pause, go on", &Panel::pause, false, {{'p', 0}, {KEY_END, 0}}},
    {"PgUp PgDn, wheel", "scroll back, forward", &Panel::scroll, false, {{KEY_PPAGE, 1}, {KEY_NPAGE, -1}}},
    {"f", "only the lines of this control, all lines", &Panel::filter_control, false, {{'f', 0}}},
    {"/", "only lines with a text; empty: all", &Panel::filter_text, false, {{'/', 0}}},
    {"w", "restart and record; stop and write the scenario", &Panel::record, false, {{'w', 0}}},
    {"R", "restart with the files as they are on disk now", &Panel::restart, false, {{'R', 0}}},
    {"Ctrl+L", "draw everything anew", &Panel::redraw, false, {{control_key('L'), 0}}},
    {"?", "this page", &Panel::help, false, {{'?', 0}}},
    {"q, Ctrl+C", "end", &Panel::quit, false, {{'q', 0}}},
};
// clang-format on
// Of the mouse, which no key stands for.
constexpr const char* MOUSE_HELP[][2] = {
    {"left button", "press and hold a button; put a pot there; spin a platter"},
    {"right button", "light on, light off"},
    {"wheel", "turn what is under the pointer"},
};

void Panel::prompt(const std::string& question, void (Panel::*answered)(const std::string&)) {
    question_ = question;
    answered_ = answered;
    typed_.clear();
}

void Panel::prompt_key(int code) {
    if (code == ENTER || code == NEWLINE || code == KEY_ENTER) {
        question_.clear();
        (this->*answered_)(typed_);
    } else if (code == ESCAPE) {
        question_.clear();
    } else if ((code == KEY_BACKSPACE || code == BACKSPACE || code == control_key('H'))) {
        typed_.resize(typed_.empty() ? 0 : typed_.size() - 1);
    } else if (code >= ' ' && code < BACKSPACE) {
        typed_ += static_cast<char>(code);
    }
}

void Panel::key(int code) {
    if (code == KEY_RESIZE) {
        return;
    }
    if (help_ && code != 'q') {
        help_ = false;
    } else if (!question_.empty()) {
        prompt_key(code);
    } else if (code == KEY_MOUSE) {
        message_.clear();
        mouse();
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
                                              : "the bridge is still starting";
        }
        return;
    }
}

void Panel::mouse() {
    MEVENT event;
    if (getmouse(&event) != OK || !fits() || controller_ == nullptr || !ready_) {
        return;
    }
    if ((event.bstate & BUTTON1_RELEASED) != 0 && held_by_mouse_) {
        play_later(TAP, "board release " + controller_->mapping().at(*held_by_mouse_).name);
        held_by_mouse_.reset();
    }
    const int wheel = ((event.bstate & BUTTON4_PRESSED) != 0 ? 1 : 0) -
                      ((event.bstate & BUTTON5_PRESSED) != 0 ? 1 : 0);
    const std::optional<Front::Spot> spot = front_.at(event.y, event.x);
    if (!spot) {
        if (wheel != 0 && event.y > front_rows()) {
            scroll(wheel);
        }
        return;
    }
    front_.put_cursor(spot->index);
    const Control& control = current();
    if (wheel != 0) {
        turn(control.sends_position() ? wheel * WHEEL : wheel);
    } else if ((event.bstate & (BUTTON3_PRESSED | BUTTON3_CLICKED)) != 0) {
        light(0);
    } else if ((event.bstate & (BUTTON1_PRESSED | LEFT_CLICK)) == 0) {
        return;
    } else if (control.sends_notes()) {
        play("board press " + control.name);
        if ((event.bstate & LEFT_CLICK) != 0) {
            play_later(TAP, "board release " + control.name);
        } else {
            held_by_mouse_ = control.index;
        }
    } else if (control.sends_position()) {
        play("board turn " + control.name + " " + std::to_string(spot->along));
    } else {
        tap(0);
    }
}

void Panel::draw_help() {
    constexpr int NAME_WIDTH = 24;
    terminal_->text(0, 0, terminal_->columns(), " Keys and mouse", TITLE);
    int row = 1;
    const auto line = [&](const char* name, const char* text) {
        terminal_->text(row, 2, NAME_WIDTH, name, NAME);
        terminal_->text(row++, 2 + NAME_WIDTH, terminal_->columns() - NAME_WIDTH - 2, text);
    };
    for (const Key& known : KEYS) {
        line(known.name, known.help);
    }
    for (const auto& [name, text] : MOUSE_HELP) {
        line(name, text);
    }
}

}  // namespace bench
