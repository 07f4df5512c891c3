#include "config.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "debug.h"
#include "pot.h"
#include "target_cfg.h"
#include "utility.h"

const char* const cfgname = MIDI_CTL_CFG;
const char* const sys_cfg = SYS_CFG;
FILE* fp_cfg = nullptr;

namespace {

constexpr int LOOKUP_CMD_LEN = 256;
constexpr int INDEX_LEN = 8;
constexpr int SHOWN_LEN = 32;  // of a word that a message quotes
constexpr int SETTING_LEN = 16;
constexpr int BASE_FORM_PRESET_NO = -1;
constexpr int END_OF_FILE_BYTE = 0xFF;
constexpr char BYTE_ORDER_MARK[] = "\xEF\xBB\xBF";

u8 midi_channel_no = INVALID_NUM;  // written at start, then only read

// --- Bytes and words ---

int take(cfg_reader* reader) {
    const int c = fgetc(reader->fp);
    if (c != EOF) {
        reader->line += reader->line_ended ? 1 : 0;
        reader->line_ended = c == '\n';
    }
    return c;
}

int peek(const cfg_reader& reader) {
    return ungetc(fgetc(reader.fp), reader.fp);
}

bool is_white(int c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool is_digit(int c) {
    return c >= '0' && c <= '9';
}

void skip_white(cfg_reader* reader) {
    while (is_white(peek(*reader))) {
        take(reader);
    }
}

// The line that the next byte stands in.
int next_line(const cfg_reader& reader) {
    return reader.line + (reader.line_ended ? 1 : 0);
}

// True when the next byte stands in a later line than the record began in.
bool runs_on(const cfg_reader& reader) {
    return next_line(reader) != reader.first_line;
}

void skip_line(cfg_reader* reader) {
    for (int c = 0; c != EOF && c != '\n' && c != '\r';) {
        c = take(reader);
    }
}

// A word as messages quote it.
struct shown_word {
    char text[SHOWN_LEN + 1] = {};
    int len = 0;

    void add(int c) {
        if (len < SHOWN_LEN) {
            text[len++] = c == '\0' ? '?' : static_cast<char>(c);
        }
    }
};

// True for a byte that the field can begin with.
bool begins(int c, const cfg_field& field) {
    return field.number == nullptr || is_digit(c) || c == '-' || c == '+';
}

// Takes an optional sign and the digits after it; whatever follows them stays in the file.
bool take_number(cfg_reader* reader, const cfg_field& field) {
    constexpr long long beyond = static_cast<long long>(INT_MAX) + 2;
    shown_word word;
    const bool negative = peek(*reader) == '-';
    if (negative || peek(*reader) == '+') {
        word.add(take(reader));
    }
    const bool has_digits = is_digit(peek(*reader));
    long long value = 0;
    for (; is_digit(peek(*reader)); word.add(take(reader))) {
        value = std::min(10 * value + peek(*reader) - '0', beyond);
    }
    value = negative ? -value : value;
    if (has_digits && value >= INT_MIN && value <= INT_MAX) {
        *field.number = static_cast<int>(value);
        return true;
    }
    while (!runs_on(*reader) && !is_white(peek(*reader)) && peek(*reader) != EOF) {
        word.add(take(reader));
    }
    if (strncmp(word.text, BYTE_ORDER_MARK, strlen(BYTE_ORDER_MARK)) == 0) {
        cfg_refuse<TEXT_BYTE_ORDER_MARK>(*reader, word.text + strlen(BYTE_ORDER_MARK));
    } else if (has_digits) {
        cfg_refuse<TEXT_NOT_POSSIBLE>(*reader, field.name, word.text);
    } else {
        cfg_refuse<TEXT_NOT_A_NUMBER>(*reader, field.name, word.text);
    }
    return false;
}

// Takes everything up to the next white space.
bool take_text(cfg_reader* reader, const cfg_field& field) {
    size_t len = 0;
    for (; !is_white(peek(*reader)) && peek(*reader) != EOF; ++len) {
        const int c = take(reader);
        if (len + 1 < field.size) {
            field.text[len] = c == '\0' ? '?' : static_cast<char>(c);
        }
    }
    const size_t most = field.size - 1;
    field.text[std::min(len, most)] = '\0';
    if (len > most && field.whole) {
        cfg_refuse<TEXT_TOO_LONG>(*reader, field.name, len, most);
        return false;
    }
    if (len > most) {
        cfg_report<TEXT_CUT>(*reader, field.name, most, field.text);
    }
    return true;
}

// --- Applying records ---

// Each reads one record, applies it and returns whether it did.
bool apply_base_record(cfg_reader* reader) {
    cfg_base_record record = {};
    if (!cfg_read_base_record(reader, &record)) {
        return false;
    }
    pot_set_para(record.idx, record.cf_cc, record.app_cc, record.ctl_type, record.data_type,
                 record.add_data, record.add_data2);
    return true;
}

bool apply_preset_record(cfg_reader* reader) {
    cfg_preset_record record = {};
    if (!cfg_read_preset_record(reader, &record)) {
        return false;
    }
    char idx[INDEX_LEN];
    if (get_field_data(cfgname, record.name, 1, INDEX_LEN, idx)) {
        pot_set_app_cc(atoi(idx), 0, record.app_cc);
    }
    return true;
}

// Says what is in a file of which no record could be applied.
const char* describe_file(FILE* fp) {
    u8 bytes[512] = {};
    rewind(fp);
    const size_t count = fread(bytes, 1, sizeof bytes, fp);
    const auto has = [&](int c) { return memchr(bytes, c, count) != nullptr; };
    const struct {
        bool applies;
        const char* what;
    } looks[] = {
        {count == 0, "an empty file"},
        {has('\0'), "bytes 0, as in UTF-16"},
        {bytes[0] == END_OF_FILE_BYTE, "a byte 0xFF, which ends the file, at its start"},
        {has('\r') && !has('\n'), "line ends of CR alone"},
        {true, "only comments, empty lines and lines that were skipped"},
    };
    return std::find_if(std::begin(looks), std::end(looks),
                        [](const auto& look) { return look.applies; })
        ->what;
}

// --- Lookups ---

// False for a directory, a FIFO or a device, which is reported once. True for a missing file.
bool is_regular(const char* file_name) {
    static char reported[CFG_PATH_LEN];
    struct stat status;
    if (stat(file_name, &status) != 0 || S_ISREG(status.st_mode)) {
        return true;
    }
    if (strcmp(reported, file_name) != 0) {
        dbg_about<TEXT_NOT_REGULAR>(file_name, 0, "");
        snprintf(reported, sizeof reported, "%s", file_name);
    }
    return false;
}

// Runs a command that looks something up in a file and reads the first line of its output. False,
// and the empty text, when there is none.
bool look_up(const char* file_name, const char* command, char* line, int len) {
    line[0] = '\0';
    if (!is_regular(file_name)) {
        return false;
    }
    FILE* const output = utl_open_shell(command);
    const bool found = fgets(line, len, output) != nullptr;
    strchomp(line);
    pclose(output);
    return found;
}

// --- Check of hand-edited files ---

void check_file(const char* source, const char* remove, const char* check) {
    utl_run(remove);
    FILE* const fp = cfg_open(source);
    if (fp != nullptr) {
        fclose(fp);
        utl_run(check);
    }
}

}  // namespace

// --- Start-up ---

void cfg_check_files() {
    check_file(CFG_PRESET_0, "rm " CFG_PRESET_0 CFG_CHECKED,
               CFG_CHECK_SCRIPT " " CFG_PRESET_0 " 2");
    check_file(CFG_LABELS, "rm " CFG_LABELS CFG_CHECKED, CFG_CHECK_SCRIPT " " CFG_LABELS " 5");
}

void cfg_test() {
    cfg_init();
    cfg_scan(fp_cfg, BASE_FORM_PRESET_NO, nullptr);
    cfg_exit();
    cfg_read_midi_channel();
    cfg_apply_midi_preset();
}

void cfg_get_value_from_file(const char* p_cfg_file, const char* p_cfg_name, char* p_cfg_value,
                             int len) {
    char command[LOOKUP_CMD_LEN];
    snprintf(command, sizeof command, "grep -i %s %s | cut -d'=' -f2", p_cfg_name, p_cfg_file);
    look_up(p_cfg_file, command, p_cfg_value, len);
}

// --- MIDI channel ---

u8 cfg_midi_channel_no() {
    return midi_channel_no;
}

u8 cfg_midi_send_channel_no() {
    return midi_channel_no == INVALID_NUM ? 0 : midi_channel_no;
}

void cfg_set_midi_channel_no(u8 new_no) {
    set_midi_channel_no(new_no);
}

bool cfg_check_midi_channel_no(u8 b0) {
    return (b0 & CHANNEL_MASK) == midi_channel_no;
}

// --- Reading files of records ---

FILE* cfg_open(const char* file_name) {
    return is_regular(file_name) ? fopen(file_name, "re") : nullptr;
}

cfg_reader cfg_read_from(FILE* fp, const char* file_name) {
    cfg_reader reader{fp};
    const std::string_view name = file_name;
    if (name.ends_with(CFG_CHECKED)) {
        const size_t source_len = name.size() - strlen(CFG_CHECKED);
        snprintf(reader.name, sizeof reader.name, "%.*s", static_cast<int>(source_len), file_name);
    }
    if (reader.name[0] == '\0' || access(reader.name, F_OK) != 0) {
        snprintf(reader.name, sizeof reader.name, "%s", file_name);
    }
    return reader;
}

byte cfg_invalid_line(cfg_reader* reader) {
    const int first = peek(*reader);
    if (first == EOF || first == END_OF_FILE_BYTE) {
        return CFG_LINE_END;
    }
    if (first == '\n' || first == '\r') {
        take(reader);
        return CFG_LINE_SKIPPED;
    }
    if (first != '#' && first != ' ') {
        return CFG_LINE_DATA;
    }
    for (int c = first; c != '\n';) {
        c = take(reader);
        if (c == EOF || c == END_OF_FILE_BYTE) {
            return CFG_LINE_END;
        }
    }
    return CFG_LINE_SKIPPED;
}

int cfg_read_record(cfg_reader* reader, std::span<const cfg_field> fields) {
    const int count = static_cast<int>(fields.size());
    reader->first_line = next_line(*reader);
    for (int i = 0; i < count; ++i) {
        const cfg_field& field = fields[static_cast<size_t>(i)];
        skip_white(reader);
        const bool ended = peek(*reader) == EOF;
        const bool missing = ended || (runs_on(*reader) && !begins(peek(*reader), field));
        if (missing && i == 0) {
            return ended ? -1 : 0;
        }
        if (missing) {
            cfg_refuse<TEXT_FIELDS_MISSING>(*reader, fields[static_cast<size_t>(i - 1)].name, i,
                                            count);
            return i;
        }
        if (i == 0) {
            reader->first_line = next_line(*reader);
        }
        if (!(field.number != nullptr ? take_number(reader, field) : take_text(reader, field))) {
            if (!runs_on(*reader)) {
                skip_line(reader);
            }
            return i;
        }
    }
    if (reader->line != reader->first_line) {
        cfg_report<TEXT_CONTINUES>(*reader, reader->line);
    }
    return count;
}

cfg_skipped::cfg_skipped(const cfg_reader& reader) : text("; line skipped") {
    if (reader.line != reader.first_line) {
        snprintf(text, sizeof text, "; lines %d to %d skipped", reader.first_line, reader.line);
    }
}

// --- Records of the mapping ---

bool cfg_read_base_record(cfg_reader* reader, cfg_base_record* record) {
    const cfg_field fields[] = {{"idx", &record->idx},
                                {"cf_cc", &record->cf_cc},
                                {"app_cc", &record->app_cc},
                                {"ctl_type", &record->ctl_type},
                                {"data_type", &record->data_type},
                                {"add_data", &record->add_data},
                                {"add_data2", &record->add_data2},
                                {"name", record->name, true}};
    const int count = cfg_read_record(reader, fields);
    if (count > 0) {
        dbg_pmesg(DBG_GREEN, "read %d %d %d %d %d %d %d %s\n", record->idx, record->cf_cc,
                  record->app_cc, record->ctl_type, record->data_type, record->add_data,
                  record->add_data2, record->name);
    }
    if (count < static_cast<int>(std::size(fields))) {
        return false;
    }
    if (record->idx < 0 || record->idx >= TOTAL_CFG_ITEM) {
        cfg_refuse<TEXT_IDX>(*reader, record->idx, TOTAL_CFG_ITEM - 1);
        return false;
    }
    return true;
}

bool cfg_read_preset_record(cfg_reader* reader, cfg_preset_record* record) {
    const cfg_field fields[] = {{"name", record->name, true}, {"app_cc", &record->app_cc}};
    const int count = cfg_read_record(reader, fields);
    if (count > 0) {
        dbg_pmesg(DBG_GREEN, "read %s %d\n", record->name, record->app_cc);
    }
    if (count < static_cast<int>(std::size(fields))) {
        return false;
    }
    if (!utl_is_bare_word(record->name)) {
        cfg_refuse<TEXT_NAME>(*reader, record->name);
        return false;
    }
    return true;
}

// --- Steps of the above ---

void cfg_init() {
    if (fp_cfg == nullptr) {
        fp_cfg = cfg_open(cfgname);
    }
    if (fp_cfg == nullptr) {
        printf("error in open %s\n", cfgname);
        exit(0);
    }
}

void cfg_scan(FILE* p_scan, int preset_no, const char* file_name) {
    const bool base_form = preset_no == BASE_FORM_PRESET_NO;
    const auto apply_record = base_form ? apply_base_record : apply_preset_record;
    cfg_reader reader = cfg_read_from(p_scan, file_name != nullptr ? file_name : cfgname);
    int applied = 0;
    for (byte line = 0; line != CFG_LINE_END;) {
        line = cfg_invalid_line(&reader);
        if (line == CFG_LINE_DATA) {
            applied += apply_record(&reader) ? 1 : 0;
        }
    }
    if (base_form && applied == 0) {
        dbg_about<TEXT_NONE_APPLIED>(reader.name, 0, "", describe_file(p_scan));
    }
}

void cfg_exit() {
    if (fp_cfg != nullptr) {
        printf("read config exit\n");
        fclose(fp_cfg);
        fp_cfg = nullptr;
    }
}

void cfg_read_midi_channel() {
    if (midi_channel_no != INVALID_NUM) {
        return;
    }
    char value[SETTING_LEN];
    cfg_get_value_from_file(sys_cfg, "midi_channel", value, SETTING_LEN);
    set_midi_channel_no(static_cast<u8>(atoi(value)));
    if (midi_channel_no == INVALID_NUM) {
        dbg_about<TEXT_CHANNEL>(sys_cfg, 0, "", value);
    }
}

void cfg_apply_midi_preset() {
    char preset[SETTING_LEN];
    cfg_get_value_from_file(sys_cfg, "midi_preset", preset, SETTING_LEN);
    if (preset[0] == '\0') {
        return;
    }
    dbg_pmesg(DBG_RED, "got preset %s \n", preset);
    const int preset_no = atoi(preset);
    char file_name[CFG_PATH_LEN];
    snprintf(file_name, sizeof file_name, "%s%d.txt" CFG_CHECKED, cfgname, preset_no);
    FILE* const fp = cfg_open(file_name);
    if (fp == nullptr) {
        dbg_pmesg(DBG_RED, "no preset file %s \n", file_name);
        return;
    }
    cfg_scan(fp, preset_no, file_name);
    fclose(fp);
}

bool get_field_data(const char* file_name, const char* pattern, int field_no, int field_len,
                    char* field_data) {
    char command[LOOKUP_CMD_LEN];
    snprintf(command, sizeof command, "grep -i %s %s | cut -d' ' -f%d", pattern, file_name,
             field_no);
    dbg_pmesg(DBG_RED, " get field %s \n", command);
    const bool found = look_up(file_name, command, field_data, field_len);
    dbg_pmesg(DBG_RED, " got %s \n", field_data);
    return found;
}

void strchomp(char* str) {
    char* const newline = str != nullptr ? strchr(str, '\n') : nullptr;
    if (newline != nullptr) {
        *newline = '\0';
    }
}

void set_midi_channel_no(u8 new_no) {
    if (new_no < MIDI_CHANNELS) {
        midi_channel_no = new_no;
    }
}
