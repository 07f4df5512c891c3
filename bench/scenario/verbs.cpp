// The verbs of a scenario, a row for each: at the end of this file, after what they do.
#include <algorithm>
#include <bitset>
#include <iterator>
#include <map>

#include "machine/machine.h"
#include "scenario/runner.h"
#include "scenario/step.h"
#include "scenario/traffic.h"

namespace bench {
namespace {

constexpr milliseconds MESSAGE_PATIENCE(2000);
constexpr milliseconds REPORT_PATIENCE(60000);  // it is asked for after seconds of processor time
constexpr milliseconds TEXT_PATIENCE(20000);
constexpr milliseconds READING_PATIENCE(10000);
constexpr milliseconds COMMAND_PATIENCE(60000);
constexpr int MOST_POSITIONS = 127;  // of one pot under way: no two of them alike

void note(Runner& run, const std::string& text) {
    run.transcript().note("      " + text);
}

Pump quiet_pump(Runner& run) {
    return [&run](milliseconds timeout) { run.pump(timeout, false); };
}

std::string after(milliseconds time) {
    return " within " + std::to_string(time.count()) + " ms";
}

// A step that calls act() with what its line says.
template <typename T>
Action with(T what, void (*act)(Runner&, const T&)) {
    return [what, act](Runner& run) { act(run, what); };
}

milliseconds time_of(StepReader& reader, int most = MAX_TIME) {
    return milliseconds(reader.words.number(1, most));
}

// --- Messages ---

struct Awaited {
    End end;
    milliseconds patience;
    Pattern pattern;
};

Awaited awaited(StepReader& reader) {
    const milliseconds patience = reader.patience(MESSAGE_PATIENCE);
    return {reader.end(), patience, reader.pattern()};
}

Action send(StepReader& reader, const std::vector<Bytes>& messages) {
    if (messages.empty() || messages.front().empty()) {
        throw NotAsExpected();
    }
    reader.sending = {reader.end(), messages};
    return [sending = *reader.sending](Runner& run) { run.send(sending.end, sending.messages); };
}

Action send_bytes(StepReader& reader) {
    const std::optional<Bytes> named = reader.named_message();
    return send(reader, {named ? *named : parse_hex(reader.words.text()).value_or(Bytes())});
}

Action trickle(StepReader& reader) {
    const std::optional<Bytes> named = reader.named_message();
    return [message = named ? *named : throw NotAsExpected()](Runner& run) {
        note(run, run.step().text);
        constexpr std::size_t MOST = 64;  // at once, to catch up
        Controller& controller = run.controller();
        const milliseconds start = controller.now();
        for (std::size_t at = 0; at < message.size(); run.pass_time(milliseconds(1))) {
            const auto time = static_cast<std::size_t>((controller.now() - start).count());
            const std::size_t due = std::min(time * LINE_BYTES_PER_SECOND / 1000, message.size());
            const std::size_t to = std::min(due, at + MOST);
            controller.send_part(End::Board, {message.data() + at, message.data() + to});
            at = to;
        }
    };
}

void expect(Runner& run, const Awaited& awaited) {
    run.expect_message(awaited.end, awaited.pattern, awaited.patience);
}

void expect_report(Runner& run, const milliseconds& patience) {
    const Host& host = run.controller().host();
    for (const Control& control : run.controller().mapping().controls()) {
        if (control.host_sees_position()) {
            const int position = run.controller().board().position(control.index);
            run.expect_message(
                End::Host,
                {byte(CONTROL_CHANGE | host.channel()), byte(control.host_sees), byte(position)},
                patience);
        }
    }
}

void until(Runner& run, const Awaited& awaited) {
    run.until_message(awaited.end, awaited.pattern, awaited.patience);
}

void silent(Runner& run, End end, milliseconds time) {
    if (const Event* event = run.next_within(at(end), time)) {
        fail("silence",
             hex(event->bytes, 16) + "   " + words_for(*event, run.controller().mapping()));
    }
    run.hold();
}

void drop(Runner& run, const End& end) {
    run.pump(milliseconds(0));
    run.pass_over(end, true);
}

// --- Lines that are full ---

void stop_reading(Runner& run, const End& end) {
    run.pump(milliseconds(0));
    run.controller().set_reading(end, false);
    note(run, run.step().text);
}

// What was sent up to here still finds the line as it is. Then it becomes as good as new: all that
// was left in it is read, and the daemon can write.
void read_again(Runner& run, const End& end) {
    run.settle();
    Controller& controller = run.controller();
    const bool filled = run.filled.contains(end);
    note(run, run.step().text);
    controller.set_reading(end, true);
    const auto is_empty = [&] { return !controller.full(end) && controller.drained(end); };
    if (!run.await(READING_PATIENCE, is_empty, !filled)) {
        throw Failure{"what was left in the line has not come"};
    }
    if (filled) {
        controller.end_unfinished(end);
        run.pump(milliseconds(0), false);
    }
}

void fill_line(Runner& run, const End& from) {
    const End to = other(from);
    note(run, run.step().text);
    const Filling filling = fill(run.controller(), from, quiet_pump(run));
    note(run, std::string("the ") + name(to) + " was sent " +
                  std::to_string(filling.messages.size()) + " messages, and the line is full");
    run.filled[to] = filling;
    run.hold();
}

void expect_fill(Runner& run, const End& end) {
    const auto filled = run.filled.extract(end);
    if (!filled) {
        throw Failure{std::string("no step has filled the line towards the ") + name(end)};
    }
    const std::vector<const Event*> left = run.events_left(at(end));
    std::vector<Bytes> came;
    for (const Event* const event : left) {
        came.push_back(event->bytes);
    }
    const FillingResult result = account(filled.mapped(), came);
    if (!result.good) {
        throw Failure{result.summary};
    }
    note(run, result.summary);
    run.take(*left[result.messages - 1]);
    run.hold();
}

// --- Traffic by the thousand ---

Action random_of(StepReader& reader) {
    const milliseconds time = 1000 * time_of(reader, MAX_TIME / 1000);
    const int seed = reader.words.take("seed") ? reader.words.number(0, 1000000000) : 1;
    return [ends = reader.ends, time, seed](Runner& run) {
        note(run, run.step().text);
        run.transcript().note(send_random(run.controller(), ends, time, static_cast<unsigned>(seed),
                                          quiet_pump(run)));
        run.pass_over(End::Board, true);
        run.pass_over(End::Host, true);
        run.hold();
    };
}

Action flood_of(StepReader& reader) {
    Plan plan = {.count = reader.words.number(1, 10000000), .per_second = LINE_MESSAGES_PER_SECOND};
    if (reader.words.take("pots")) {  // which the daemon's rate limit may merge
        if (reader.ends != std::vector<End>{End::Board}) {
            throw NotAsExpected();
        }
        plan.window = UNLIMITED;
        plan.note_depth = 0;
        plan.controller_depth = MOST_POSITIONS;
    } else if (reader.words.take("each")) {
        plan.window = 1;
        plan.per_second = 1000 / reader.words.number(1, 1000);
    } else if (reader.words.take("at once")) {
        plan.window = plan.note_depth = UNLIMITED;
        plan.per_second = 0;
        plan.lossy = true;
    }
    return [ends = reader.ends, plan](Runner& run) {
        note(run, run.step().text);
        run.transcript().note(flood(run.controller(), ends, plan, quiet_pump(run)));
        run.pass_over(End::Board, false);
        run.pass_over(End::Host, false);
        run.hold();
    };
}

// --- Platform calls, the log ---

// "TEXT ..." fits whatever begins with TEXT.
bool call_fits(const std::string& wanted, const std::string& call) {
    constexpr std::string_view ANYTHING = " ...";
    return wanted.ends_with(ANYTHING)
               ? call.starts_with(wanted.substr(0, wanted.size() - ANYTHING.size()))
               : call == wanted;
}

bool is_in(const std::string& wanted, const std::string& line) {
    return line.find(wanted) != std::string::npos;
}

bool is_same(const std::string& wanted, const std::string& line) {
    return line == wanted;
}

struct AwaitedText {
    milliseconds patience;
    Wanted wanted;
};

AwaitedText call(StepReader& reader) {
    const milliseconds patience = reader.patience(TEXT_PATIENCE);
    return {patience, {Place::Platform, reader.words.text(), call_fits}};
}

AwaitedText log(StepReader& reader) {
    const milliseconds patience = reader.patience(TEXT_PATIENCE);
    const std::string text = reader.words.text();
    const bool whole = text.size() > 2 && text.front() == '"' && text.back() == '"';
    return {patience,
            {Place::Log, whole ? text.substr(1, text.size() - 2) : text, whole ? is_same : is_in}};
}

void expect_text(Runner& run, const AwaitedText& awaited) {
    const Wanted& wanted = awaited.wanted;
    const Event* const event = run.await_event(wanted.place, awaited.patience);
    if (event == nullptr || !wanted.fits(wanted.text, event->text)) {
        fail(wanted.text, event == nullptr ? "no call" : event->text);
    }
    run.take(*event);
    run.hold();
}

void until_text(Runner& run, const AwaitedText& awaited) {
    const Wanted& wanted = awaited.wanted;
    const auto fits = [&](const Event& event) { return wanted.fits(wanted.text, event.text); };
    if (run.take_until(wanted.place, awaited.patience, fits) < 0) {
        fail(wanted.text, "not" + after(awaited.patience));
    }
}

void refuse_text(Runner& run, const AwaitedText& awaited) {
    run.refuse(awaited.wanted);
    run.hold();
}

// --- The screen ---

struct Shown {
    milliseconds patience;
    int row, column;
    std::string text, color;  // no colour: any
};

Shown shown(StepReader& reader) {
    Words& words = reader.words;
    const milliseconds patience = reader.patience(MESSAGE_PATIENCE);
    const int row = words.number(1, SCREEN_ROWS), column = words.number(1, SCREEN_COLUMNS);
    const std::string text = words.quoted();
    const std::string color = words.more() ? words.text() : "";
    if (!color.empty() && !Screen::are_colors(color)) {
        throw NotAsExpected{"; \"" + color + "\" is no COLOR: black, red, green, yellow, blue, " +
                            "magenta, cyan or white, bright or not, as in bright red on black"};
    }
    return {patience, row, column, text, color};
}

void expect_screen(Runner& run, const Shown& expected) {
    const Screen& screen = run.controller().screen();
    const int length = static_cast<int>(expected.text.size());
    std::string text, color;
    const auto is_there = [&] {
        text = screen.text(expected.row, expected.column, length);
        color = Screen::colors(screen.at(expected.row, expected.column));
        return text == expected.text && (expected.color.empty() || color == expected.color);
    };
    if (!run.await(expected.patience, is_there)) {
        fail("\"" + expected.text + "\" " + expected.color, "\"" + text + "\" " + color);
    }
    run.hold();
}

void show_screen(Runner& run) {
    const std::string edge = "+" + std::string(SCREEN_COLUMNS, '-') + "+";
    note(run, edge);
    for (int row = 1; row <= SCREEN_ROWS; ++row) {
        note(run, "|" + run.controller().screen().text(row, 1, SCREEN_COLUMNS) + "|");
    }
    note(run, edge);
}

// A character of the screen in pixels, a bit for each that is in the colour of the text.
using Glyph = std::bitset<Screen::CELL_WIDTH * Screen::CELL_HEIGHT>;

Glyph glyph_at(const std::vector<std::uint16_t>& pixels, int row, int column, const Cell& cell) {
    Glyph glyph;
    const auto [text, ground] = Screen::pixel_colors(cell);
    for (int i = 0; i < Screen::CELL_WIDTH * Screen::CELL_HEIGHT; ++i) {
        const int x = (column - 1) * Screen::CELL_WIDTH + i % Screen::CELL_WIDTH;
        const int y = (row - 1) * Screen::CELL_HEIGHT + i / Screen::CELL_WIDTH;
        const int pixel =
            pixels[static_cast<std::size_t>(y * SCREEN_COLUMNS * Screen::CELL_WIDTH + x)];
        if (pixel != text && pixel != ground) {
            fail("\"" + cell.text + "\" in pixels of its colours",
                 "another colour in row " + std::to_string(row) + ", column " +
                     std::to_string(column));
        }
        glyph[static_cast<std::size_t>(i)] = pixel == text;
    }
    return glyph;
}

// Blanks may show the picture that was there before.
void expect_pixels(Runner& run) {
    const Screen& screen = run.controller().screen();
    const std::vector<std::uint16_t> pixels = run.controller().machine()->pixels();
    std::map<std::string, Glyph> known;
    for (int row = 1; row <= SCREEN_ROWS; ++row) {
        for (int column = 1; column <= SCREEN_COLUMNS; ++column) {
            const Cell cell = screen.at(row, column);
            if (cell.text == " ") {
                continue;
            }
            const Glyph glyph = glyph_at(pixels, row, column, cell);
            if (glyph.none() || known.try_emplace(cell.text, glyph).first->second != glyph) {
                fail(
                    "the shape of \"" + cell.text + "\"",
                    "another in row " + std::to_string(row) + ", column " + std::to_string(column));
            }
        }
    }
    for (auto one = known.begin(); one != known.end(); ++one) {
        for (auto next = std::next(one); next != known.end(); ++next) {
            if (one->second == next->second) {
                fail("shapes of their own", one->first + " and " + next->first + " look the same");
            }
        }
    }
    note(run, std::to_string(known.size()) + " characters have a shape of their own in pixels");
    if (known.empty()) {
        throw Failure{"nothing is written on the screen"};
    }
    run.hold();
}

// --- The machine ---

Action run_command(StepReader& reader) {
    const milliseconds patience = reader.patience(COMMAND_PATIENCE);
    return [patience, command = reader.words.text()](Runner& run) {
        Machine& machine = *run.controller().machine();
        note(run, run.step().text);
        machine.run(command);
        if (!run.await(patience, [&] { return machine.result().has_value(); })) {
            fail("the end of " + command, "none" + after(patience));
        }
        if (machine.result() != 0) {
            fail("exit status 0", "exit status " + std::to_string(*machine.result()));
        }
        run.hold();
    };
}

void await_off(Runner& run, const milliseconds& patience) {
    if (!run.await(patience, [&] { return run.controller().machine()->is_off(); })) {
        fail("the machine to switch itself off", "nothing" + after(patience));
    }
    run.hold();
}

// --- The rest ---

Action expect_exit(StepReader& reader) {
    const milliseconds patience = reader.patience(TEXT_PATIENCE);
    return [patience, expected = reader.words.number(0, 255)](Runner& run) {
        std::optional<int> status;
        run.await(patience, [&] { return (status = run.controller().exit_status()).has_value(); });
        if (status != expected) {
            fail("exit status " + std::to_string(expected),
                 status ? "exit status " + std::to_string(*status) : "no end");
        }
        run.hold();
    };
}

void hang_up(Runner& run, const End& end) {
    run.controller().hang_up(end);
    run.pump(milliseconds(0));
}

void heading(Runner& run, const std::string& text) {
    run.transcript().heading(text);
}

constexpr int NEEDED = -1;  // a number that has to stand there

int value_of(StepReader& reader, int otherwise) {
    return otherwise == NEEDED ? reader.words.number(0, 127)
                               : reader.words.number_or(otherwise, 0, 127);
}

Action gesture(StepReader& reader, std::vector<Bytes> (*make)(const Control&, int),
               int otherwise = NEEDED) {
    const Control& control = reader.control();
    return send(reader, make(control, value_of(reader, otherwise)));
}

Action command(StepReader& reader, Bytes (Host::*make)(const Control&, int) const,
               int otherwise = NEEDED) {
    const Control& control = reader.control();
    return send(reader, {(reader.host().*make)(control, value_of(reader, otherwise))});
}

Action spin(StepReader& reader) {
    const Control& platter = reader.control();
    return send(reader, Board::spin(platter, reader.words.number(-100000, 100000)));
}

using Reader = StepReader;
constexpr When AT_ONCE = When::AtOnce, LINES_OPEN = When::LinesOpen;

// clang-format off
constexpr Verb VERBS[] = {
    {"board", "press", "CONTROL [VELOCITY]", LINES_OPEN, [](Reader& r) { return gesture(r, Board::press, 127); },
     "presses a button, velocity 127 if none is given"},
    {"board", "release", "CONTROL [VELOCITY]", LINES_OPEN, [](Reader& r) { return gesture(r, Board::release, 0); },
     "lets it go, velocity 0 if none is given"},
    {"board", "turn", "CONTROL POSITION", LINES_OPEN, [](Reader& r) { return gesture(r, Board::turn); },
     "moves a pot or fader, 0 to 127"},
    {"board", "spin", "CONTROL UNITS", LINES_OPEN, spin,
     "moves a platter, its partner or the encoder; negative: the other way"},
    {"board", "rest", "CONTROL", LINES_OPEN, [](Reader& r) { return send(r, Board::rest(r.control())); },
     "lets it come to rest"},
    {"host", "light", "CONTROL VALUE", LINES_OPEN, [](Reader& r) { return command(r, &Host::light); },
     "a note-on for an LED"},
    {"host", "dark", "CONTROL [VELOCITY]", LINES_OPEN, [](Reader& r) { return command(r, &Host::dark, 0); },
     "a note-off for it"},
    {"host", "meter", "CONTROL VALUE", LINES_OPEN, [](Reader& r) { return command(r, &Host::meter); },
     "a control change for a meter"},
    {"board", "send at once", "BYTES", AT_ONCE, send_bytes,
     "does not wait until the daemon has opened its devices"},
    {"board, host", "send", "BYTES | sysex SIZE [open] | identity request | identity reply", LINES_OPEN, send_bytes,
     "bytes in hexadecimal, in one write; a system exclusive message of that many bytes, `open` without its end; the "
     "Identity Request or Reply"},
    {"board", "trickle", "sysex SIZE [open]", LINES_OPEN, trickle,
     "sends that as fast as the serial line carries it"},
    {"host", "expect report", "[within MS]", LINES_OPEN, [](Reader& r) { return with(r.patience(REPORT_PATIENCE), expect_report); },
     "the position of every pot, in the order of the index; a minute if no time is given"},
    {"board, host", "expect fill", "", LINES_OPEN, [](Reader& r) { return with(r.end(), expect_fill); },
     "what the other end filled the line with has arrived, whole and in order, as far as it had room; at most one message "
     "after that is cut short", Needs::Namespaces},
    {"board, host", "expect", "WHAT [within MS]", AT_ONCE, [](Reader& r) { return with(awaited(r), expect); },
     "the next message there is this one; 2 seconds if no time is given"},
    {"board, host", "until", "WHAT [within MS]", AT_ONCE, [](Reader& r) { return with(awaited(r), until); },
     "skips others until it comes"},
    {"board, host", "silent", "MS", LINES_OPEN, [](Reader& r) -> Action { return [end = r.end(), time = time_of(r)](Runner& run) { silent(run, end, time); }; },
     "nothing comes for that long"},
    {"board, host", "drop", "", LINES_OPEN, [](Reader& r) { return with(r.end(), drop); },
     "discards what has come; what comes later may be left over"},
    {"call", "expect", "TEXT [within MS]", AT_ONCE, [](Reader& r) { return with(call(r), expect_text); },
     "the next platform command is this one, or with `TEXT ...` begins like this"},
    {"call", "until", "TEXT [within MS]", AT_ONCE, [](Reader& r) { return with(call(r), until_text); },
     "skips others until it is called"},
    {"call", "refuse", "TEXT", AT_ONCE, [](Reader& r) { return with(call(r), refuse_text); },
     "it is not called in the whole scenario"},
    {"log", "expect", "TEXT [within MS]", AT_ONCE, [](Reader& r) { return with(log(r), until_text); },
     "a line that contains TEXT comes after the one found last; in quotes: one that is exactly TEXT, trailing blanks included"},
    {"log", "refuse", "TEXT", AT_ONCE, [](Reader& r) { return with(log(r), refuse_text); },
     "no such line comes in the whole scenario"},
    {"screen", "expect", "ROW COLUMN \"TEXT\" [COLOR] [within MS]", AT_ONCE, [](Reader& r) { return with(shown(r), expect_screen); },
     "the screen shows TEXT there, counted from 1; its first cell in COLOR, such as `bright red on black`"},
    {"screen", "show", "", AT_ONCE, [](Reader&) -> Action { return show_screen; },
     "prints the screen"},
    {"screen", "pixels", "", AT_ONCE, [](Reader&) -> Action { return expect_pixels; },
     "the pixels are those of the text: each character has one shape everywhere, in its two colours", Needs::Machine},
    {"machine", "run", "COMMAND [within MS]", AT_ONCE, run_command,
     "the machine's shell runs this with status 0; its output is in the log", Needs::Machine},
    {"machine", "off", "[within MS]", When::Ended, [](Reader& r) { return with(r.patience(TEXT_PATIENCE), await_off); },
     "the machine switches itself off", Needs::Machine},
    {"exit", "expect", "STATUS [within MS]", When::Ended, expect_exit,
     "the daemon ends; without this step, its end fails the scenario at once"},
    {"", "##", "TEXT", AT_ONCE, [](Reader& r) { return with(r.words.text(), heading); },
     "a heading, to be printed"},
    {"", "wait", "MS", AT_ONCE, [](Reader& r) -> Action { return [time = time_of(r)](Runner& run) { run.pass_time(time); }; },
     "waits that long"},
    {"", "hang up serial", "", LINES_OPEN, [](Reader&) { return with(End::Board, hang_up); },
     "pulls the cable to the board", Needs::Namespaces},
    {"", "hang up midi", "", LINES_OPEN, [](Reader&) { return with(End::Host, hang_up); },
     "pulls the cable to the host", Needs::Namespaces},
    {"board, host", "stops reading", "", LINES_OPEN, [](Reader& r) { return with(r.end(), stop_reading); },
     "leaves what arrives there unread", Needs::Namespaces},
    {"board, host", "reads again", "", LINES_OPEN, [](Reader& r) { return with(r.end(), read_again); },
     "reads all of it, until the daemon can write there again", Needs::Namespaces},
    {"board, host", "fill", "", LINES_OPEN, [](Reader& r) { return with(r.end(), fill_line); },
     "presses and releases, or LED commands, until the line to the other end, which has stopped reading, is full, and then "
     "some hundred more; the daemon must take them all", Needs::Namespaces},
    {"board, host, both", "random", "SECONDS [seed NUMBER]", LINES_OPEN, random_of,
     "random bytes at the serial line's rate; whatever comes of them is ignored"},
    {"board, host, both", "flood", "COUNT [pots | each MS | at once]", LINES_OPEN, flood_of,
     "that many presses and releases, or LED commands; every one must arrive. `pots`, from the board: positions, of which the "
     "last of each pot must arrive. With a time, each is sent that long after the one before has arrived. `at once`: in one "
     "write, of which the line may lose some; only whole messages arrive"},
    {"", "watch traffic", "", AT_ONCE, [](Reader&) -> Action { return [](Runner& run) { run.watches_traffic = true; }; },
     "from here on, changes of the traffic LED, board note 0x38, count as messages"},
    {"", "watch order", "", AT_ONCE, [](Reader&) -> Action { return [](Runner& run) { run.watches_order = true; }; },
     "from here on, what is expected must also come in the order of the steps, across both ends and platform commands"},
};
// clang-format on

}  // namespace

std::span<const Verb> verbs() {
    return VERBS;
}

}  // namespace bench
