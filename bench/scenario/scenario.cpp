#include "scenario/scenario.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <utility>

namespace bench {
namespace {

constexpr milliseconds PATIENCE(2000);
constexpr milliseconds REPORT_PATIENCE(60000);  // it is asked for after seconds of processor time
constexpr milliseconds EXIT_PATIENCE(20000);
constexpr int MAX_TIME = 600000;
constexpr std::string_view INDENT = "    ";

struct NotAsExpected {
    std::string why;
};

std::string trimmed(std::string_view text) {
    const std::size_t from = std::min(text.find_first_not_of(" \t\r"), text.size());
    const std::size_t to = text.find_last_not_of(" \t\r");
    return std::string(text.substr(from, to == std::string_view::npos ? 0 : to + 1 - from));
}

// The words of one line, taken from the front. What is not as expected is thrown.
class Words {
  public:
    explicit Words(const std::string& line) : rest_(line) {}

    bool more() const { return !rest_.empty(); }
    std::string word() {
        if (rest_.empty()) {
            throw NotAsExpected();
        }
        const std::size_t end = std::min(rest_.find_first_of(" \t"), rest_.size());
        const std::string word = rest_.substr(0, end);
        rest_ = trimmed(std::string_view(rest_).substr(end));
        return word;
    }
    bool take(std::string_view expected) {
        Words ahead = *this;
        if (!more() || ahead.word() != expected) {
            return false;
        }
        *this = ahead;
        return true;
    }
    // Takes it from the end of the line, where a number follows it.
    std::optional<int> take_last(std::string_view expected, int lowest, int highest) {
        const std::size_t at = rest_.rfind(std::string(expected) + " ");
        if (at == std::string::npos || (at > 0 && rest_[at - 1] != ' ')) {
            return std::nullopt;
        }
        const std::string tail = rest_.substr(at + expected.size());
        rest_ = trimmed(std::string_view(rest_).substr(0, at));
        return to_number(trimmed(tail), lowest, highest);
    }
    int number(int lowest, int highest) { return to_number(word(), lowest, highest); }
    int number_or(int otherwise, int lowest, int highest) {
        return more() ? number(lowest, highest) : otherwise;
    }
    std::string text() {
        if (rest_.empty()) {
            throw NotAsExpected();
        }
        return std::exchange(rest_, "");
    }
    // What stands between the double quote that comes next and the last one.
    std::string quoted() {
        const std::size_t end = rest_.rfind('"');
        if (rest_.empty() || rest_[0] != '"' || end == 0) {
            throw NotAsExpected();
        }
        const std::string inside = rest_.substr(1, end - 1);
        rest_ = trimmed(std::string_view(rest_).substr(end + 1));
        return inside;
    }
    const std::string& rest() const { return rest_; }

  private:
    static int to_number(const std::string& word, int lowest, int highest) {
        char* end = nullptr;
        const long value = std::strtol(word.c_str(), &end, 0);
        if (word.empty() || *end != '\0' || value < lowest || value > highest) {
            throw NotAsExpected();
        }
        return static_cast<int>(value);
    }

    std::string rest_;
};

Pattern exactly(const Bytes& message) {
    return Pattern(message.begin(), message.end());
}

// Turns the words of a step into a step.
class StepReader {
  public:
    explicit StepReader(const Setup& setup)
        : mapping_(setup.mapping), board_(mapping_), host_(mapping_, setup.channel) {}

