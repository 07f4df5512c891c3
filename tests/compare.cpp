// Compares what ctlmap says with what the daemon's modules do on real devices with the real shell:
// random configurations, each in a process of its own. What check says must be so, and where it is
// silent, a control must work.
//
// usage: compare CTLMAP RESOURCES FIRST COUNT
//
// Prints each difference with the number of its configuration, which FIRST makes again.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "buffer.h"
#include "config.h"
#include "controller/midi_text.h"
#include "midi.h"
#include "modules/ptys.h"
#include "pot.h"
#include "softlabel.h"
#include "uart_cf.h"

int usleep(useconds_t) {
    return 0;
}

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;
using Row = std::map<std::string, std::string>;
using Bytes = bench::Bytes;

constexpr int POTS = 21, BUTTONS_END = 72, LIGHTS_END = 82, CONTROLS = 85;
constexpr int TRAFFIC_LED = 0x38;  // its commands are left out of what the board is told to get
constexpr const char* MAPPING = "orvik.midictl.cfg";
constexpr const char* PRESET = "orvik.midictl.cfg0.txt";
constexpr const char* SETTINGS = "orvik.sys.cfg";
constexpr const char* LABELS = "orvik.miditxt.cfg0.txt";
constexpr const char* PLACES = "orvik.softlabelpos.cfg";
constexpr const char* COLORS = "orvik.color.cfg";
constexpr const char* FILES[] = {MAPPING, PRESET, SETTINGS, LABELS, PLACES, COLORS};

int seed;
int statements = 0;
int differences = 0;
FILE* report;  // standard output, which the daemon's modules use, too

[[gnu::format(printf, 1, 2)]] void differ(const char* format, ...) {
    ++differences;
    char text[512];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    fprintf(report, "configuration %d: %s\n", seed, text);
}

// --- Random configurations ---

class Random {
  public:
    explicit Random(int seed_of_it) : engine_(static_cast<unsigned>(seed_of_it)) {}
    int below(int end) { return static_cast<int>(engine_() % static_cast<unsigned>(end)); }
    bool once_in(int times) { return below(times) == 0; }
    template <typename T>
    const T& of(const std::vector<T>& all) {
        return all[static_cast<size_t>(below(static_cast<int>(all.size())))];
    }

  private:
    std::mt19937 engine_;
};

std::string read_file(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Words lines_of(const std::string& text) {
    Words all;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        all.push_back(line);
    }
    return all;
}

std::string joined(const Words& words, const std::string& separator) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : separator) + word;
    }
    return text;
}

Words split(const std::string& line) {
    std::istringstream words(line);
    return {std::istream_iterator<std::string>(words), {}};
}

std::vector<size_t> data_lines(const Words& lines) {
    std::vector<size_t> found;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (!lines[i].empty() && lines[i][0] != '#' && lines[i][0] != ' ') {
            found.push_back(i);
        }
    }
    return found;
}

// A number that fits, more often than not.
std::string odd_number(Random& random) {
    const std::vector<int> odd = {-1, -5, 0, 1, 2, 3, 4, 16, 48, 127, 128, 200, 255, 256, 258, 300};
    const int any = random.below(128);
    return std::to_string(random.once_in(2) ? any == TRAFFIC_LED ? 0 : any : random.of(odd));
}

void change_field(Random& random, std::string* line, const std::vector<int>& which) {
    Words words = split(*line);
    const size_t at = static_cast<size_t>(random.of(which));
    if (at < words.size()) {
        words[at] = odd_number(random);
        *line = joined(words, random.once_in(20) ? "\t" : " ");
    }
}

void change_mapping(Random& random, Words* lines) {
    const std::vector<size_t> data = data_lines(*lines);
    std::string& line = (*lines)[random.of(data)];
    std::string& other = (*lines)[random.of(data)];
    switch (random.below(14)) {
        case 0:
            line = "# " + line;
            break;
        case 1:
            line = " " + line;
            break;
        case 2:
            line.erase(line.find_last_of(' '));
            break;
        case 3:
            lines->push_back(line);
            change_field(random, &lines->back(), {1, 2, 3, 4, 5});
            break;
        case 4:
            change_field(random, &line, {0});
            break;
        case 5: {
            Words a = split(line), b = split(other);
            if (a.size() > 2 && b.size() > 2) {
                std::swap(a[1], b[1]);
                line = joined(a, " ");
                other = joined(b, " ");
            }
            break;
        }
        default:
            change_field(random, &line, {1, 2, 2, 2, 3, 4, 5, 6});
            break;
    }
}

