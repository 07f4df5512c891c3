// The files that people edit, with anything in them. An input is one file or several, parted by a
// byte 0xFE: first a byte that selects the file, then its content. A good line is put after each.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <regex>
#include <string>

#include "config.h"
#include "debug.h"
#include "modules/fuzz_platform.h"
#include "modules/ptys.h"
#include "pot.h"
#include "softlabel.h"
#include "utility.h"

namespace {

using fuzz::fail;

constexpr int BOARD = UART_OUT_BUF_ID;
constexpr int HOST = MIDI_IN_BUF_ID;
constexpr int LAST_REACHED = 63;  // host record of configuration index 84
constexpr char NEXT_FILE = '\xFE';
constexpr size_t SHELL_EVERY = 64;  // inputs: starting shells is slow

enum Kind { BASE, PRESET, SETTINGS, COLORS, POSITIONS, LABELS, KINDS };

struct File {
    const char* name;
    const char* content;  // when the input has none
    const char* good_line;
};
constexpr File FILES[KINDS] = {
    {"orvik.midictl.cfg", "21 1 60 3 0 1 2 PLAY_A\n5 5 7 0 0 0 2 VOLUME_A\n",
     "8 9 101 0 0 0 7 GOOD\n"},
    {"orvik.midictl.cfg0.txt.ok", "PLAY_A 61\n", "VOLUME_A 99\n"},
    {"orvik.sys.cfg", "midi_preset=0\n", "product_name=Good\n"},
    {"orvik.color.cfg", "0 \\033[0;37m WHITE\n1 \\033[1;31m RED\n", "2 \\033[1;32m GOOD\n"},
    {"orvik.softlabelpos.cfg", "3 2 ONE\n5 12 TWO\n", "7 2 GOOD\n"},
    {"orvik.miditxt.cfg0.txt.ok", "ONE loop_in 67 RED WHITE\n", "GOOD good_1 68 GOOD RED\n"},
};

// Ends a record that lacks fields, so that it does not take them from the good line.
const std::string GUARD = "# # # # # # #\n";

std::string contents[KINDS];  // without the good lines
bool given[KINDS];

// A byte 0xFF may end the file before what stands after it.
bool is_read_to_its_end(const std::string& content) {
    return content.find('\xFF') == std::string::npos;
}

void truncate_file(const char* path) {
    if (truncate(path, 0) != 0) {
        fail("cannot empty %s", path);
    }
}

void check_text(const char* what, const char* text, size_t size) {
    if (memchr(text, '\0', size) == nullptr) {
        fail("%s has no end", what);
    }
}

// Each message names a line that is there.
void check_diagnostics() {
    static const std::regex place(R"(\.\./resources/([\w.]+):(-?\d+): )");
    const std::string said = fuzz::diagnostics();
    for (std::sregex_iterator at(said.begin(), said.end(), place), end; at != end; ++at) {
        const auto* const file = std::find_if(std::begin(FILES), std::end(FILES),
                                              [&](const File& f) { return f.name == (*at)[1]; });
        if (file == std::end(FILES)) {
            continue;  // in a text that a message quotes
        }
        const std::string& content = contents[file - FILES];
        const long lines = 3 + std::count(content.begin(), content.end(), '\n');
        const long line = std::stol((*at)[2]);
        if (line < 1 || line > lines) {
            fail("a message about line %ld of %ld: %s", line, lines, at->str().c_str());
        }
    }
}

// --- Mapping and preset ---

bool is_at_rest(u16 value) {
    return value == NO_VALUE || value == RELATIVE_MID_VALUE;
}

void check_table() {
    for (int side = 0; side < 2; ++side) {
        for (int i = 0; i < TOTAL_CTL_NUM; ++i) {
            const t_pot_internal& pot = pots[side][i];
            const bool relative = side == BOARD && pot_is_relative_in(i);
            if (pot.vv_in_msg_type != (relative ? MSG_TYPE_RELATIVE : MSG_TYPE_ABSOLUTE) ||
                pot.tick_sent_min > 255 || pot.tick_sent != 0 || pot.pot_status != 0 ||
                !is_at_rest(pot.vv) || !is_at_rest(pot.vv_sent)) {
                fail("record %d, side %d is not at rest", i, side);
            }
            const bool reached = side == BOARD || i <= LAST_REACHED;
            if (!reached && (pot.cc_in | pot.cc_out | pot.ctl_type | pot.add_data) != 0) {
                fail("host record %d has been written", i);
            }
        }
    }
}

// A preset changes the host's numbers and nothing else.
void check_only_host_numbers_differ(t_pot_internal (&before)[2][TOTAL_CTL_NUM]) {
    for (int i = 0; i < TOTAL_CTL_NUM; ++i) {
        before[BOARD][i].cc_out = pots[BOARD][i].cc_out;
        before[HOST][i].cc_in = pots[HOST][i].cc_in;
    }
    if (memcmp(before, pots, sizeof pots) != 0) {
        fail("a preset has changed more than the host's numbers");
    }
}

void load_mapping() {
    memset(pots, 0, sizeof pots);
    pot_init();
    check_table();
    const t_pot_internal& good = pots[BOARD][8];
    if (is_read_to_its_end(contents[BASE]) && (good.cc_in != 9 || good.tick_sent_min != 7)) {
        fail("the good line of the mapping is not applied");
    }
}

void load_preset() {
    t_pot_internal before[2][TOTAL_CTL_NUM];
    memcpy(before, pots, sizeof pots);
    const std::string name = std::string("../resources/") + FILES[PRESET].name;
    FILE* const file = fopen(name.c_str(), "r");
    cfg_scan(file, 0, name.c_str());
    fclose(file);
    check_only_host_numbers_differ(before);
    if (!given[BASE] && is_read_to_its_end(contents[PRESET]) && pots[BOARD][5].cc_out != 99) {
        fail("the good line of the preset is not applied");
    }
}

// --- Settings ---

void check_lookups() {
    for (const char* key : {"midi_channel", "midi_preset", "product_name"}) {
        char value[32];
        memset(value, '#', sizeof value);
        cfg_get_value_from_file(sys_cfg, key, value, 16);
        const size_t length = strnlen(value, sizeof value);
        if (length > 15 || strchr(value, '\n') != nullptr || value[16] != '#') {
            fail("the value of %s: %.32s", key, value);
        }
    }
    cfg_read_midi_channel();  // looks the value up only once in a process
    char channel[16];
    cfg_get_value_from_file(sys_cfg, "midi_channel", channel, sizeof channel);
    set_midi_channel_no(static_cast<u8>(atoi(channel)));
    if (cfg_midi_send_channel_no() > 15) {
        fail("channel %d", cfg_midi_send_channel_no());
    }
}

// The words that modprobe was given, by the shell that ran or as the command has them.
std::string words_of_modprobe() {
    const std::string& command = fuzz::commands.back();
    if (!fuzz::shell_runs) {
        return std::regex_replace(command, std::regex("\""), "");
    }
    const std::string words = commands_called();
    truncate_file("../called");
    return words;
}

void check_gadget() {
    load_midi_gadget();
    const std::string words = words_of_modprobe();
    static const std::string identity = R"([\w.+-]{0,15})";
    static const std::string value = R"([^\x01-\x1F"]{0,15})";
    static const std::string quoted = R"(([^\x01-\x1F"$`\\]|\\[$`\\]){0,15})";
    static const std::regex ran("modprobe \\[g_midi\\] \\[idVendor=" + identity +
                                "\\] \\[idProduct=" + identity + "\\] \\[iManufacturer=" + value +
                                "\\] \\[iProduct=" + value + "\\]\n");
    static const std::regex written("modprobe g_midi idVendor=" + identity + " idProduct=" +
                                    identity + " iManufacturer=" + quoted + " iProduct=" + quoted);
    if (!std::regex_match(words, fuzz::shell_runs ? ran : written)) {
        fail("not the call of modprobe: %s", words.c_str());
    }
    static const std::regex key("product_name", std::regex::icase);
    if (!std::regex_search(contents[SETTINGS], key) &&
        words.find("iProduct=Good") == std::string::npos) {
        fail("the good line of the settings is not used: %s", words.c_str());
    }
}