    void press(Words& words, Step& step) {
        const Control& button = control(words);
        send(step, board_.press(button, words.number_or(127, 0, 127)));
    }
    void release(Words& words, Step& step) {
        const Control& button = control(words);
        send(step, board_.release(button, words.number_or(0, 0, 127)));
    }
    void turn(Words& words, Step& step) {
        const Control& pot = control(words);
        send(step, board_.turn(pot, words.number(0, 127)));
    }
    void spin(Words& words, Step& step) {
        const Control& platter = control(words);
        send(step, board_.spin(platter, words.number(-100000, 100000)));
    }
    void rest(Words& words, Step& step) { send(step, board_.rest(control(words))); }
    void light(Words& words, Step& step) {
        const Control& lamp = control(words);
        send(step, {host_.light(lamp, words.number(0, 127))});
    }
    void dark(Words& words, Step& step) {
        const Control& lamp = control(words);
        send(step, {host_.dark(lamp, words.number_or(0, 0, 127))});
    }
    void meter(Words& words, Step& step) {
        const Control& lamp = control(words);
        send(step, {host_.meter(lamp, words.number(0, 127))});
    }
    void send_bytes(Words& words, Step& step) {
        if (words.take("sysex")) {
            const int size = words.number(2, 100000);
            const bool open = words.take("open");
            send(step, {make_sysex(static_cast<std::size_t>(size), open)});
        } else if (words.take("identity")) {
            send(step, {identity(words.word())});
        } else {
            send(step, {parse_hex(words.text()).value_or(Bytes())});
        }
    }
    void expect(Words& words, Step& step) {
        if (words.take("fill")) {
            step.verb = Verb::ExpectFill;
            return;
        }
        const bool report = step.end == End::Host && words.take("report");
        step.verb = report ? Verb::ExpectReport : Verb::Expect;
        step.time = patience(words, report ? REPORT_PATIENCE : PATIENCE);
        if (!report) {
            step.pattern = pattern(words, step.end);
        }
    }
    void until(Words& words, Step& step) {
        step.verb = Verb::Until;
        step.time = patience(words, PATIENCE);
        step.pattern = pattern(words, step.end);
    }
    void stop_reading(Words& words, Step& step) {
        take_word("reading", Verb::StopReading, words, step);
    }
    void read_again(Words& words, Step& step) { take_word("again", Verb::ReadAgain, words, step); }
    void fill(Words&, Step& step) { step.verb = Verb::Fill; }
    void silent(Words& words, Step& step) {
        step.verb = Verb::Silent;
        step.time = milliseconds(words.number(1, MAX_TIME));
    }
    void drop(Words&, Step& step) { step.verb = Verb::Drop; }
    void random(Words& words, Step& step) {
        step.verb = Verb::Random;
        step.time = std::chrono::seconds(words.number(1, MAX_TIME / 1000));
        step.number = words.take("seed") ? words.number(0, 1000000000) : 1;
    }
    void flood(Words& words, Step& step) {
        step.number = words.number(1, 10000000);
        step.verb = words.take("pots") ? Verb::FloodPots : Verb::Flood;
        if (step.verb == Verb::FloodPots && (step.both || step.end != End::Board)) {
            throw NotAsExpected();
        }
    }
    void expect_call(Words& words, Step& step) { take_text(Verb::ExpectCall, words, step); }
    void until_call(Words& words, Step& step) { take_text(Verb::UntilCall, words, step); }
    void refuse_call(Words& words, Step& step) { take_text(Verb::RefuseCall, words, step); }
    void expect_log(Words& words, Step& step) { take_text(Verb::ExpectLog, words, step); }
    void find_log(Words& words, Step& step) { take_text(Verb::FindLog, words, step); }
    void log_line(Words& words, Step& step) {
        step.verb = Verb::FindLogLine;
        step.time = patience(words, EXIT_PATIENCE);
        step.words = words.quoted();
    }
    void refuse_log(Words& words, Step& step) { take_text(Verb::RefuseLog, words, step); }
    void expect_exit(Words& words, Step& step) {
        step.verb = Verb::ExpectExit;
        step.time = patience(words, EXIT_PATIENCE);
        step.number = words.number(0, 255);
    }
    void expect_screen(Words& words, Step& step) {
        step.verb = Verb::ExpectScreen;
        step.time = patience(words, PATIENCE);
        step.row = words.number(1, SCREEN_ROWS);
        step.column = words.number(1, SCREEN_COLUMNS);
        step.words = words.quoted();
        step.color = words.more() ? words.text() : "";
    }
    void show_screen(Words&, Step& step) { step.verb = Verb::ShowScreen; }
    void wait(Words& words, Step& step) {
        step.verb = Verb::Wait;
        step.time = milliseconds(words.number(1, MAX_TIME));
    }
    void hang_up(Words& words, Step& step) {
        step.verb = Verb::HangUp;
        step.link = words.take("serial") ? Link::Serial : Link::Midi;
        if (step.link == Link::Midi && !words.take("midi")) {
            throw NotAsExpected();
        }
    }
    void watch(Words& words, Step& step) {
        step.verb = words.take("traffic") ? Verb::WatchTraffic : Verb::WatchOrder;
        if (step.verb == Verb::WatchOrder && !words.take("order")) {
            throw NotAsExpected();
        }
    }