void change_preset(Random& random, std::string* preset, const Words& mapping, Words* settings) {
    for (int i = random.below(6); i >= 0; --i) {
        const Words words = split(mapping[random.of(data_lines(mapping))]);
        std::string name = words.empty() ? "X" : words.back();
        if (random.once_in(6)) {
            name = name.substr(0, name.size() / 2 + 1);
        }
        *preset += name + " " + odd_number(random) + (random.once_in(20) ? " 3\n" : "\n");
    }
    for (std::string& line : *settings) {
        if (line.starts_with("midi_preset=")) {
            line = random.once_in(5) ? "midi_preset=7" : "midi_preset=0";
        }
    }
}

void change_settings(Random& random, Words* settings) {
    const std::vector<std::string> values = {"3", "15", "16", "", "abc", "300", " 7", "9\r"};
    for (std::string& line : *settings) {
        if (line.starts_with("midi_channel=") && !random.once_in(3)) {
            line = "midi_channel=" + random.of(values);
        }
    }
}

void change_labels(Random& random, Words* lines) {
    std::string& line = (*lines)[random.of(data_lines(*lines))];
    Words words = split(line);
    const size_t at = static_cast<size_t>(random.below(5));
    if (words.size() == 5) {
        words[at] = at == 2 ? odd_number(random) : random.once_in(2) ? "NOWHERE" : "WHITE";
        line = joined(words, " ");
    }
}

std::map<std::string, std::string> make_configuration(const fs::path& delivered) {
    Random random(seed);
    std::map<std::string, Words> files;
    std::string preset;
    for (const char* name : FILES) {
        files[name] = lines_of(read_file(delivered / name));
    }
    for (int i = random.below(random.once_in(4) ? 60 : 6); i > 0; --i) {
        change_mapping(random, &files[MAPPING]);
    }
    if (random.once_in(3)) {
        change_preset(random, &preset, files[MAPPING], &files[SETTINGS]);
    }
    if (random.once_in(3)) {
        change_settings(random, &files[SETTINGS]);
    }
    for (int i = random.below(4); i > 0; --i) {
        change_labels(random, &files[LABELS]);
    }
    if (random.once_in(6)) {
        files[PLACES].erase(files[PLACES].end() - random.below(12), files[PLACES].end());
    }
    std::map<std::string, std::string> texts;
    for (const auto& [name, lines] : files) {
        texts[name] = joined(lines, random.once_in(12) ? "\r\n" : "\n") + "\n";
    }
    texts[PRESET] = preset.empty() ? texts[PRESET] : preset;
    return texts;
}

// --- What ctlmap says ---

std::string output_of(const std::string& command) {
    FILE* const pipe = popen(command.c_str(), "r");
    std::string text;
    char part[4096];
    for (size_t size; (size = fread(part, 1, sizeof part, pipe)) > 0;) {
        text.append(part, size);
    }
    pclose(pipe);
    return text;
}

Words cells_of(const std::string& line) {
    Words cells(1);
    bool quoted = false;
    for (const char c : line) {
        if (c == '"') {
            quoted = !quoted;
        } else if (c == ',' && !quoted) {
            cells.emplace_back();
        } else if (c != '\r') {
            cells.back() += c;
        }
    }
    return cells;
}

std::vector<Row> exported(const std::string& ctlmap) {
    std::vector<Row> rows;
    Words names;
    for (const std::string& line : lines_of(output_of(ctlmap + " export ../resources --format csv "
                                                               "2>/dev/null"))) {
        const Words cells = cells_of(line);
        if (names.empty()) {
            names = cells;
            continue;
        }
        Row row;
        for (size_t i = 0; i < cells.size(); ++i) {
            row[names.at(i)] = cells[i];
        }
        rows.push_back(row);
    }
    return rows;
}

