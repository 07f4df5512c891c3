#include "panel/keys.h"

#define NCURSES_NOMACROS
#include <curses.h>

#include <algorithm>
#include <iterator>
#include <sstream>

#include "scenario/step.h"

namespace bench {
namespace {

constexpr int WHEEL = 4;
constexpr int UP_OR_DOWN = 2;  // of the ways that arrows go
constexpr int FULL = 127;
constexpr mmask_t LEFT_CLICK = BUTTON1_CLICKED | BUTTON1_DOUBLE_CLICKED | BUTTON1_TRIPLE_CLICKED;
constexpr int ESCAPE = 27, ENTER = '\r', NEWLINE = '\n', TAB = '\t';

constexpr int control_key(char letter) {
    return letter & 0x1F;
}

bool is_enter(int code) {
    return code == ENTER || code == NEWLINE || code == KEY_ENTER;
}

// What is not a key.
constexpr std::pair<const char*, const char*> ALSO[] = {
    {"left button", "press a button, drag a pot, spin a platter, light on or off"},
    {"right button", "light on or off"},
    {"wheel", "turn what is under the pointer"},
    {"at : g /", "Up Down: earlier input; Tab: complete; Esc: cancel"},
    {"board → host →", "on the wire: sent by that end into the bridge"},
    {"board ← host ←", "out of the bridge, received by that end"},
    {"port →1 ←2", "1 connection from the port, 2 to it"},
    {"gone, 3 lost", "the device is gone; messages that were lost"},
    {"a faint name", "with --board: the control has not spoken yet"},
    {"▲ ▼ in the title", "the traffic LED: messages to the host, to the board"},
    {"▼ on a button", "it is held"},
    {"✗PLAY", "the control's line in the mapping is gone or was skipped"},
    {"!PLAY", "there is a finding about it: v shows it"},
};

}  // namespace

// What the keys do, in the order of the page that tells them.
struct Keys::Key {
    struct Stroke {
        int code;
        int number;
    };
    const char* name;
    const char* help;
    Needs needs;
    Stroke strokes[10];
    void (*act)(Keys& keys, int number);