  private:
    const Control& control(Words& words) const {
        const std::string name = words.word();
        const Control* const found = mapping_.find(name);
        if (found == nullptr) {
            throw NotAsExpected{"; no control is called " + name};
        }
        return *found;
    }
    static void send(Step& step, std::vector<Bytes> messages) {
        step.verb = Verb::Send;
        step.messages = std::move(messages);
        const bool empty = std::any_of(step.messages.begin(), step.messages.end(),
                                       [](const Bytes& message) { return message.empty(); });
        if (step.messages.empty() || empty) {
            throw NotAsExpected();
        }
    }
    static milliseconds patience(Words& words, milliseconds otherwise) {
        const std::optional<int> given = words.take_last("within", 1, MAX_TIME);
        return given ? milliseconds(*given) : otherwise;
    }
    static void take_text(Verb verb, Words& words, Step& step) {
        step.verb = verb;
        step.time = patience(words, EXIT_PATIENCE);
        step.words = words.text();
    }
    static void take_word(std::string_view word, Verb verb, Words& words, Step& step) {
        step.verb = verb;
        if (!words.take(word)) {
            throw NotAsExpected();
        }
    }
    Bytes identity(const std::string& kind) {
        if (kind == "reply") {
            return board_.receive(Host::identity_request()).front();
        }
        return kind == "request" ? Host::identity_request() : Bytes();
    }
    Pattern pattern(Words& words, End end);
    static Pattern hex_pattern(Words& words);
    Pattern control_pattern(const Control& control, Words& words, End end) const;

