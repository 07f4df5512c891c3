#include "config.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "debug.h"
#include "pot.h"
#include "target_cfg.h"
#include "utility.h"

const char* const cfgname = MIDI_CTL_CFG;
const char* const sys_cfg = SYS_CFG;
FILE* fp_cfg = nullptr;

namespace {

constexpr int MAX_NAME_LEN = 63;
constexpr int LOOKUP_CMD_LEN = 256;
constexpr int PRESET_NAME_LEN = 256;
constexpr int INDEX_LEN = 8;
constexpr int REPORT_LEN = 256;
constexpr int SETTING_LEN = 16;
constexpr int BASE_FORM_PRESET_NO = -1;
constexpr int END_OF_FILE_BYTE = 0xFF;

constexpr cfg_form BASE_FORM = {"ddddddds",
                                "idx cf_cc app_cc ctl_type data_type add_data add_data2 name"};
constexpr cfg_form PRESET_FORM = {"sd", "name app_cc"};
constexpr const char* INDEX_EXPECTED = "an index of 0 to 84";
constexpr const char* NAME_EXPECTED =
    "a name of at most 63 letters, digits, underscores and, not first, minus, dot, plus";

constexpr u8 MIDI_CHANNELS = 16;
u8 midi_channel_no = INVALID_NUM;

bool is_line_end(int c) {
    return c == EOF || c == '\n' || c == '\r';
}

bool is_blank(int c) {
    return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

// Reads one word behind any blanks. False, with an empty word, at the end of the line, which stays.
bool read_word(FILE* fp, char (&word)[CFG_WORD_LEN]) {
    int c = fgetc(fp);
    while (is_blank(c)) {
        c = fgetc(fp);
    }
    int len = 0;
    for (; !is_blank(c) && !is_line_end(c); c = fgetc(fp)) {
        if (len < CFG_WORD_LEN - 1) {
            word[len++] = c == '\0' ? '\x01' : static_cast<char>(c);  // fits no form
        }
    }
    ungetc(c, fp);
    word[len] = '\0';
    return len > 0;
}

void skip_line(FILE* fp) {
    while (!is_line_end(fgetc(fp))) {
    }
}

bool is_number(const char* word) {
    char* end;
    errno = 0;  // long is no wider than int on the controller: only ERANGE tells
    const long value = strtol(word, &end, 10);
    return *end == '\0' && errno == 0 && value >= INT_MIN && value <= INT_MAX &&
           strlen(word) < CFG_WORD_LEN - 1;
}

// The number of the line that ends where the file stands, counted anew: only messages need it.
int current_line(FILE* fp) {
    const long end = ftell(fp);
    rewind(fp);
    int line = 1;
    for (long i = 0; i + 1 < end; ++i) {
        line += fgetc(fp) == '\n' ? 1 : 0;
    }
    fseek(fp, end, SEEK_SET);
    return line;
}

bool is_name(const char* name) {
    const auto is_word = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               c == '_';
    };
    if (!is_word(name[0]) || strlen(name) > MAX_NAME_LEN) {
        return false;
    }
    for (const char* c = name + 1; *c != '\0'; ++c) {
        if (!is_word(*c) && strchr("-.+", *c) == nullptr) {
            return false;
        }
    }
    return true;
}

void apply_base_line(FILE* fp, const char* file_name) {
    cfg_fields line;
    if (!cfg_read_fields(fp, file_name, BASE_FORM, &line)) {
        return;
    }
    int number[7];
    for (int i = 0; i < 7; ++i) {
        number[i] = atoi(line.field[i]);
    }
    if (number[0] < 0 || number[0] >= TOTAL_CFG_ITEM) {
        cfg_refuse_line(fp, file_name, INDEX_EXPECTED);
        return;
    }
    const char* const name = line.field[7];
    if (strlen(name) > MAX_NAME_LEN) {
        cfg_refuse_line(fp, file_name, NAME_EXPECTED);
        return;
    }
    dbg_pmesg(DBG_GREEN, "read %d %d %d %d %d %d %d %s\n", number[0], number[1], number[2],
              number[3], number[4], number[5], number[6], name);
    pot_set_para(number[0], number[1], number[2], number[3], number[4], number[5], number[6]);
}

void apply_preset_line(FILE* fp, const char* file_name) {
    cfg_fields line;
    if (!cfg_read_fields(fp, file_name, PRESET_FORM, &line)) {
        return;
    }
    const char* const name = line.field[0];
    const int app_cc = atoi(line.field[1]);
    if (!is_name(name)) {
        cfg_refuse_line(fp, file_name, NAME_EXPECTED);
        return;
    }
    dbg_pmesg(DBG_GREEN, "read %s %d\n", name, app_cc);
    char idx[INDEX_LEN];
    if (get_field_data(cfgname, name, 1, INDEX_LEN, idx)) {
        pot_set_app_cc(atoi(idx), 0, app_cc);
    }
}

// Reads the first line that a shell command prints. False, and the empty text, when there is none.
bool first_output_line(const char* command, char* line, int len) {
    FILE* const output = popen(command, "r");
    if (output == nullptr) {
        abort();
    }
    const bool found = fgets(line, len, output) != nullptr;
    if (found) {
        strchomp(line);
    } else {
        line[0] = '\0';
    }
    pclose(output);
    return found;
}

void check_file(const char* source, const char* remove, const char* check) {
    utl_run(remove);
    FILE* const fp = fopen(source, "r");
    if (fp != nullptr) {
        fclose(fp);
        utl_run(check);
    }
}

}  // namespace