    template <void (Player::*gesture)(const Control&)>
    static void play(Keys& keys, int) {
        (keys.player_.*gesture)(keys.view_.current());
    }
};
// clang-format off
constexpr Keys::Key Keys::KEYS[] = {
    {"arrows", "go to the next control in that direction", BRIDGE, {{KEY_LEFT, -1}, {KEY_RIGHT, 1}, {KEY_UP, -UP_OR_DOWN}, {KEY_DOWN, UP_OR_DOWN}},
     [](Keys& keys, int way) { keys.view_.front.move(way % UP_OR_DOWN, way / UP_OR_DOWN); }},
    {"Tab, Shift+Tab", "go to the next control, to the previous one", BRIDGE, {{TAB, 1}, {KEY_BTAB, -1}},
     [](Keys& keys, int places) { keys.view_.front.step(places); }},
    {"g", "go to a control by its name", NOTHING, {{'g', CONTROL}}, [](Keys& keys, int question) { keys.ask(question); }},
    {"Space", "tap a button; spin a platter, or let it go; centre a pot", LINES, {{' ', 0}}, Key::play<&Player::tap>},
    {"Enter", "press a button and hold it, or let it go", LINES, {{ENTER, 0}, {NEWLINE, 0}, {KEY_ENTER, 0}}, Key::play<&Player::hold>},
    {"+ -  Shift+Right Left", "turn by one step", LINES, {{'+', 1}, {'=', 1}, {'-', -1}, {KEY_SRIGHT, 1}, {KEY_SLEFT, -1}},
     [](Keys& keys, int steps) { keys.player_.turn(keys.view_.current(), steps); }},
    {"> <  Shift+Up Down", "turn by eight steps", LINES, {{'>', 8}, {'<', -8}, {KEY_SR, 8}, {KEY_SF, -8}},
     [](Keys& keys, int steps) { keys.player_.turn(keys.view_.current(), steps); }},
    {"0 to 9", "set a pot; from the host, a light or a meter", LINES,
     {{'0', 0}, {'1', 1}, {'2', 2}, {'3', 3}, {'4', 4}, {'5', 5}, {'6', 6}, {'7', 7}, {'8', 8}, {'9', 9}},
     [](Keys& keys, int ninths) { keys.player_.set(keys.view_.current(), (ninths * FULL + 4) / 9); }},
    {"t", "lay a hand on the platter, or take it off", LINES, {{'t', 0}}, Key::play<&Player::touch>},
    {"r", "let a platter or the encoder come to rest", LINES, {{'r', 0}}, Key::play<&Player::rest>},
    {"l", "from the host: light on or off", LINES, {{'l', 0}}, Key::play<&Player::light>},
    {"b", "from the host: change the label on this control's note", LINES, {{'b', 0}}, Key::play<&Player::label>},
    {"i", "from the host: Identity Request", LINES, {{'i', 0}}, [](Keys& keys, int) { keys.player_.play("host send identity request"); }},
    {":", "type a step of a scenario: host send 90 3c 7f", NOTHING, {{':', STEP}}, [](Keys& keys, int question) { keys.ask(question); }},
    {"v", "show the wire, the log, the findings or the screen", BRIDGE, {{'v', 0}}, [](Keys& keys, int) { keys.view_.next_pane(); }},
    {"p", "pause or go on", BRIDGE, {{'p', 0}}, [](Keys& keys, int) { keys.view_.pause(); }},
    {"PgUp PgDn, wheel", "scroll back or forward", BRIDGE, {{KEY_PPAGE, 1}, {KEY_NPAGE, -1}}, [](Keys& keys, int pages) { keys.view_.scroll(pages); }},
    {"End", "go to the newest line, and on with what comes", BRIDGE, {{KEY_END, 0}}, [](Keys& keys, int) { keys.view_.newest(); }},
    {"f", "show only the lines of this control, or all lines", BRIDGE, {{'f', 0}},
     [](Keys& keys, int) { keys.view_.filter = keys.view_.filter.empty() ? keys.view_.current().name : ""; }},
    {"/", "show only lines that contain a text; empty: all", NOTHING, {{'/', FILTER}}, [](Keys& keys, int question) { keys.ask(question); }},
    {"w", "restart and record, or stop and write the scenario", BRIDGE, {{'w', 0}}, [](Keys& keys, int) { keys.restart(true); }},
    {"R", "restart with the files as they are on disk now", NOTHING, {{'R', 0}}, [](Keys& keys, int) { keys.restart(false); }},
    {"Ctrl+L", "redraw everything", NOTHING, {{control_key('L'), 0}}, [](Keys& keys, int) { keys.view_.redraw(); }},
    {"?", "this page", BRIDGE, {{'?', 0}}, [](Keys& keys, int) { keys.view_.help = &keys.help_; }},
    {"q, Ctrl+C", "quit", NOTHING, {{'q', 0}}, [](Keys& keys, int) { keys.quits_ = true; }},
};
// clang-format on

Keys::Keys(Player& player, View& view) : player_(player), view_(view) {
    for (const Key& known : KEYS) {
        help_.emplace_back(known.name, known.help);
    }
    help_.insert(help_.end(), std::begin(ALSO), std::end(ALSO));
}

bool Keys::take() {
    bool some = false;
    for (int code = getch(); code != ERR; code = getch()) {
        some = true;
        key(code);
    }
    return some;
}

// A line that is typed is never taken for keys: what asks for one asks wherever it is typed.
void Keys::key(int code) {
    if (code == KEY_RESIZE) {
        return;
    }
    if (code == KEY_MOUSE) {
        player_.message.clear();
        mouse();
    } else if (asked_) {
        prompt_key(code);
    } else if (view_.help != nullptr && code != ':') {
        help_key(code);
    } else {
        view_.help = nullptr;
        command_key(code);
    }
}

void Keys::command_key(int code) {
    player_.message = "? shows the keys";
    for (const Key& known : KEYS) {
        const auto stroke =
            std::find_if(std::begin(known.strokes), std::end(known.strokes),
                         [&](const Key::Stroke& other) { return other.code == code && code != 0; });
        if (stroke == std::end(known.strokes)) {
            continue;
        }
        player_.message.clear();
        if (known.needs != NOTHING && player_.bridge() == nullptr) {
            player_.message = "no bridge could be started: R tries again, q ends";
        } else if (known.needs == LINES && !player_.is_ready()) {
            player_.message = Player::STARTING;
        } else if (known.needs == NOTHING || view_.fits()) {
            known.act(*this, stroke->number);
        }
        return;
    }
}

void Keys::help_key(int code) {
    if (code == KEY_NPAGE || code == KEY_DOWN || code == ' ') {
        ++view_.help_page;  // drawing keeps it among those there are
    } else if (code == KEY_PPAGE || code == KEY_UP) {
        --view_.help_page;
    } else {
        view_.help = nullptr;
    }
}

void Keys::restart(bool to_record) {
    try {
        to_record ? player_.record() : player_.start();
    } catch (const std::exception& error) {
        player_.message = error.what();
    }
    view_.begin();
}

// --- Typed lines ---

void Keys::ask(int question) {
    asked_ = question;
    Prompt& prompt = prompts_[static_cast<std::size_t>(question)];
    prompt.line.open();
    view_.prompt = &prompt;
}

// What is refused stays, to be mended.
void Keys::prompt_key(int code) {
    LineEdit& line = prompts_[static_cast<std::size_t>(*asked_)].line;
    player_.message.clear();
    bool done = code == ESCAPE;
    if (code == TAB) {
        player_.message = line.complete(candidates());
    } else if (is_enter(code)) {
        line.remember();
        done = answer(line.text());
    } else if (!done) {
        line.key(code);
    }
    if (done) {
        asked_.reset();
        view_.prompt = nullptr;
    }
}

bool Keys::answer(const std::string& text) {
    if (asked_ == FILTER) {
        view_.filter = text;
    } else if (asked_ == STEP && !text.empty()) {
        return player_.play(text);
    } else if (!text.empty()) {
        const std::optional<int> found = view_.front.find(text);
        view_.front.put_cursor(found.value_or(view_.front.cursor()));
        player_.message = found ? "" : "no control's name begins with " + text;
        return found.has_value();
    }
    return true;
}

// Names, or whatever is a step that sends.
std::vector<std::string> Keys::candidates() const {
    if (asked_ != STEP || player_.bridge() == nullptr) {
        return asked_ == CONTROL ? view_.front.names() : std::vector<std::string>();
    }
    StepReader reader(player_.bridge()->setup());
    const auto sends = [&](const std::string& step) {
        try {
            return reader.read(step).sending.has_value();
        } catch (const NotAsExpected&) {
            return false;
        }
    };
    std::vector<std::string> all;
    const auto add = [&](const std::string& step) {
        for (const auto& [more, value] : {std::pair("", ""), {" ", "64"}}) {
            if (sends(step + more + value)) {
                all.push_back(step + more);
                return;
            }
        }
    };
    for (const Verb& verb : verbs()) {
        std::istringstream subjects(verb.subjects);
        for (std::string subject; std::getline(subjects >> std::ws, subject, ',');) {
            const std::string step = subject + " " + verb.words;
            if (!std::string_view(verb.rest).starts_with("CONTROL")) {
                add(step);
                continue;
            }
            for (const Control& control : player_.bridge()->mapping().controls()) {
                if (control.mapped) {
                    add(step + " " + control.name);
                }
            }
        }
    }
    return all;
}

// --- The mouse ---

// The library gives what came together as one key, and the last of it first.
void Keys::mouse() {
    std::vector<MEVENT> events;
    for (MEVENT event; getmouse(&event) == OK;) {
        events.insert(events.begin(), event);
    }
    if (view_.fits() && view_.help == nullptr && player_.is_ready()) {
        for (const MEVENT& event : events) {
            mouse_event(event.y, event.x, event.bstate);
        }
    }
}

void Keys::mouse_event(int row, int column, unsigned long state) {
    const Mapping& mapping = player_.bridge()->mapping();
    if ((state & BUTTON1_RELEASED) != 0) {
        if (held_) {
            player_.release(mapping.at(*held_));
        }
        held_.reset();
        dragged_.reset();
    }
    const int up = ((state & BUTTON4_PRESSED) != 0 ? 1 : 0) - ((state & BUTTON5_PRESSED) != 0);
    if ((state & REPORT_MOUSE_POSITION) != 0) {
        if (dragged_) {
            player_.set(mapping.at(*dragged_), view_.front.along(*dragged_, column));
        }
    } else if (const std::optional<int> index = view_.front.at(row, column)) {
        mouse_at(*index, column, state, up);
    } else if (up != 0 && view_.is_in_pane(row)) {
        view_.scroll(up);
    }
}

void Keys::mouse_at(int index, int column, unsigned long state, int up) {
    const bool clicked = (state & LEFT_CLICK) != 0;
    view_.front.put_cursor(index);
    const Control& control = view_.current();
    if (up != 0) {
        player_.turn(control, control.sends_position() ? up * WHEEL : up);
    } else if ((state & (BUTTON3_PRESSED | BUTTON3_CLICKED)) != 0) {
        player_.light(control);
    } else if (!clicked && (state & BUTTON1_PRESSED) == 0) {
        return;
    } else if (control.sends_notes()) {
        clicked ? player_.tap(control) : player_.press(control);
        held_ = clicked ? std::nullopt : std::optional(index);
    } else if (control.sends_position() || control.kind == Kind::Meter) {
        dragged_ = clicked ? std::nullopt : std::optional(index);
        player_.set(control, view_.front.along(index, column));
    } else {
        control.sends_steps() ? player_.tap(control) : player_.light(control);
    }
}

}  // namespace bench