// --- Labels ---

void check_lists() {
    if (total_soft_label < 0 || total_soft_label > MAX_TOTAL_SOFT_LABELS || total_color_list < 0 ||
        total_valid_soft_label < 0) {
        fail("%d places, %d colours, %d labels", total_soft_label, total_color_list,
             total_valid_soft_label);
    }
    for (const t_labellist& color : colorList) {
        check_text("a colour's sequence", color.label_name, sizeof color.label_name);
        check_text("a colour's name", color.key_name, sizeof color.key_name);
    }
    for (const t_soft_label& label : soft_label_array) {
        check_text("a label", label.label_name, sizeof label.label_name);
        check_text("a place's key", label.key_name, sizeof label.key_name);
        for (const int color : {label.on_color_idx, label.off_color_idx}) {
            if (color < -1 || color >= std::clamp(total_color_list, 1, MAX_LIST_NUM)) {
                fail("a label has colour %d of %d", color, total_color_list);
            }
        }
        if (label.label_name[0] != '\0' && strlen(label.label_name) != MAX_LABEL_LEN) {
            fail("a label of %zu characters", strlen(label.label_name));
        }
    }
}

void check_good_lines() {
    if (is_read_to_its_end(contents[COLORS]) && strcmp(colorList[2].key_name, "GOOD") != 0) {
        fail("the good line of the colours is not applied");
    }
    const int place = idx_keyname_in_soft_label_array("GOOD");
    if (is_read_to_its_end(contents[POSITIONS]) && place < 0 &&
        total_soft_label < MAX_TOTAL_SOFT_LABELS) {
        fail("the good line of the places is not applied");
    }
    if (is_read_to_its_end(contents[LABELS]) && place >= 0 &&
        (soft_label_array[place].cc != 68 ||
         strcmp(soft_label_array[place].label_name, "GOOD 1   ") != 0)) {
        fail("the good line of the labels is not applied");
    }
}

