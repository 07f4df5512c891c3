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

constexpr int TRAFFIC_LED = 0x38;  // its commands are left out of what the board is told to get
constexpr const char* MAPPING = "orvik.midictl.cfg";
constexpr const char* PRESET = "orvik.midictl.cfg0.txt";
constexpr const char* SETTINGS = "orvik.sys.cfg";
constexpr const char* LABELS = "orvik.miditxt.cfg0.txt";
constexpr const char* PLACES = "orvik.softlabelpos.cfg";
constexpr const char* FILES[] = {MAPPING, PRESET, SETTINGS, LABELS, PLACES, "orvik.color.cfg"};

int seed;
struct Counts {
    int statements, differences;
};
Counts& counts = *static_cast<Counts*>(  // of all processes
    mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
FILE* report;  // standard output, which the daemon's modules use, too

// A statement of ctlmap, and what to say when it is not so.
void hold(bool is_so, const std::string& difference) {
    ++counts.statements;
    if (!is_so) {
        ++counts.differences;
        fprintf(report, "configuration %d: %s\n", seed, difference.c_str());
        fflush(report);
    }
}

// --- Random configurations ---

std::mt19937 dice;

int below(int end) {
    return static_cast<int>(dice() % static_cast<unsigned>(end));
}

template <typename T>
const T& one_of(const std::vector<T>& all) {
    return all[static_cast<size_t>(below(static_cast<int>(all.size())))];
}

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

std::string& data_line(Words* lines) {
    for (;;) {
        std::string& line = (*lines)[static_cast<size_t>(below(static_cast<int>(lines->size())))];
        if (!line.empty() && line[0] != '#' && line[0] != ' ') {
            return line;
        }
    }
}

// A number that fits, more often than not.
std::string odd_number() {
    const int any = below(128);
    return std::to_string(below(2) == 0 ? any == TRAFFIC_LED ? 0 : any
                                        : one_of<int>({-1, -5, 0, 1, 2, 3, 4, 16, 48, 127, 128, 200,
                                                       255, 256, 258, 300}));
}

void set_word(std::string* line, size_t at, const std::string& value) {
    Words words = split(*line);
    if (at < words.size()) {
        words[at] = value;
        *line = joined(words, below(20) == 0 ? "\t" : " ");
    }
}

void change_mapping(Words* lines) {
    std::string& line = data_line(lines);
    const size_t at = one_of<size_t>({0, 1, 2, 2, 2, 2, 3, 4, 5, 6});
    const std::string value = at == 3 || at == 4 ? std::to_string(below(6) - 1) : odd_number();
    const int change = below(12);
    if (change < 2) {
        line = (change == 0 ? "# " : " ") + line;
    } else if (change == 2) {
        line.erase(std::min(line.find_last_of(' '), line.size()));
    } else if (change == 3) {
        const Words other = split(data_line(lines));
        set_word(&line, 1, other.size() > 1 ? other[1] : "");
    } else if (change == 4) {
        lines->push_back(line);
        set_word(&lines->back(), std::max<size_t>(at, 1), value);
    } else {
        set_word(&line, at, value);
    }
}

// The line must be there.
void set(Words* lines, const std::string& line, const std::string& value) {
    *std::find(lines->begin(), lines->end(), line) = line.substr(0, line.find('=') + 1) + value;
}

void write_configuration(const fs::path& delivered) {
    dice.seed(static_cast<unsigned>(seed));
    std::map<std::string, Words> files;
    for (const char* name : FILES) {
        files[name] = parts(read_file(delivered / name), '\n');
    }
    for (int i = below(below(4) == 0 ? 60 : 6); i > 0; --i) {
        change_mapping(&files[MAPPING]);
    }
    if (below(3) == 0) {
        for (files[PRESET] = {}; files[PRESET].empty() || below(4) > 0;) {
            const Words words = split(data_line(&files[MAPPING]));
            const std::string name = words.empty() ? "X" : words.back();
            files[PRESET].push_back(
                name.substr(0, below(6) == 0 ? name.size() / 2 + 1 : name.npos) + " " +
                odd_number() + (below(20) == 0 ? " 3" : ""));
        }
        set(&files[SETTINGS], "midi_preset=", below(5) == 0 ? "7" : "0");
    }
    if (below(5) == 0) {
        set(&files[SETTINGS], "midi_channel=0",
            one_of<std::string>({"3", "15", "16", "", "abc", "300", " 7", "9\r"}));
    }
    for (int i = below(4); i > 0; --i) {
        const size_t at = one_of<size_t>({0, 1, 2, 3, 4});
        set_word(&data_line(&files[LABELS]), at,
                 at == 2 ? odd_number() : one_of<std::string>({"NOWHERE", "WHITE"}));
    }
    if (below(6) == 0) {
        files[PLACES].erase(files[PLACES].end() - below(12), files[PLACES].end());
    }
    for (const auto& [name, lines] : files) {
        write_resource(name, joined(lines, below(12) == 0 ? "\r\n" : "\n") + "\n");
    }
}

// --- What ctlmap says ---

std::string output_of(const std::string& command) {
    return system((command + " >said 2>/dev/null").c_str()) < 0 ? "" : read_file("said");
}

std::vector<Row> exported(const std::string& ctlmap) {
    std::vector<Row> rows;
    const Words lines = parts(output_of(ctlmap + " export ../resources --format csv"), '\n');
    const Words names = parts(lines.at(0), ',');
    for (size_t i = 1; i < lines.size(); ++i) {
        const Words cells = parts(lines[i], ',');
        rows.emplace_back();
        for (size_t at = 0; at < cells.size(); ++at) {
            rows.back()[names.at(at)] = cells[at];
        }
    }
    return rows;
}

struct Finding {
    std::string file, rule;
    int control;  // NONE: it is about no single one
};
constexpr int NONE = -1;

std::vector<Finding> findings_of(const std::string& ctlmap) {
    std::istringstream words(
        output_of(ctlmap + " check --json ../resources | jq -r '.findings[] | "
                           "select(.severity != \"note\") | .file, .rule, .control // -1'"));
    std::vector<Finding> found;
    for (Finding one; words >> one.file >> one.rule >> one.control;) {
        found.push_back(one);
    }
    return found;
}

int number_in(const Row& row, const std::string& key) {
    const std::string& text = row.at(key);
    return text.empty() ? NONE : std::stoi(text);
}

// --- What the daemon does ---

constexpr int LONGEST_RATE = 256;  // passes between two messages of a control

struct Message {
    int status, number, value;  // NONE, in a form: it varies

    bool is_like(const Message& other) const {
        return status == other.status && number == other.number;
    }
};
using Messages = std::vector<Message>;

std::string bytes_of(int status, int number, int value) {
    return bench::hex({static_cast<u8>(status), static_cast<u8>(number), static_cast<u8>(value)});
}

std::string text_of(const Messages& all) {
    Words words;
    for (const Message& one : all) {
        words.push_back(bytes_of(one.status, one.number, one.value));
    }
    return joined(words, ", ");
}

// Of "90 3C 7F; 80 3C vv", as well.
Messages messages_in(const Words& words) {
    const auto byte = [](const std::string& word) {
        return word == "vv" ? NONE : std::stoi(word, nullptr, 16);
    };
    Messages found;
    for (size_t i = 0; i + 2 < words.size(); i += 3) {
        found.push_back({byte(words[i]), byte(words[i + 1]), byte(words[i + 2])});
    }
    return found;
}

// What reaches one end of what the other one sends, until the control may send again.
Messages gets(const std::string& end, const std::string& bytes, int passes) {
    Words got;
    for (int i = 0; i < passes; ++i) {
        const std::string fed = i == 0 ? bytes : "";
        bool is_its = false;
        for (const std::string& word : split(end == "host" ? pass(fed, "") : pass("", fed))) {
            if (word.size() > 3) {  // an end or a ring
                is_its = word == end;
            } else if (is_its) {
                got.push_back(word);
            }
        }
    }
    return messages_in(got);
}

int passes_of(const Row* row) {
    return row == nullptr || row->at("passes").empty() ? 1 : number_in(*row, "passes") + 1;
}

std::string named(const Row& row) {
    return row.at("name") + " (" + row.at("index") + ")";
}

// Every message is one that is claimed, and its last byte within the claimed range.
void compare(const Row& row, const std::string& way, const Messages& got) {
    const Messages forms = messages_in(split(row.at(way + "_bytes")));
    const auto is_claimed = [&](const Message& one) {
        const auto fits = [&](const Message& form) {
            return form.is_like(one) && (form.value == NONE || form.value == one.value);
        };
        return std::any_of(forms.begin(), forms.end(), fits) &&
               one.value >= number_in(row, way + "_min") &&
               one.value <= number_in(row, way + "_max");
    };
    hold(got.empty() == forms.empty() && std::all_of(got.begin(), got.end(), is_claimed),
         named(row) + " " + way + ": " + text_of(got) + " instead of " + row.at(way + "_bytes"));
}

void append(Messages* all, const Messages& more) {
    all->insert(all->end(), more.begin(), more.end());
}

Messages play_button(const Row& row, int number) {
    Messages all;
    for (const int status : {0x90, 0x80}) {
        const Messages got = gets("host", bytes_of(status, number, 0x40), 1);
        compare(row, "to_host", got);
        append(&all, got);
    }
    return all;
}

// One that sends steps may be silent at first.
Messages play_pot(const Row& row, int number) {
    Messages all;
    for (const int position : {200, 3, 255, 0, 90}) {
        const Messages got =
            gets("host", bytes_of(0xB0 | position >> 7, number, position & 0x7F), passes_of(&row));
        hold(row.at("mode") != "absolute" || (got.size() == 1 && got[0].value == position / 2),
             named(row) + " at " + std::to_string(position) + ": " + text_of(got));
        append(&all, got);
    }
    compare(row, "to_host", all);
    return all;
}

Messages play_steps(const Row& row, int number) {
    const auto turn = [&](int by) {
        std::string reports = by == 0 ? bytes_of(0xB0, number, 0x40) : "";  // at rest
        for (; by > 0; by -= 63) {
            reports += bytes_of(0xB0, number, 0x40 + std::min(by, 63)) + " ";
        }
        return gets("host", reports, 2 * passes_of(&row));
    };
    const bool is_absolute = row.at("mode") == "absolute";
    const int units = is_absolute ? 5 : number_in(row, "step");
    turn(0);
    hold(is_absolute || units <= 1 || turn(units - 1).empty(),
         named(row) + ": a step of fewer units than " + row.at("step"));
    turn(0);
    const Messages moved = turn(units);
    compare(row, "to_host", moved);
    hold(is_absolute || (moved.size() == 1 && moved[0].value == 0x41),
         named(row) + ": " + row.at("step") + " units are not a step: " + text_of(moved));
    hold(is_absolute || (row.at("rests") == "true") != turn(0).empty(),
         named(row) + ": rests is " + row.at("rests"));
    return moved;
}

// What the daemon sends: for each control played, and for each note and controller of the host.
struct Played {
    Messages control[TOTAL_CTL_NUM], note[128], controller[128];
};

template <typename Condition>
const Row* find_row(const std::vector<Row>& rows, const Condition& condition) {
    const auto found = std::find_if(rows.begin(), rows.end(), condition);
    return found == rows.end() ? nullptr : &*found;
}

// Sends a note or a controller. Returns the control that it is for, with what the board gets.
const Row* play_host(const std::string& type, int status, int number, const std::vector<Row>& rows,
                     Messages* got) {
    const Row* const control = find_row(rows, [&](const Row& row) {
        return row.at("from_host_type") == type && number_in(row, "from_host_number") == number;
    });
    *got = gets("board", bytes_of(status, number, 100), passes_of(control));
    hold(control != nullptr || got->empty(),
         type + " " + std::to_string(number) + " drives nothing: " + text_of(*got));
    if (control != nullptr) {
        compare(*control, "to_board", *got);
    }
    return control;
}

void play_note(const std::vector<Row>& rows, int channel, int note, Messages* got) {
    fs::resize_file("/dev/tty0", 0);
    const Row* const control = play_host("note", 0x90 | channel, note, rows, got);
    const std::string what = "note " + std::to_string(note);
    const std::string drawn = console_got();
    const Row* const label = find_row(rows, [&](const Row& row) {
        return row.at("label_drawn") == "true" && number_in(row, "label_note") == note;
    });
    hold(
        label != nullptr ? drawn.find(label->at("label_text")) != std::string::npos : drawn.empty(),
        what + " draws " + drawn + ", label " + (label != nullptr ? label->at("label_place") : ""));
    const Messages off = gets("board", bytes_of(0x80 | channel, note, 77), passes_of(control));
    if (control == nullptr) {
        hold(off.empty(), what + " off drives nothing: " + text_of(off));
    } else {
        compare(*control, "to_board", off);
        hold((off.size() == 1 && off[0].value == 0) == (control->at("off_darkens") == "true"),
             named(*control) + ": off_darkens, and a note-off made " + text_of(off));
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
    gets("board", "", LONGEST_RATE);
}

// --- What check says, and where it is silent ---

const std::string SAME = "sends the same as ";

bool is_light(const Row& delivered) {
    return delivered.at("kind") == "meter" || delivered.at("to_board_type") == "note";
}

// Works as delivered, under whatever number.
std::string fault_of(const Row& delivered, const std::vector<Row>& rows, const Played& played) {
    const int idx = number_in(delivered, "index");
    const Row& row = rows[static_cast<size_t>(idx)];
    int number = number_in(row, "from_host_number");
    if (idx < TOTAL_CTL_NUM) {
        const Messages& sent = played.control[idx];
        if (sent.empty() || sent[0].number > 127) {
            return "sends nothing, or " + text_of(sent);
        }
        if (delivered.at("mode") != row.at("mode")) {
            return "sends " + row.at("mode") + " values";
        }
        for (int other = 0; other < TOTAL_CTL_NUM; ++other) {
            const bool is_partner =
                pot_is_relative_in(idx) && pot_is_relative_in(other) && abs(other - idx) == 2;
            const Messages& theirs = played.control[other];
            if (other != idx && !is_partner && !theirs.empty() && theirs[0].is_like(sent[0])) {
                return SAME + std::to_string(other);
            }
        }
        number = sent[0].number;
    }
    const Message light = messages_in(split(delivered.at("to_board_bytes") + " 0 0 0"))[0];
    const auto& driven = delivered.at("kind") == "meter" ? played.controller : played.note;
    const bool is_lit =
        !is_light(delivered) || rows[0].at("channel").empty() ||
        (number >= 0 && driven[number].size() == 1 && driven[number][0].is_like(light));
    return is_lit ? "" : "is not lit by its number";
}

const std::set<std::string> STAYS_DARK = {"shadowed", "type-dark", "no-line", "host-only",
                                          "board-number"};

void judge(const std::vector<Finding>& found, const std::vector<Row>& delivered,
           const std::vector<Row>& rows, const Played& played) {
    std::set<int> told;
    bool in_mapping = false, whole = false;
    for (const Finding& one : found) {
        told.insert(one.control);
        in_mapping |= one.file == MAPPING;  // which also tells of those without a line
        whole |= one.control == NONE && one.file.starts_with(MAPPING) && one.rule != "no-line";
        const Row& its = delivered[static_cast<size_t>(std::max(one.control, 0))];
        hold(STAYS_DARK.count(one.rule) == 0 || one.control == NONE || !is_light(its) ||
                 rows[0].at("channel").empty() || !fault_of(its, rows, played).empty(),
             "check says " + one.rule + " of " + named(its) + ", which works");
    }
    const auto is_told = [&](int idx) {
        return told.count(idx) != 0 ||
               (in_mapping && rows[static_cast<size_t>(idx)].at("line").empty());
    };
    for (int idx = 0; idx < TOTAL_CFG_ITEM - 1 && !whole; ++idx) {
        const Row& one = delivered[static_cast<size_t>(idx)];
        const std::string fault = fault_of(one, rows, played);
        hold(fault.empty() || is_told(idx) ||
                 (fault.starts_with(SAME) && is_told(std::stoi(fault.substr(SAME.size())))),
             "check is silent of " + named(one) + ", which " + fault);
    }
}

// --- All ---

void compare_one(const std::string& ctlmap, const fs::path& resources,
                 const std::vector<Row>& delivered) {
    write_configuration(resources);
    const std::vector<Row> rows = exported(ctlmap);
    const std::vector<Finding> found = findings_of(ctlmap);
    start_daemon();
    static Played played;
    for (int idx = 0; idx < TOTAL_CTL_NUM; ++idx) {
        const auto play = idx >= TOTAL_POT_NUM      ? play_button
                          : pot_is_relative_in(idx) ? play_steps
                                                    : play_pot;
        played.control[idx] = play(rows.at(static_cast<size_t>(idx)), CONTROLS[idx].board);
    }
    const int channel = std::max(number_in(rows[0], "channel"), 0);
    for (int number = 0; number < 128; ++number) {
        play_note(rows, channel, number, &played.note[number]);
        play_host("controller", 0xB0 | channel, number, rows, &played.controller[number]);
    }
    judge(found, delivered, rows, played);
}

}  // namespace

int main(int argc, char** argv) {
    constexpr int DONE = 77;
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
        const int before = counts.differences;
        if (fork() == 0) {
            compare_one(ctlmap, resources, delivered);
            _exit(DONE);
        }
        int status = 0;
        wait(&status);
        hold(status == W_EXITCODE(DONE, 0), "ended with " + std::to_string(status));
        board_got();
        host_got();
        bad += counts.differences > before ? 1 : 0;
    }
    fprintf(report, "%d configurations, %d statements, %d configurations with differences\n", count,
            counts.statements, bad);
    return bad == 0 ? 0 : 1;
}