    const Mapping& mapping_;
    Board board_;
    Host host_;
};

Pattern StepReader::pattern(Words& words, End end) {
    if (words.take("sysex")) {
        const int size = words.number(2, 100000);
        return exactly(make_sysex(static_cast<std::size_t>(size), false));
    }
    if (words.take("identity")) {
        return exactly(identity(words.word()));
    }
    Words ahead = words;
    if (const Control* control = words.more() ? mapping_.find(ahead.word()) : nullptr) {
        words = ahead;
        return control_pattern(*control, words, end);
    }
    return hex_pattern(words);
}

Pattern StepReader::hex_pattern(Words& words) {
    Pattern pattern;
    while (words.more()) {
        const std::string word = words.word();
        const std::optional<Bytes> byte = parse_hex(word);
        if (word != ".." && !byte) {
            throw NotAsExpected();
        }
        pattern.push_back(byte ? std::optional(byte->front()) : std::nullopt);
    }
    if (pattern.empty()) {
        throw NotAsExpected();
    }
    return pattern;
}

Pattern StepReader::control_pattern(const Control& control, Words& words, End end) const {
    const bool off = words.take("off");
    const bool note = end == End::Host ? control.sends_notes() : control.is_note_light();
    const int number = end == End::Host ? control.host_sees : control.board_sees;
    if (number < 0 || (off && !(note && end == End::Host))) {
        throw NotAsExpected();
    }
    const int status = off ? NOTE_OFF : note ? NOTE_ON : CONTROL_CHANGE;
    const int channel = end == End::Host ? host_.channel() : 0;
    std::optional<std::uint8_t> value;
    if (!off || words.more()) {
        value = static_cast<std::uint8_t>(words.number(0, 127));
    }
    return {static_cast<std::uint8_t>(status | channel), static_cast<std::uint8_t>(number), value};
}

// --- The lines of a file ---

struct StepForm {
    const char* subjects;  // first words, each followed by a blank
    const char* verb;
    void (StepReader::*read)(Words&, Step&);
    const char* rest;
};
constexpr StepForm STEPS[] = {
    {"board ", "press", &StepReader::press, "BUTTON [VELOCITY]"},
    {"board ", "release", &StepReader::release, "BUTTON [VELOCITY]"},
    {"board ", "turn", &StepReader::turn, "POT 0..127"},
    {"board ", "spin", &StepReader::spin, "RELATIVE_CONTROL UNITS"},
    {"board ", "rest", &StepReader::rest, "RELATIVE_CONTROL"},
    {"host ", "light", &StepReader::light, "LIGHT 0..127"},
    {"host ", "dark", &StepReader::dark, "LIGHT [VELOCITY]"},
    {"host ", "meter", &StepReader::meter, "METER 0..127"},
    {"board host ", "send", &StepReader::send_bytes,
     "BYTES | sysex SIZE [open] | identity request | identity reply"},
    {"board host ", "expect", &StepReader::expect,
     "BYTES | CONTROL [off] VALUE | sysex SIZE | identity request | identity reply | report | "
     "fill, [within MS]"},
    {"board host ", "until", &StepReader::until,
     "BYTES | CONTROL [off] VALUE | sysex SIZE | identity request | identity reply, [within MS]"},
    {"board host ", "silent", &StepReader::silent, "MS"},
    {"board host ", "drop", &StepReader::drop, ""},
    {"board host both ", "random", &StepReader::random, "SECONDS [seed NUMBER]"},
    {"board host both ", "flood", &StepReader::flood, "MESSAGES, from the board also: pots"},
    {"call ", "expect", &StepReader::expect_call, "TEXT [within MS]"},
    {"call ", "until", &StepReader::until_call, "TEXT [within MS]"},
    {"call ", "refuse", &StepReader::refuse_call, "TEXT"},
    {"log ", "expect", &StepReader::expect_log, "TEXT [within MS]"},
    {"log ", "find", &StepReader::find_log, "TEXT [within MS]"},
    {"log ", "line", &StepReader::log_line, "\"TEXT\" [within MS]"},
    {"log ", "refuse", &StepReader::refuse_log, "TEXT"},
    {"screen ", "expect", &StepReader::expect_screen, "ROW COLUMN \"TEXT\" [COLOR] [within MS]"},
    {"screen ", "show", &StepReader::show_screen, ""},
    {"exit ", "expect", &StepReader::expect_exit, "STATUS [within MS]"},
    {"wait ", nullptr, &StepReader::wait, "MS"},
    {"board host ", "stops", &StepReader::stop_reading, "reading"},
    {"board host ", "reads", &StepReader::read_again, "again"},
    {"board host ", "fill", &StepReader::fill, ""},
    {"hang ", "up", &StepReader::hang_up, "serial | midi"},
    {"watch ", nullptr, &StepReader::watch, "traffic | order"},
};

const StepForm* find_form(const std::string& subject, Words& words) {
    for (const StepForm& form : STEPS) {
        const bool same =
            std::string_view(form.subjects).find(subject + " ") == 0 ||
            std::string_view(form.subjects).find(" " + subject + " ") != std::string_view::npos;
        if (same && (form.verb == nullptr || words.take(form.verb))) {
            return &form;
        }
    }
    return nullptr;
}

// Every form of a subject's steps, for the message about a line that fits none.
std::string verbs_of(const std::string& subject) {
    std::string verbs;
    for (const StepForm& form : STEPS) {
        if (form.verb != nullptr &&
            (std::string(" ") + form.subjects).find(" " + subject + " ") != std::string::npos) {
            verbs += (verbs.empty() ? subject + " " : " | ") + std::string(form.verb);
        }
    }
    return verbs;
}

class FileReader {
  public:
    FileReader(const std::string& file, std::string_view text, const WorldConfig& defaults)
        : in_(std::string(text)) {
        scenario_.file = file;
        scenario_.world = defaults;
        scenario_.world.options.clear();
    }