// True when the sequence, as echo reads it, neither ends the output nor goes on into the text.
bool ends_by_itself(const std::string& sequence) {
    static const std::regex open_end(R"(\\[0-7x][0-9A-Fa-f]{0,3}$)");
    return sequence.find("\\c") == std::string::npos && !std::regex_search(sequence, open_end);
}

void draw(u8 pick) {
    if (total_soft_label == 0) {
        return;
    }
    const u8 note = soft_label_array[pick % total_soft_label].cc;
    const int idx = idx_soft_label_ctl(note);
    truncate_file("/dev/tty0");
    const size_t before = fuzz::commands.size();
    sl_check_midi_input(NOTE_ON, note, static_cast<byte>(pick * 5 & DATA_MASK));
    if (fuzz::commands.size() != before + (total_valid_soft_label > 0 ? 1 : 0)) {
        fail("a label was drawn by %zu commands", fuzz::commands.size() - before);
    }
    if (!fuzz::shell_runs || total_valid_soft_label == 0) {
        return;
    }
    const std::string shown = console_got();
    const std::string start =
        "\033[" + std::to_string(x_pos(idx)) + ";" + std::to_string(y_pos(idx)) + "H";
    const std::string end = std::string(label_name(idx)) + "\033[0m";
    const bool by_itself =
        std::all_of(std::begin(colorList), std::end(colorList),
                    [](const t_labellist& color) { return ends_by_itself(color.label_name); });
    if (!shown.starts_with(start) || (by_itself && !shown.ends_with(end))) {
        fail("on the console: %s", fuzz::hex(shown).c_str());
    }
}

void load_labels() {
    std::fill(std::begin(colorList), std::end(colorList), t_labellist());
    std::fill(std::begin(soft_label_array), std::end(soft_label_array), t_soft_label());
    total_color_list = total_soft_label = total_valid_soft_label = 0;
    list_init(TYPE_COLOR_LIST);
    list_init(TYPE_SOFT_LABEL);
    apply_preset();
    check_lists();
    check_good_lines();
}

// --- An input ---

void take_files(const std::string& input) {
    for (int kind = 0; kind < KINDS; ++kind) {
        contents[kind] = FILES[kind].content;
        given[kind] = false;
    }
    for (size_t at = 0; at < input.size();) {
        const size_t end = std::min(input.find(NEXT_FILE, at), input.size());
        if (end > at) {
            const int kind = static_cast<u8>(input[at]) % KINDS;
            contents[kind] = input.substr(at + 1, end - at - 1) + "\n";
            given[kind] = true;
        }
        at = end + 1;
    }
}

void write_files() {
    static std::string there[KINDS];
    for (int kind = 0; kind < KINDS; ++kind) {
        const std::string content =
            contents[kind] + (kind == SETTINGS ? "" : GUARD) + FILES[kind].good_line;
        if (content != there[kind]) {
            write_resource(FILES[kind].name, content);
            there[kind] = content;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    fuzz::set_up(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const fuzz::Input running;
    const std::string input(reinterpret_cast<const char*>(data), size);
    const u8 pick = size > 0 ? data[size - 1] : 0;
    static const bool always = std::getenv("CTLBRIDGE_FUZZ_SHELL") != nullptr;
    fuzz::shell_runs = always || std::hash<std::string>()(input) % SHELL_EVERY == 0;
    dbg_set_msg_level(pick % 8 == 7 ? DBG_GREEN : DBG_DEFAULT);
    take_files(input);
    write_files();
    if (given[BASE] || given[PRESET] || given[SETTINGS]) {
        load_mapping();
        load_preset();
    }
    if (given[SETTINGS]) {
        check_lookups();
        check_gadget();
    }
    if (given[COLORS] || given[POSITIONS] || given[LABELS]) {
        load_labels();
        draw(pick);
    }
    check_diagnostics();
    return 0;
}