struct Finding {
    std::string severity, rule;
    int control;
    std::string file;
};

std::vector<Finding> findings_of(const std::string& ctlmap) {
    std::vector<Finding> found;
    const std::string text = output_of(
        ctlmap +
        " check --json ../resources | jq -r '.findings[] | "
        "\"\\(.severity) \\(.rule) \\(if .control == null then -1 else .control end) \\(.file)\"'");
    for (const std::string& line : lines_of(text)) {
        std::istringstream words(line);
        Finding one;
        words >> one.severity >> one.rule >> one.control >> one.file;
        found.push_back(one);
    }
    return found;
}

int number_in(const Row& row, const std::string& key) {
    const std::string& text = row.at(key);
    return text.empty() ? -1 : std::stoi(text);
}

// --- What the daemon does ---

constexpr int LONGEST_RATE = 256;  // passes between two messages of a control

// Passes after which the control may send again.
int passes_of(const Row& row) {
    return row.at("passes").empty() ? 1 : number_in(row, "passes") + 1;
}

std::string send(const std::string& from_board, const std::string& from_host, int passes = 1) {
    std::string told = pass(from_board, from_host);
    for (; passes > 1; --passes) {
        const std::string more = pass("", "");
        told += (told.empty() || more.empty() ? "" : " ") + more;
    }
    return told;
}

std::string hex(std::initializer_list<int> bytes) {
    Bytes all;
    for (const int byte : bytes) {
        all.push_back(static_cast<std::uint8_t>(byte));
    }
    return bench::hex(all);
}

// The three-byte messages that reach one end, "90 3c 7f" each.
Words messages_to(const std::string& end, const std::string& told) {
    Words found;
    const Words words = split(told);
    bool is_its = false;
    Words message;
    for (const std::string& word : words) {
        if (word == "host" || word == "board" || word.starts_with("ring")) {
            is_its = word == end;
        } else if (is_its && word.size() == 2) {
            message.push_back(word);
            if (message.size() == 3) {
                found.push_back(joined(message, " "));
                message.clear();
            }
        }
    }
    return found;
}

// "90 3C 7F; 80 3C vv" as forms in lower case.
Words forms_in(const std::string& cell) {
    Words forms;
    std::string form;
    for (const char c : cell + ";") {
        if (c == ';') {
            if (!form.empty()) {
                forms.push_back(form.substr(form[0] == ' ' ? 1 : 0));
            }
            form.clear();
        } else {
            form += static_cast<char>(tolower(c));
        }
    }
    return forms;
}

bool fits(const std::string& message, const std::string& form) {
    return message.substr(0, 5) == form.substr(0, 5) &&
           (form.ends_with("vv") || form.substr(6) == message.substr(6));
}

// Every message is one that is claimed, and its last byte within the claimed range.
void compare(const std::string& what, const Row& row, const std::string& way, const Words& got) {
    ++statements;
    const Words forms = forms_in(row.at(way + "_bytes"));
    for (const std::string& message : got) {
        const int value = std::stoi(message.substr(6), nullptr, 16);
        const bool known = std::any_of(forms.begin(), forms.end(), [&](const std::string& form) {
            return fits(message, form);
        });
        if (!known || value < number_in(row, way + "_min") ||
            value > number_in(row, way + "_max")) {
            differ("%s: %s is not in \"%s\"", what.c_str(), message.c_str(),
                   row.at(way + "_bytes").c_str());
        }
    }
    if (got.empty() && !forms.empty()) {
        differ("%s: nothing instead of \"%s\"", what.c_str(), row.at(way + "_bytes").c_str());
    }
}

int board_number(int idx) {
    if (idx < POTS) {
        return idx < 18 ? idx : 0x40 + idx - 18;
    }
    return idx < 65 ? idx - 20 : idx - 1;
}

bool gives_steps(int idx) {
    return (idx >= 12 && idx <= 15) || idx == 18;
}

std::string named(const Row& row) {
    return row.at("name") + " (" + row.at("index") + ")";
}

// What a button or pot makes the host get.
std::map<int, Words> sent_to_host;