    Scenario read(const std::vector<std::string>& more_options) {
        std::vector<Step> steps;
        while (next_line()) {
            const std::string text = trimmed(line_);
            if (text.empty() || (text[0] == '#' && !text.starts_with("##"))) {
                continue;
            }
            Words words(text);
            if (!read_head(words, steps.empty())) {
                steps.push_back(
                    {.line = number_, .text = text, .messages = {}, .pattern = {}, .words = {}});
            }
        }
        std::vector<std::string>& options = scenario_.world.options;
        options.insert(options.end(), more_options.begin(), more_options.end());
        const Setup setup = read_setup(resource_reader(scenario_.world), options);
        StepReader reader(setup);
        for (Step& step : steps) {
            read_step(reader, step);
            scenario_.expects_exit |= step.verb == Verb::ExpectExit;
        }
        scenario_.steps = std::move(steps);
        return scenario_;
    }

  private:
    [[noreturn]] void fail(const std::string& expected) const {
        throw ScenarioError(scenario_.file + ":" + std::to_string(number_) + ": expected " +
                            expected);
    }
    bool next_line() {
        ++number_;
        return static_cast<bool>(std::getline(in_, line_));
    }
    bool read_head(Words& words, bool before_steps);
    void read_file_lines(Words& words);
    void read_without(Words& words);
    void read_mode(Words& words);
    void read_step(StepReader& reader, Step& step);

