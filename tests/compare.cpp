// Compares what ctlmap says with what the daemon's modules do on real devices with the real shell:
// random configurations, each in a process of its own. What check says must be so, and where it is
// silent, a control must work.
//
// usage: compare CTLMAP RESOURCES FIRST COUNT
//
// Prints each difference with the number of its configuration, which FIRST makes again.
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
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
int& statements =  // of all processes
    *static_cast<int*>(
        mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
int differences = 0;
FILE* report;  // standard output, which the daemon's modules use, too

// A statement of ctlmap, and what to say when it is not so.
void hold(bool is_so, const std::string& difference) {
    ++statements;
    if (!is_so) {
        ++differences;
        fprintf(report, "configuration %d: %s\n", seed, difference.c_str());
    }
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

Words parts(const std::string& text, char end) {
    Words all;
    std::istringstream rest(text);
    for (std::string part; std::getline(rest, part, end);) {
        all.push_back(part);
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
    const int change = random.below(14);
    if (change < 2) {
        line = (change == 0 ? "# " : " ") + line;
    } else if (change == 2) {
        line.erase(std::min(line.find_last_of(' '), line.size()));
    } else if (change == 3) {
        lines->push_back(line);
        change_field(random, &lines->back(), {1, 2, 3, 4, 5});
    } else if (change == 5) {
        Words a = split(line), b = split(other);
        if (a.size() > 2 && b.size() > 2) {
            std::swap(a[1], b[1]);
            line = joined(a, " ");
            other = joined(b, " ");
        }
    } else {
        change_field(random, &line,
                     change == 4 ? std::vector{0} : std::vector{1, 2, 2, 2, 3, 4, 5, 6});
    }
}

void set(Words* settings, const std::string& key, const std::string& value) {
    *std::find_if(settings->begin(), settings->end(),
                  [&](const std::string& line) { return line.starts_with(key); }) = key + value;
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
    set(settings, "midi_preset=", random.once_in(5) ? "7" : "0");
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

const Words CHANNELS = {"3", "15", "16", "", "abc", "300", " 7", "9\r"};

std::map<std::string, std::string> make_configuration(const fs::path& delivered) {
    Random random(seed);
    std::map<std::string, Words> files;
    std::string preset;
    for (const char* name : FILES) {
        files[name] = parts(read_file(delivered / name), '\n');
    }
    for (int i = random.below(random.once_in(4) ? 60 : 6); i > 0; --i) {
        change_mapping(random, &files[MAPPING]);
    }
    if (random.once_in(3)) {
        change_preset(random, &preset, files[MAPPING], &files[SETTINGS]);
    }
    if (random.once_in(3) && !random.once_in(3)) {
        set(&files[SETTINGS], "midi_channel=", random.of(CHANNELS));
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

std::vector<Row> exported(const std::string& ctlmap) {
    std::vector<Row> rows;
    Words names;
    for (const std::string& line :
         parts(output_of(ctlmap + " export ../resources --format csv 2>/dev/null"), '\n')) {
        const Words cells = parts(line, ',');
        if (names.empty()) {
            names = cells;
            continue;
        }
        rows.emplace_back();
        for (size_t i = 0; i < cells.size(); ++i) {
            rows.back()[names.at(i)] = cells[i];
        }
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
    const std::string command = ctlmap +
                                " check --json ../resources | jq -r '.findings[] | "
                                "\"\\(.severity) \\(.rule) \\(.control // -1) \\(.file)\"'";
    for (const std::string& line : parts(output_of(command), '\n')) {
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
        told += " " + pass("", "");
    }
    return told;
}

std::string message(int status, int number, int value) {
    return bench::hex({static_cast<u8>(status), static_cast<u8>(number), static_cast<u8>(value)});
}

// The three-byte messages that reach one end, "90 3c 7f" each.
Words messages_to(const std::string& end, const std::string& told) {
    Words found;
    bool is_its = false;
    int bytes = 0;
    for (const std::string& word : split(told)) {
        if (word.size() > 3) {  // an end or a ring
            is_its = word == end;
        } else if (is_its && bytes++ % 3 == 0) {
            found.push_back(word);
        } else if (is_its) {
            found.back() += " " + word;
        }
    }
    return found;
}

Words host_gets(const std::string& from_board, int passes = 1) {
    return messages_to("host", send(from_board, "", passes));
}

Words board_gets(const std::string& from_host, int passes = 1) {
    return messages_to("board", send("", from_host, passes));
}

// "90 3C 7F; 80 3C vv" as forms in lower case.
Words forms_in(const std::string& cell) {
    Words forms;
    for (std::string form : parts(cell, ';')) {
        std::transform(form.begin(), form.end(), form.begin(), tolower);
        forms.push_back(form.substr(form[0] == ' ' ? 1 : 0));
    }
    return forms;
}

// Every message is one that is claimed, and its last byte within the claimed range.
void compare(const std::string& what, const Row& row, const std::string& way, const Words& got) {
    const Words forms = forms_in(row.at(way + "_bytes"));
    std::string wrong = got.empty() && !forms.empty() ? "nothing " : "";
    for (const std::string& message : got) {
        const int value = std::stoi(message.substr(6), nullptr, 16);
        const auto fits = [&](const std::string& form) {
            return message.substr(0, 5) == form.substr(0, 5) &&
                   (form.ends_with("vv") || form.substr(6) == message.substr(6));
        };
        if (std::none_of(forms.begin(), forms.end(), fits) ||
            value < number_in(row, way + "_min") || value > number_in(row, way + "_max")) {
            wrong += message + " ";
        }
    }
    hold(wrong.empty(), what + ": " + wrong + "instead of " + row.at(way + "_bytes"));
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

void append(Words* all, const Words& more) {
    all->insert(all->end(), more.begin(), more.end());
}

Words play_button(const Row& row, int idx) {
    Words got = host_gets(message(0x90, board_number(idx), 0x40));
    compare(named(row) + " pressed", row, "to_host", got);
    const Words released = host_gets(message(0x80, board_number(idx), 0x11));
    compare(named(row) + " released", row, "to_host", released);
    append(&got, released);
    return got;
}

Words play_pot(const Row& row, int idx) {
    Words all;
    for (const int position : {200, 3, 255, 0, 90}) {
        const Words got = host_gets(
            message(0xB0 | position >> 7, board_number(idx), position & 0x7F), passes_of(row));
        hold(row.at("mode") != "absolute" ||
                 (got.size() == 1 && std::stoi(got[0].substr(6), nullptr, 16) == position / 2),
             named(row) + " at " + std::to_string(position) + ": " + joined(got, ", "));
        append(&all, got);
    }
    compare(named(row) + " moved", row, "to_host", all);
    return all;
}

Words play_steps(const Row& row, int idx) {
    const int number = board_number(idx);
    if (row.at("mode") == "absolute") {
        compare(named(row) + " turned", row, "to_host",
                host_gets(message(0xB0, number, 0x45), passes_of(row)));
        return {};
    }
    const int units = number_in(row, "step");
    const auto turn = [&](int by) {
        std::string reports;
        for (; by > 0; by -= 63) {
            reports += message(0xB0, number, 0x40 + std::min(by, 63)) + " ";
        }
        return host_gets(reports, 2 * passes_of(row));
    };
    const auto rest = [&] { return host_gets(message(0xB0, number, 0x40), 2 * passes_of(row)); };
    rest();
    hold(units <= 1 || turn(units - 1).empty(),
         named(row) + ": a step of fewer units than " + row.at("step"));
    rest();
    const Words moved = turn(units);
    hold(moved.size() == 1 && moved[0].ends_with("41"),
         named(row) + ": " + row.at("step") + " units are not a step: " + joined(moved, ", "));
    compare(named(row) + " turned", row, "to_host", moved);
    hold((row.at("rests") == "true") != rest().empty(),
         named(row) + ": rests is " + row.at("rests"));
    return moved;
}

std::string drawn_text() {
    const std::string text = console_got();
    std::ofstream("/dev/tty0", std::ios::trunc);
    return text;
}

template <typename Condition>
const Row* find_row(const std::vector<Row>& rows, const Condition& condition) {
    const auto found = std::find_if(rows.begin(), rows.end(), condition);
    return found == rows.end() ? nullptr : &*found;
}

// The control that the host's note or controller drives.
const Row* driven_by(const std::string& type, int number, const std::vector<Row>& rows) {
    return find_row(rows, [&](const Row& row) {
        return row.at("from_host_type") == type && number_in(row, "from_host_number") == number;
    });
}

std::map<int, Words> board_got_for_note;

void play_host_note(const std::vector<Row>& rows, int channel, int note) {
    const Row* const control = driven_by("note", note, rows);
    const Row* const label = find_row(rows, [&](const Row& row) {
        return row.at("label_drawn") == "true" && number_in(row, "label_note") == note;
    });
    drawn_text();
    Words all = board_got_for_note[note] = board_gets(message(0x90 | channel, note, 100));
    const std::string drawn = drawn_text();
    const Words off =
        board_gets(message(0x80 | channel, note, 77), control != nullptr ? passes_of(*control) : 1);
    append(&all, off);
    const std::string what = "note " + std::to_string(note);
    hold(control != nullptr || all.empty(), what + " drives no light: " + joined(all, ", "));
    if (control != nullptr) {
        compare(what + " for " + named(*control), *control, "to_board", all);
        const bool darkened = off.size() == 1 && off[0].ends_with(" 00");
        hold(darkened == (control->at("off_darkens") == "true"),
             what + " for " + named(*control) + ": off_darkens, and a note-off made " +
                 joined(off, ", "));
    }
    hold(
        label != nullptr ? drawn.find(label->at("label_text")) != std::string::npos : drawn.empty(),
        what + ": label " + (label != nullptr ? label->at("label_place") : "") + ", drawn " +
            drawn);
}

void play_host_controller(const std::vector<Row>& rows, int channel, int number) {
    const Row* const row = driven_by("controller", number, rows);
    const Words got =
        board_gets(message(0xB0 | channel, number, 100), row != nullptr ? passes_of(*row) : 1);
    const std::string what = "controller " + std::to_string(number);
    hold(row != nullptr || got.empty(), what + " drives nothing: " + joined(got, ", "));
    if (row != nullptr) {
        compare(what + " for " + named(*row), *row, "to_board", got);
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
        const size_t control = static_cast<size_t>(std::max(one.control, 0));
        hold(STAYS_DARK.count(one.rule) == 0 || one.control < 0 || channel < 0 ||
                 !is_light(delivered[control]) ||
                 !fault_of(delivered[control], rows, channel).empty(),
             "check says " + one.rule + " of " + std::to_string(control) + ", which works");
    }
    for (const Row& one : delivered) {
        if (one.at("index").empty() || number_in(one, "index") >= LIGHTS_END || whole) {
            continue;
        }
        const std::string fault = fault_of(one, rows, channel);
        const std::string same = "sends the same as ";
        const int other = fault.starts_with(same) ? std::stoi(fault.substr(same.size())) : -1;
        hold(fault.empty() || named_controls.count(number_in(one, "index")) != 0 ||
                 named_controls.count(other) != 0,
             "check is silent of " + named(one) + ", which " + fault);
    }
}

// --- All ---

void compare_one(const std::string& ctlmap, const fs::path& resources,
                 const std::vector<Row>& delivered) {
    for (const auto& [name, text] : make_configuration(resources)) {
        write_resource(name, text);
    }
    const std::vector<Row> rows = exported(ctlmap);
    const std::vector<Finding> found = findings_of(ctlmap);
    hold(rows.size() >= CONTROLS, "too few rows are exported");
    start_daemon();
    const int channel = rows.at(0).at("channel").empty() ? -1 : number_in(rows[0], "channel");
    for (int idx = 0; idx < BUTTONS_END; ++idx) {
        const auto play = idx >= POTS ? play_button : gives_steps(idx) ? play_steps : play_pot;
        sent_to_host[idx] = play(rows.at(static_cast<size_t>(idx)), idx);
    }
    for (int number = 0; number < 128; ++number) {
        play_host_note(rows, std::max(channel, 0), number);
        play_host_controller(rows, std::max(channel, 0), number);
    }
    judge(found, delivered, rows, channel);
}

// In a process of its own. False: there are differences, or it has ended otherwise.
bool compare_apart(const std::string& ctlmap, const fs::path& resources,
                   const std::vector<Row>& delivered) {
    constexpr int SAME = 77, DIFFERENT = 78;
    fflush(report);
    const pid_t child = fork();
    if (child == 0) {
        compare_one(ctlmap, resources, delivered);
        fflush(report);
        _exit(differences == 0 ? SAME : DIFFERENT);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != W_EXITCODE(SAME, 0) && status != W_EXITCODE(DIFFERENT, 0)) {
        fprintf(report, "configuration %d: ended with %d\n", seed, status);
    }
    board_got();
    host_got();
    return status == W_EXITCODE(SAME, 0);
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
    const int first = std::stoi(argv[3]), count = std::stoi(argv[4]);
    int bad = 0;
    for (seed = first; seed < first + count; ++seed) {
        bad += compare_apart(ctlmap, resources, delivered) ? 0 : 1;
    }
    fprintf(report, "%d configurations, %d statements, %d configurations with differences\n", count,
            statements, bad);
    return bad == 0 ? 0 : 1;
}