void play_button(const Row& row, int idx) {
    const int note = board_number(idx);
    Words got = messages_to("host", send(hex({0x90, note, 0x40}), ""));
    const Words released = messages_to("host", send(hex({0x80, note, 0x11}), ""));
    compare(named(row) + " pressed and released", row, "to_host", got);
    compare(named(row) + " pressed and released", row, "to_host", released);
    got.insert(got.end(), released.begin(), released.end());
    sent_to_host[idx] = got;
}

void play_pot(const Row& row, int idx) {
    Words all;
    for (const int position : {200, 3, 255, 0, 90}) {
        const Words got = messages_to(
            "host", send(hex({0xB0 | position >> 7, board_number(idx), position & 0x7F}), "",
                         passes_of(row)));
        const bool positions = row.at("mode") == "absolute";
        char value[3];
        snprintf(value, sizeof value, "%02x", static_cast<unsigned>(position / 2));
        ++statements;
        if (positions && (got.size() != 1 || got[0].substr(6) != value)) {
            differ("%s at %d: %s", named(row).c_str(), position, joined(got, ", ").c_str());
        }
        all.insert(all.end(), got.begin(), got.end());
    }
    compare(named(row) + " moved", row, "to_host", all);
    sent_to_host[idx] = all;
}

void play_steps(const Row& row, int idx) {
    const int number = board_number(idx);
    if (row.at("mode") == "absolute") {
        compare(named(row) + " turned", row, "to_host",
                messages_to("host", send(hex({0xB0, number, 0x45}), "", passes_of(row))));
        return;
    }
    const int units = number_in(row, "step");
    const auto turn = [&](int by) {
        std::string reports;
        for (; by > 0; by -= 63) {
            reports += hex({0xB0, number, 0x40 + std::min(by, 63)}) + " ";
        }
        return messages_to("host", send(reports, "", 2 * passes_of(row)));
    };
    const auto rest = [&] {
        return messages_to("host", send(hex({0xB0, number, 0x40}), "", 2 * passes_of(row)));
    };
    rest();
    ++statements;
    if (units > 1 && !turn(units - 1).empty()) {
        differ("%s: less than %d units made a step", named(row).c_str(), units);
    }
    rest();
    const Words moved = turn(units);
    if (moved.size() != 1 || !moved[0].ends_with("41")) {
        differ("%s: %d units are not a step: %s", named(row).c_str(), units,
               joined(moved, ", ").c_str());
    }
    compare(named(row) + " turned", row, "to_host", moved);
    ++statements;
    if ((row.at("rests") == "true") == rest().empty()) {
        differ("%s: rests is %s", named(row).c_str(), row.at("rests").c_str());
    }
    sent_to_host[idx] = moved;
}

std::string drawn_text() {
    const std::string text = console_got();
    std::ofstream("/dev/tty0", std::ios::trunc);
    return text;
}

// What each note and controller of the host makes the board get, and what it draws.
std::map<int, Words> board_got_for_note;
std::map<int, std::string> drawn_for_note;

void play_host_note(const std::vector<Row>& rows, int channel, int note) {
    const Row* control = nullptr;
    const Row* label = nullptr;
    for (const Row& row : rows) {
        if (row.at("from_host_type") == "note" && number_in(row, "from_host_number") == note) {
            control = &row;
        }
        if (row.at("label_drawn") == "true" && number_in(row, "label_note") == note) {
            label = &row;
        }
    }
    const int passes = control != nullptr ? passes_of(*control) : 1;
    drawn_text();
    const Words on = messages_to("board", send("", hex({0x90 | channel, note, 100})));
    const std::string drawn = drawn_text();
    const Words off = messages_to("board", send("", hex({0x80 | channel, note, 77}), passes));
    board_got_for_note[note] = on;
    drawn_for_note[note] = drawn;
    const std::string what = "note " + std::to_string(note);
    ++statements;
    if (control == nullptr && !(on.empty() && off.empty())) {
        differ("%s drives no light, and the board got %s", what.c_str(), joined(on, ", ").c_str());
    }
    if (control != nullptr) {
        Words all = on;
        all.insert(all.end(), off.begin(), off.end());
        compare(what + " for " + named(*control), *control, "to_board", all);
        ++statements;
        const bool darkened = off.size() == 1 && off[0].ends_with(" 00");
        if (darkened != (control->at("off_darkens") == "true")) {
            differ("%s for %s: off_darkens is %s, and a note-off made %s", what.c_str(),
                   named(*control).c_str(), control->at("off_darkens").c_str(),
                   joined(off, ", ").c_str());
        }
    }
    ++statements;
    if ((label != nullptr) != !drawn.empty() ||
        (label != nullptr && drawn.find(label->at("label_text")) == std::string::npos)) {
        differ("%s: label \"%s\", drawn \"%s\"", what.c_str(),
               label != nullptr ? label->at("label_place").c_str() : "", drawn.c_str());
    }
}