    std::istringstream in_;
    std::string line_;
    int number_ = 0;
    Scenario scenario_;
};

// The set-up lines. `words` is left alone if it is none of them.
struct HeadForm {
    const char* word;
    const char* rest;
};
constexpr HeadForm HEAD[] = {
    {"options", "OPTION..."},
    {"without", "serial | midi | command NAME"},
    {"resources", "DIRECTORY"},
    {"file", "NAME [crlf | cut | hex], its lines below it, indented by four blanks"},
    {"remove", "NAME"},
    {"directory", "NAME"},
    {"mode", "NAME OCTAL"},
    {"xfbdev", "lingers MS | ignores SIGNALS"},
};

bool FileReader::read_head(Words& words, bool before_steps) {
    const std::string text = words.rest();
    const std::string word = words.word();
    const auto form = std::find_if(std::begin(HEAD), std::end(HEAD),
                                   [&](const HeadForm& known) { return word == known.word; });
    if (form == std::end(HEAD)) {
        return false;
    }
    if (!before_steps) {
        fail("set-up lines before the first step");
    }
    WorldConfig& world = scenario_.world;
    try {
        if (word == "options") {
            while (words.more()) {
                world.options.push_back(words.word());
            }
        } else if (word == "without") {
            read_without(words);
        } else if (word == "resources") {
            world.resources =
                (std::filesystem::path(scenario_.file).parent_path() / words.text()).string();
        } else if (word == "file") {
            read_file_lines(words);
        } else if (word == "remove") {
            world.removed.push_back(words.word());
        } else if (word == "directory") {
            world.directories.push_back(words.word());
        } else if (word == "mode") {
            read_mode(words);
        } else if (words.take("lingers")) {
            world.xfbdev_lingers = milliseconds(words.number(0, MAX_TIME));
        } else if (words.take("ignores")) {
            world.xfbdev_ignores = words.number(0, 100);
        } else {
            throw NotAsExpected();
        }
        if (words.more()) {
            throw NotAsExpected();
        }
    } catch (const NotAsExpected& error) {
        fail(word + " " + form->rest + error.why);
    }
    return true;
}

void FileReader::read_without(Words& words) {
    WorldConfig& world = scenario_.world;
    if (words.take("command")) {
        const std::string name = words.word();
        if (!can_be_missing(name)) {
            throw NotAsExpected{"; the world has no command " + name + " that can be taken away"};
        }
        world.missing_commands.push_back(name);
        return;
    }
    bool& link = words.take("serial") ? world.serial : world.midi;
    if (&link == &world.midi && !words.take("midi")) {
        throw NotAsExpected();
    }
    link = false;
}

void FileReader::read_mode(Words& words) {
    const std::string name = words.word();
    const std::string digits = words.word();
    const bool octal =
        digits.size() == 3 && digits.find_first_not_of("01234567") == std::string::npos;
    if (!octal) {
        throw NotAsExpected();
    }
    if (name != "." && !resource_reader(scenario_.world)(name)) {
        throw NotAsExpected{"; up to this line there is no file " + name};
    }
    scenario_.world.modes[name] = static_cast<unsigned>(std::stoi(digits, nullptr, 8));
}

void FileReader::read_file_lines(Words& words) {
    const std::string name = words.word();
    const std::string end = words.take("crlf") ? "\r\n" : "\n";
    const bool cut = words.take("cut"), is_hex = words.take("hex");
    std::string content, empty_lines;  // those behind the last line are no part of the file
    while ((in_.peek() == ' ' || in_.peek() == '\n') && next_line()) {
        if (line_.empty()) {
            empty_lines += end;
            continue;
        }
        if (!line_.starts_with(INDENT)) {
            fail("lines of a file indented by four blanks");
        }
        if (is_hex) {
            const std::optional<Bytes> bytes = parse_hex(line_);
            if (!bytes) {
                fail("bytes in hexadecimal");
            }
            content.append(bytes->begin(), bytes->end());
            continue;
        }
        content += std::exchange(empty_lines, "") + line_.substr(INDENT.size()) + end;
    }
    if (cut && !content.empty()) {
        content.pop_back();
    }
    scenario_.world.files[name] = content;
}

void FileReader::read_step(StepReader& reader, Step& step) {
    number_ = step.line;
    if (step.text.starts_with("##")) {
        step.verb = Verb::Heading;
        step.words = trimmed(std::string_view(step.text).substr(2));
        return;
    }
    Words words(step.text);
    const std::string subject = words.word();
    step.end = subject == "board" ? End::Board : End::Host;
    step.both = subject == "both";
    const StepForm* const form = find_form(subject, words);
    if (form == nullptr) {
        const std::string verbs = verbs_of(subject);
        fail(verbs.empty()
                 ? "a step: board, host, both, call, log, screen, exit, wait, hang up, watch"
                 : verbs);
    }
    try {
        (reader.*form->read)(words, step);
        if (words.more()) {
            throw NotAsExpected();
        }
    } catch (const NotAsExpected& error) {
        fail(subject + " " + (form->verb == nullptr ? "" : std::string(form->verb) + " ") +
             form->rest + error.why);
    }
}

}  // namespace

bool matches(const Pattern& pattern, const Bytes& message) {
    return std::equal(pattern.begin(), pattern.end(), message.begin(), message.end(),
                      [](const std::optional<std::uint8_t>& wanted, std::uint8_t byte) {
                          return !wanted || *wanted == byte;
                      });
}

std::string describe(const Pattern& pattern) {
    Bytes bytes;
    std::string text;
    for (const std::optional<std::uint8_t>& byte : pattern) {
        text += text.empty() ? "" : " ";
        text += byte ? hex({*byte}) : "..";
        bytes.push_back(byte.value_or(0));
    }
    constexpr std::size_t LONGEST = 19;
    if (std::find(pattern.begin(), pattern.end(), std::nullopt) != pattern.end()) {
        return text;
    }
    return (text.size() > LONGEST ? hex(bytes, 6) : text) + "   " + describe(bytes);
}

Scenario parse_scenario(const std::string& file, std::string_view text,
                        const WorldConfig& defaults) {
    return FileReader(file, text, defaults).read(defaults.options);
}

}  // namespace bench