// --- Lines of hand-edited files ---

byte cfg_invalid_line(FILE* fp) {
    int c = fgetc(fp);
    if (c == EOF || c == END_OF_FILE_BYTE) {
        return CFG_LINE_END;
    }
    if (c == '\n' || c == '\r') {
        return CFG_LINE_SKIPPED;
    }
    if (c != '#' && c != ' ') {
        ungetc(c, fp);
        return CFG_LINE_DATA;
    }
    while (c != '\n') {
        c = fgetc(fp);
        if (c == EOF || c == END_OF_FILE_BYTE) {
            return CFG_LINE_END;
        }
    }
    return CFG_LINE_SKIPPED;
}

bool cfg_read_fields(FILE* fp, const char* file_name, const cfg_form& form, cfg_fields* fields) {
    bool good = true;
    for (int i = 0; form.kinds[i] != '\0'; ++i) {
        good &= read_word(fp, fields->field[i]);
        good &= form.kinds[i] != 'd' || is_number(fields->field[i]);
    }
    skip_line(fp);
    if (!good) {
        cfg_refuse_line(fp, file_name, form.expected);
    }
    return good;
}

void cfg_report_line(FILE* fp, const char* file_name, const char* format, ...) {
    char text[REPORT_LEN];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    dbg_pmesg(DBG_DEFAULT, "%s:%d: %s\n", file_name, current_line(fp), text);
}

void cfg_refuse_line(FILE* fp, const char* file_name, const char* expected) {
    cfg_report_line(fp, file_name, "expected %s; line skipped", expected);
}

// --- Mapping ---

void cfg_test() {
    cfg_init();
    cfg_scan(fp_cfg, BASE_FORM_PRESET_NO, nullptr);
    cfg_exit();
    cfg_read_midi_channel();
    cfg_apply_midi_preset();
}

void cfg_init() {
    if (fp_cfg == nullptr) {
        fp_cfg = fopen(cfgname, "r");
    }
    if (fp_cfg == nullptr) {
        printf("error in open %s\n", cfgname);
        exit(0);
    }
}

void cfg_scan(FILE* p_scan, int preset_no, const char* file_name) {
    const char* const name = file_name != nullptr ? file_name : cfgname;
    for (;;) {
        const byte line_class = cfg_invalid_line(p_scan);
        if (line_class == CFG_LINE_END) {
            return;
        }
        if (line_class == CFG_LINE_SKIPPED) {
            continue;
        }
        if (preset_no == BASE_FORM_PRESET_NO) {
            apply_base_line(p_scan, name);
        } else {
            apply_preset_line(p_scan, name);
        }
    }
}