void play_host_controller(const std::vector<Row>& rows, int channel, int number) {
    const auto drives = [&](const Row& row) {
        return row.at("from_host_type") == "controller" &&
               number_in(row, "from_host_number") == number;
    };
    const auto row = std::find_if(rows.begin(), rows.end(), drives);
    const int passes = row != rows.end() ? passes_of(*row) : 1;
    const Words got = messages_to("board", send("", hex({0xB0 | channel, number, 100}), passes));
    ++statements;
    if (row != rows.end()) {
        compare("controller " + std::to_string(number) + " for " + named(*row), *row, "to_board",
                got);
    } else if (!got.empty()) {
        differ("controller %d drives nothing, and the board got %s", number, got[0].c_str());
    }
}

void start_daemon() {
    cfg_check_files();
    pot_init();
    for (const int list : {TYPE_COLOR_LIST, TYPE_SOFT_LABEL, TYPE_SOFT_LABEL_CUSTOMIZED}) {
        list_init(list);
    }
    cf_init();
    midi_init();
    send("", "", LONGEST_RATE);
}

// --- What check says, and where it is silent ---

bool is_light(const Row& delivered) {
    return delivered.at("to_board_type") == "note" && delivered.at("index") != "84";
}

// Works as delivered, under whatever number.
std::string fault_of(const Row& delivered, const std::vector<Row>& rows, int channel) {
    const int idx = number_in(delivered, "index");
    const Words& sent = sent_to_host[idx];
    if (idx < BUTTONS_END && sent.empty()) {
        return "sends nothing";
    }
    for (const std::string& message : sent) {
        if (message[3] > '7') {
            return "sends " + message;
        }
    }
    if (idx < POTS && delivered.at("mode") != rows[static_cast<size_t>(idx)].at("mode")) {
        return "sends " + rows[static_cast<size_t>(idx)].at("mode") + " values";
    }
    for (int other = 0; other < BUTTONS_END && idx < BUTTONS_END; ++other) {
        const bool partner = other - idx == 2 || idx - other == 2;
        const Words& theirs = sent_to_host[other];
        if (other != idx && !sent.empty() && !theirs.empty() && (other < POTS) == (idx < POTS) &&
            !(gives_steps(idx) && gives_steps(other) && partner) &&
            sent[0].substr(0, 5) == theirs[0].substr(0, 5)) {
            return "sends the same as " + std::to_string(other);
        }
    }
    if (is_light(delivered) && channel >= 0) {
        const Row& row = rows[static_cast<size_t>(idx)];
        const int note = idx < BUTTONS_END ? std::stoi(sent[0].substr(3, 2), nullptr, 16)
                                           : number_in(row, "from_host_number");
        const std::string light = forms_in(delivered.at("to_board_bytes"))[0].substr(0, 5);
        const Words& got = board_got_for_note[note];
        if (note < 0 || got.size() != 1 || got[0].substr(0, 5) != light) {
            return "is not lit by its note";
        }
    }
    return "";
}

const std::set<std::string> STAYS_DARK = {"shadowed", "type-dark", "no-line", "host-only",
                                          "board-number"};

