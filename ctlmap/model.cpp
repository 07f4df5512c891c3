#include "model.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "pot.h"
#include "stage.h"
#include "target_cfg.h"

namespace ctlmap {
namespace {

constexpr const char* KEYS[SETTINGS] = {"midi_channel", "midi_preset",  "vendor_id",
                                        "product_id",   "manufacturer", "product_name"};
constexpr int SETTING_LEN = 16;
constexpr int INDEX_LEN = 8;
constexpr int MESSAGE_LEN = 512;

// --- The daemon's messages ---

struct said_as {
    const char* words;
    rule_ref rule;
    const char* cure;
};
constexpr said_as SAYINGS[] = {
    {"no line applied", "refused", "save the file as plain text with LF line ends"},
    {" is not a number", "not-a-number",
     "write a whole number there, or the field that is missing before it"},
    {" is not a possible number", "not-a-number", "write a number from 0 to 127"},
    {"the record continues in line", "run-on",
     "give this line all of its fields, and that line too"},
    {"fields missing after", "run-on", "add them"},
    {" (a comment needs a line of its own)", "fields", "put it in the line above"},
    {"fields found", "fields", "write exactly that many, texts as one word"},
    {"not used, there is no", "not-used", "correct what is named, until then it counts as missing"},
    {"byte order mark", "byte-order-mark", "save the file as UTF-8 without a byte order mark"},
    {" cut to ", "cut", "choose a shorter word"},
    {"not a regular file", "missing", "put the file itself there"},
    {"idx ", "refused", "there is no such control; write the index that this line is to have"},
    {"name of ", "refused", "choose a shorter name"},
    {"is more than letters", "refused",
     "rename the control here and in orvik.midictl.cfg, with letters, digits and underscores only"},
    {"index ", "refused", "give the colour the next free index"},
    {"escape sequence ", "refused", "write one such as \\033[1;31m"},
    {"positions already", "refused", "remove a place that no label uses"},
    {"midi_channel ", "refused", "write the channel, one less than most programs count"},
    {"CR LF line ends", "refused", "save the file with LF line ends"},
    {" of vendor_id refused", "refused", "write a number such as 0x1209"},
    {" of product_id refused", "refused", "write a number such as 0x0001"},
    {" refused: a character", "refused", "leave double quotes and control characters out"},
    {"", "refused", "check that the file may be read"},  // all others
};

// The constant that names this file, which outlives the text; null for a file of another name.
const char* known_name(const model& of, std::string_view name) {
    const char* const names[] = {BASE_FILE,   of.preset_file, PRESET_0_FILE, SETTINGS_FILE,
                                 COLORS_FILE, POSITIONS_FILE, LABELS_FILE,   SCRIPT_FILE};
    for (const char* known : names) {
        if (name == known) {
            return known;
        }
    }
    return nullptr;
}

void remove_all(char* text, const char* word) {
    for (char* found = strstr(text, word); found != nullptr; found = strstr(found, word)) {
        memmove(found, found + strlen(word), strlen(found + strlen(word)) + 1);
    }
}

// "FILE:LINE: text" or "FILE: text"; what is neither is not about a file.
void take_message(model* to, char* message) {
    message[strcspn(message, "\n")] = '\0';
    remove_all(message, CFG_RESOURCES);
    char* const colon = strchr(message, ':');
    const char* const file = colon == nullptr
                                 ? nullptr
                                 : known_name(*to, {message, static_cast<size_t>(colon - message)});
    if (file == nullptr) {
        return;
    }
    char* text = colon + 1;
    const long line = strtol(text, &text, 10);
    text += strspn(text, ": ");
    for (const said_as& saying : SAYINGS) {
        if (strstr(text, saying.words) != nullptr) {
            report(&to->said, saying.rule, file, static_cast<int>(line), "%s; %s", text,
                   saying.cure);
            return;
        }
    }
}

void take_messages(model* to, FILE* output) {
    char message[MESSAGE_LEN];
    while (fgets(message, sizeof message, output) != nullptr) {
        take_message(to, message);
    }
}

// --- Records ---

template <typename type, typename read_record>
void read_records(const char* file_name, records<type>* to, read_record read) {
    FILE* const fp = cfg_open(file_name);
    if (fp == nullptr) {
        return;
    }
    cfg_reader reader = cfg_read_from(fp, file_name);
    for (byte line = 0; line != CFG_LINE_END && to->count < MAX_RECORDS;) {
        line = cfg_invalid_line(&reader);
        if (line != CFG_LINE_DATA) {
            continue;
        }
        lined<type>& record = to->items[to->count];
        record = {};
        if (read(&reader, &record)) {
            record.line = reader.first_line;
            ++to->count;
        }
    }
    fclose(fp);
}

bool is_there(const char* file_name) {
    FILE* const fp = cfg_open(file_name);
    if (fp != nullptr) {
        fclose(fp);
    }
    return fp != nullptr;
}

// The first line of the file that grep finds the word in, 0 if it finds none.
int line_with(const char* file_name, const char* word) {
    if (!is_there(file_name)) {
        return 0;
    }
    char command[256];
    snprintf(command, sizeof command, "grep -in %s %s", word, file_name);
    FILE* const output = utl_open_shell(command);
    char line[INDEX_LEN] = "";
    const bool found = fgets(line, sizeof line, output) != nullptr;
    pclose(output);
    return found ? atoi(line) : 0;
}

void read_preset(model* to) {
    if (to->preset_file[0] == '\0') {
        return;
    }
    char file_name[PATH_MAX];
    snprintf(file_name, sizeof file_name, CFG_RESOURCES "%s", to->preset_file);
    read_records(file_name, &to->preset_source, cfg_read_preset_record);
    snprintf(file_name, sizeof file_name, CFG_RESOURCES "%s" CFG_CHECKED, to->preset_file);
    to->preset_found = is_there(file_name);
    read_records(file_name, &to->preset, [](cfg_reader* reader, preset_target* record) {
        if (!cfg_read_preset_record(reader, record)) {
            return false;
        }
        char idx[INDEX_LEN];
        record->found_line = line_with(cfgname, record->name);
        record->idx = get_field_data(cfgname, record->name, 1, INDEX_LEN, idx) ? atoi(idx) : -1;
        return true;
    });
}

void read_settings(model* to) {
    for (int i = 0; i < SETTINGS; ++i) {
        setting& one = to->settings[i];
        one.key = KEYS[i];
        one.line = line_with(sys_cfg, one.key);
        cfg_get_value_from_file(sys_cfg, one.key, one.value, SETTING_LEN);
    }
    const char* const preset = to->of(PRESET).value;
    to->preset_no = preset[0] == '\0' ? -1 : atoi(preset);
    if (to->preset_no >= 0) {
        snprintf(to->preset_file, sizeof to->preset_file, "%s%d.txt", BASE_FILE, to->preset_no);
    }
    to->channel = cfg_midi_channel_no() == INVALID_NUM ? -1 : cfg_midi_channel_no();
}

// As the daemon starts, without what acts on the computer.
void start_up(model* to) {
    cfg_check_files();
    to->preset_0_copied = is_there(CFG_PRESET_0 CFG_CHECKED);
    to->labels_copied = is_there(CFG_LABELS CFG_CHECKED);
    pot_init();
    get_gadget_values(&to->gadget);
    for (const int list : {TYPE_COLOR_LIST, TYPE_SOFT_LABEL, TYPE_SOFT_LABEL_CUSTOMIZED}) {
        list_init(list);
    }
}

// What the daemon has read, once more, with the lines.
void read_again(model* to) {
    read_settings(to);
    read_records(cfgname, &to->base, cfg_read_base_record);
    read_preset(to);
    read_records(color_list_cfg, &to->colors, [](cfg_reader* reader, t_labellist* record) {
        return sl_read_color(reader, record) == COLOR_FIELDS && sl_accept_color(*reader, *record);
    });
    read_records(soft_label_cfg, &to->positions, [](cfg_reader* reader, t_soft_label* record) {
        return sl_read_position(reader, record) == POSITION_FIELDS;
    });
    read_records(soft_label_customize_cfg, &to->labels,
                 [](cfg_reader* reader, sl_customization* record) {
                     return sl_read_customization(reader, record) == CUSTOMIZATION_FIELDS;
                 });
}

}  // namespace

bool load(const char* dir, model* to) {
    snprintf(to->dir, sizeof to->dir, "%s", dir);
    for (size_t len = strlen(to->dir); len > 1 && to->dir[len - 1] == '/'; --len) {
        to->dir[len - 1] = '\0';
    }
    to->preset_no = -1;
    stage at;
    if (!enter(&at, dir)) {
        return false;
    }
    to->base_found = is_there(cfgname);
    if (to->base_found) {
        start_up(to);
        read_again(to);
    }
    leave(&at);
    take_messages(to, at.output);
    fclose(at.output);
    return true;
}

FILE* open_file(const model& of, const char* file) {
    char path[2 * PATH_MAX];
    snprintf(path, sizeof path, "%s/%s", of.dir, file);
    struct stat status;
    const bool regular = stat(path, &status) == 0 && S_ISREG(status.st_mode);
    return regular ? fopen(path, "re") : nullptr;
}

lines::~lines() {
    if (fp_ != nullptr) {
        fclose(fp_);
    }
}

bool lines::next() {
    size_t len = 0;
    int c = fp_ != nullptr ? fgetc(fp_) : EOF;
    if (c == EOF) {
        return false;
    }
    for (; c != EOF && c != '\n'; c = fgetc(fp_)) {
        if (len + 1 < sizeof text_) {
            text_[len++] = c == '\0' ? '?' : static_cast<char>(c);
        }
    }
    text_[len] = '\0';
    ++number_;
    return true;
}

bool read_line(const model& of, const char* file, int line, char* text, size_t size) {
    text[0] = '\0';
    for (lines in(of, file); in.next();) {
        if (in.number() == line) {
            snprintf(text, size, "%s", in.text());
            return true;
        }
    }
    return false;
}

}  // namespace ctlmap