bool get_field_data(const char* file_name, const char* pattern, int field_no, int field_len,
                    char* field_data) {
    char command[LOOKUP_CMD_LEN];
    snprintf(command, sizeof command, "grep -i %s %s | cut -d' ' -f%d", pattern, file_name,
             field_no);
    dbg_pmesg(DBG_RED, " get field %s \n", command);
    const bool found = first_output_line(command, field_data, field_len);
    dbg_pmesg(DBG_RED, " got %s \n", field_data);
    return found;
}

void cfg_apply_midi_preset() {
    char preset[SETTING_LEN];
    cfg_get_value_from_file(sys_cfg, "midi_preset", preset, SETTING_LEN);
    if (preset[0] == '\0') {
        return;
    }
    dbg_pmesg(DBG_RED, "got preset %s \n", preset);
    const int preset_no = atoi(preset);
    char file_name[PRESET_NAME_LEN];
    snprintf(file_name, sizeof file_name, "%s%d.txt.ok", cfgname, preset_no);
    FILE* const fp = fopen(file_name, "r");
    if (fp == nullptr) {
        dbg_pmesg(DBG_RED, "no preset file %s \n", file_name);
        return;
    }
    cfg_scan(fp, preset_no, file_name);
    fclose(fp);
}

void cfg_exit() {
    if (fp_cfg != nullptr) {
        printf("read config exit\n");
        fclose(fp_cfg);
        fp_cfg = nullptr;
    }
}

// --- Settings ---

void cfg_get_value_from_file(const char* p_cfg_file, const char* p_cfg_name, char* p_cfg_value,
                             int len) {
    char command[LOOKUP_CMD_LEN];
    snprintf(command, sizeof command, "grep -i %s %s | cut -d'=' -f2", p_cfg_name, p_cfg_file);
    first_output_line(command, p_cfg_value, len);
}

void strchomp(char* str) {
    char* const newline = str != nullptr ? strchr(str, '\n') : nullptr;
    if (newline != nullptr) {
        *newline = '\0';
    }
}

// --- MIDI channel ---

u8 cfg_midi_channel_no() {
    return midi_channel_no;
}

u8 cfg_midi_send_channel_no() {
    return midi_channel_no == INVALID_NUM ? 0 : midi_channel_no;
}

void set_midi_channel_no(u8 new_no) {
    if (new_no < MIDI_CHANNELS) {
        midi_channel_no = new_no;
    }
}

void cfg_set_midi_channel_no(u8 new_no) {
    set_midi_channel_no(new_no);
}

void cfg_read_midi_channel() {
    if (midi_channel_no != INVALID_NUM) {
        return;
    }
    char value[SETTING_LEN];
    cfg_get_value_from_file(sys_cfg, "midi_channel", value, SETTING_LEN);
    set_midi_channel_no(static_cast<u8>(atoi(value)));
    if (midi_channel_no == INVALID_NUM) {
        dbg_pmesg(DBG_DEFAULT,
                  "%s: midi_channel \"%s\" refused: expected 0 to 15; "
                  "sending on channel 0, host channel messages are dropped\n",
                  sys_cfg, value);
    }
}

bool cfg_check_midi_channel_no(u8 b0) {
    return (b0 & CHANNEL_MASK) == midi_channel_no;
}

// --- Check of hand-edited files ---

void cfg_check_files() {
    check_file(CFG_RESOURCES "orvik.midictl.cfg0.txt",
               "rm " CFG_RESOURCES "orvik.midictl.cfg0.txt.ok",
               CFG_RESOURCES "check_field_num.sh " CFG_RESOURCES "orvik.midictl.cfg0.txt 2");
    check_file(CFG_RESOURCES "orvik.miditxt.cfg0.txt",
               "rm " CFG_RESOURCES "orvik.miditxt.cfg0.txt.ok",
               CFG_RESOURCES "check_field_num.sh " CFG_RESOURCES "orvik.miditxt.cfg0.txt 5");
}