void judge(const std::vector<Finding>& found, const std::vector<Row>& delivered,
           const std::vector<Row>& rows, int channel) {
    std::set<int> named_controls;
    bool whole = false;
    for (const Finding& one : found) {
        if (one.severity == "note") {
            continue;
        }
        named_controls.insert(one.control);
        whole |= one.control < 0 && one.file.starts_with(MAPPING);
        ++statements;
        if (STAYS_DARK.count(one.rule) != 0 && one.control >= 0 && channel >= 0 &&
            is_light(delivered[static_cast<size_t>(one.control)]) &&
            fault_of(delivered[static_cast<size_t>(one.control)], rows, channel).empty()) {
            differ("check says %s of %d, which works", one.rule.c_str(), one.control);
        }
    }
    for (const Row& one : delivered) {
        if (one.at("index").empty() || number_in(one, "index") >= LIGHTS_END || whole) {
            continue;
        }
        const std::string fault = fault_of(one, rows, channel);
        const std::string same = "sends the same as ";
        const int other = fault.starts_with(same) ? std::stoi(fault.substr(same.size())) : -1;
        ++statements;
        if (!fault.empty() && named_controls.count(number_in(one, "index")) == 0 &&
            named_controls.count(other) == 0) {
            differ("check is silent of %s, which %s", named(one).c_str(), fault.c_str());
        }
    }
}

// --- All ---

int compare_one(const std::string& ctlmap, const fs::path& resources,
                const std::vector<Row>& delivered) {
    for (const auto& [name, text] : make_configuration(resources)) {
        write_resource(name, text);
    }
    const std::vector<Row> rows = exported(ctlmap);
    const std::vector<Finding> found = findings_of(ctlmap);
    if (rows.size() < CONTROLS) {
        differ("export has %zu rows", rows.size());
        return 1;
    }
    start_daemon();
    const int channel = rows[0].at("channel").empty() ? -1 : number_in(rows[0], "channel");
    for (int idx = 0; idx < BUTTONS_END; ++idx) {
        const Row& row = rows[static_cast<size_t>(idx)];
        (idx >= POTS ? play_button : gives_steps(idx) ? play_steps : play_pot)(row, idx);
    }
    for (int number = 0; number < 128; ++number) {
        play_host_note(rows, std::max(channel, 0), number);
        play_host_controller(rows, std::max(channel, 0), number);
    }
    judge(found, delivered, rows, channel);
    return differences == 0 ? 0 : 1;
}

struct Totals {
    int statements = 0, configurations = 0, bad = 0;
};

void compare_apart(const std::string& ctlmap, const fs::path& resources,
                   const std::vector<Row>& delivered, Totals* totals) {
    int ends[2];
    if (pipe(ends) != 0) {
        abort();
    }
    fflush(report);
    const pid_t child = fork();
    if (child == 0) {
        const int bad = compare_one(ctlmap, resources, delivered);
        fflush(report);
        const bool counted = write(ends[1], &statements, sizeof statements) == sizeof statements;
        _exit(counted ? bad : 2);
    }
    close(ends[1]);
    int count = 0;
    const bool counted = read(ends[0], &count, sizeof count) == sizeof count;
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!counted) {
        fprintf(report, "configuration %d: ended with %d\n", seed, status);
    }
    totals->statements += count;
    totals->bad += status != 0 ? 1 : 0;
    ++totals->configurations;
    board_got();
    host_got();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        fprintf(stderr, "usage: compare CTLMAP RESOURCES FIRST COUNT\n");
        return 2;
    }
    const std::string ctlmap = fs::absolute(argv[1]);
    const fs::path resources = fs::absolute(argv[2]);
    make_platform();
    report = fdopen(dup(STDOUT_FILENO), "w");
    for (const fs::directory_entry& one : fs::directory_iterator(resources)) {
        write_resource(one.path().filename(), read_file(one.path()));
    }
    chmod("../resources/check_field_num.sh", 0755);
    const std::vector<Row> delivered = exported(ctlmap);
    if (freopen("/dev/null", "w", stdout) == nullptr ||
        freopen("/dev/null", "w", stderr) == nullptr) {
        return 2;
    }
    Totals totals;
    for (seed = std::stoi(argv[3]); totals.configurations < std::stoi(argv[4]); ++seed) {
        compare_apart(ctlmap, resources, delivered, &totals);
    }
    fprintf(report, "%d configurations, %d statements, %d configurations with differences\n",
            totals.configurations, totals.statements, totals.bad);
    return totals.bad == 0 ? 0 : 1;
}
