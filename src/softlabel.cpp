#include "softlabel.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "config.h"
#include "debug.h"
#include "target_cfg.h"
#include "utility.h"

t_labellist colorList[MAX_LIST_NUM];
int total_color_list = 0;
t_soft_label soft_label_array[MAX_TOTAL_SOFT_LABELS];
int total_soft_label = 0;
int total_valid_soft_label = 0;
int soft_label_ctl = 0;
const char* const color_list_cfg = COLOR_CFG;
const char* const soft_label_cfg = LABEL_POSITION_CFG;
const char* const soft_label_customize_cfg = CFG_LABELS CFG_CHECKED;

namespace {

constexpr int CMD_LEN = 256;
constexpr useconds_t XFBDEV_WAIT_US = 1000000;
constexpr byte FULL_VELOCITY = 127;

constexpr const char* COLOR_CODE_ARRAY[7] = {
    "\\033[0m",    "\\033[2;31m", "\\033[1;31m", "\\033[1;30m",
    "\\033[2;31m", "\\033[7;30m", "\\033[8;31m",
};

struct list_kind {
    int type;
    const char* const* file_name;
    int (*add_item)(cfg_reader*);
};
constexpr list_kind LIST_KINDS[] = {
    {TYPE_COLOR_LIST, &color_list_cfg, color_list_add_item},
    {TYPE_SOFT_LABEL, &soft_label_cfg, soft_label_add_item},
    {TYPE_SOFT_LABEL_CUSTOMIZED, &soft_label_customize_cfg, customize_soft_label},
};

const list_kind* find_list_kind(int list_type) {
    for (const list_kind& kind : LIST_KINDS) {
        if (kind.type == list_type) {
            return &kind;
        }
    }
    return nullptr;
}

// The sequence is copied between double quotes unchanged, and a text follows it.
bool is_safe_sequence(const char* sequence) {
    const size_t len = strlen(sequence);
    return utl_is_unquoted(sequence, '\\') && sequence[len - 1] != '\\';
}

// Writes a label's text so that `echo -e` between double quotes prints it unchanged.
void escape_text(const char* text, char* escaped, size_t size) {
    char for_echo[2 * MAX_LABEL_LEN + 1];
    size_t len = 0;
    for (int i = 0; i < MAX_LABEL_LEN && text[i] != '\0'; ++i) {
        if (text[i] == '\\') {
            for_echo[len++] = '\\';
        }
        for_echo[len++] = text[i];
    }
    for_echo[len] = '\0';
    utl_quote(for_echo, escaped, size);
}

constexpr int ESCAPED_LABEL_SIZE = 4 * MAX_LABEL_LEN + 1;

// The line that Check_Xfbdev() remembers; first word 0: none. Start-up only.
int check_buf[64];
constexpr int CHECK_LINE_SIZE = 32;
static_assert(CHECK_LINE_SIZE <= sizeof check_buf);

// Special to the shell in a path, or white space.
constexpr const char* NEEDS_QUOTES = "|&;<>()$`\\\"'*?[#~=% \t\n\v\f\r";

void show_splash() {
    char resources[PATH_MAX];
    if (realpath(CFG_RESOURCES, resources) == nullptr) {
        dbg_pmesg(DBG_DEFAULT, "no splash image: errno %d\n", errno);
        return;
    }
    char quoted[2 * PATH_MAX];
    utl_quote(resources, quoted, sizeof quoted);
    const char* const quote = strpbrk(resources, NEEDS_QUOTES) != nullptr ? "\"" : "";
    char command[sizeof quoted + CMD_LEN];
    snprintf(command, sizeof command, "fbsplash -s %s%s/%s%s", quote, quoted,
             total_valid_soft_label != 0 ? SPLASH_WITH_LABELS : SPLASH_WITHOUT_LABELS, quote);
    utl_run(command);
}

}  // namespace

void set_soft_label_ctl(int flag) {
    soft_label_ctl = flag;
}

bool soft_label_enabled() {
    return soft_label_ctl != 0;
}

// --- Lists ---

void list_init(int list_type) {
    const list_kind* const kind = find_list_kind(list_type);
    FILE* const fp = open_list_cfg(list_type);
    if (kind == nullptr || fp == nullptr) {
        return;
    }
    cfg_reader reader = cfg_read_from(fp, *kind->file_name);
    for (int result = 0; result >= 0;) {
        const byte line_class = sl_cfg_invalid_line(&reader, list_type);
        if (line_class == CFG_LINE_END) {
            break;
        }
        if (line_class == CFG_LINE_DATA) {
            result = list_add_item(list_type, &reader);
        }
    }
    fclose(fp);
}

FILE* open_list_cfg(int list_type) {
    const list_kind* const kind = find_list_kind(list_type);
    return kind != nullptr ? cfg_open(*kind->file_name) : nullptr;
}

byte sl_cfg_invalid_line(cfg_reader* reader, [[maybe_unused]] int list_type) {
    return cfg_invalid_line(reader);
}

int list_add_item(int list_type, cfg_reader* reader) {
    const list_kind* const kind = find_list_kind(list_type);
    return kind != nullptr ? kind->add_item(reader) : -1;
}

int sl_read_color(cfg_reader* reader, t_labellist* color) {
    const cfg_field fields[] = {{"index", &color->idx},
                                {"escape sequence", color->label_name},
                                {"colour name", color->key_name}};
    return cfg_read_record(reader, fields);
}

bool sl_accept_color(const cfg_reader& reader, const t_labellist& color) {
    if (color.idx < 0 || color.idx >= MAX_LIST_NUM) {
        cfg_refuse<TEXT_COLOR_IDX>(reader, color.idx, MAX_LIST_NUM - 1);
        return false;
    }
    if (!is_safe_sequence(color.label_name)) {
        cfg_refuse<TEXT_SEQUENCE>(reader, color.label_name);
        return false;
    }
    return true;
}

int sl_read_position(cfg_reader* reader, t_soft_label* position) {
    const cfg_field fields[] = {
        {"row", &position->x_pos}, {"column", &position->y_pos}, {"key name", position->key_name}};
    return cfg_read_record(reader, fields);
}

int sl_read_customization(cfg_reader* reader, sl_customization* line) {
    const cfg_field fields[] = {{"key name", line->key_name},
                                {"label text", line->text},
                                {"note number", &line->note},
                                {"on colour", line->on_color},
                                {"off colour", line->off_color}};
    return cfg_read_record(reader, fields);
}

int color_list_add_item(cfg_reader* reader) {
    t_labellist entry = {};
    const int count = sl_read_color(reader, &entry);
    total_color_list += count > 0 ? 1 : 0;  // else the colours behind it would not be found
    if (count == COLOR_FIELDS && sl_accept_color(*reader, entry)) {
        colorList[entry.idx] = entry;
    }
    return count;
}

int soft_label_add_item(cfg_reader* reader) {
    t_soft_label entry = {};
    const int count = sl_read_position(reader, &entry);
    if (count > 0) {
        dbg_pmesg(DBG_GREEN, "read %s\n", entry.key_name);
    }
    if (count < POSITION_FIELDS) {
        return count;
    }
    if (total_soft_label >= MAX_TOTAL_SOFT_LABELS) {
        cfg_refuse<TEXT_POSITIONS>(*reader, MAX_TOTAL_SOFT_LABELS);
        return count;
    }
    entry.cc = INVALID_CC;
    soft_label_array[total_soft_label] = entry;
    dbg_pmesg(DBG_RED, "have key %s in x:%d y:%d \n", entry.key_name, entry.x_pos, entry.y_pos);
    ++total_soft_label;
    return count;
}

int customize_soft_label(cfg_reader* reader) {
    sl_customization line;
    const int count = sl_read_customization(reader, &line);
    if (count < CUSTOMIZATION_FIELDS) {
        return count;
    }
    const int idx = idx_keyname_in_soft_label_array(line.key_name);
    if (idx < 0) {
        dbg_pmesg(DBG_RED, "invalid key_name %s \n", line.key_name);
        return 0;
    }
    t_soft_label& entry = soft_label_array[idx];
    entry.cc = static_cast<u8>(line.note);
    snprintf(entry.label_name, sizeof entry.label_name, "%.31s", line.text);
    reformat_label(entry.label_name);
    entry.on_color_idx = idx_colorname_in_color_list(line.on_color);
    entry.off_color_idx = idx_colorname_in_color_list(line.off_color);
    ++total_valid_soft_label;
    return count;
}

void reformat_label(char* name) {
    if (strcmp(name, "NA") == 0) {
        name[0] = '\0';
    }
    int len = 0;
    while (len < MAX_LABEL_LEN && strchr("\r\n", name[len]) == nullptr) {  // stops at the null too
        char& c = name[len++];
        if (c == '_') {
            c = ' ';
        } else if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    memset(name + len, ' ', static_cast<size_t>(MAX_LABEL_LEN - len));
    name[MAX_LABEL_LEN] = '\0';
}

int idx_keyname_in_soft_label_array(const char* key_name) {
    for (int i = 0; i < total_soft_label; ++i) {
        if (strcmp(soft_label_array[i].key_name, key_name) == 0) {
            dbg_pmesg(DBG_RED, "key_name %s is in %d \n", key_name, i);
            return i;
        }
    }
    return -1;
}

int idx_colorname_in_color_list(const char* color_name) {
    for (int i = 0; i < std::min(total_color_list, MAX_LIST_NUM); ++i) {
        if (strcmp(colorList[i].key_name, color_name) == 0) {
            dbg_pmesg(DBG_RED, "color_name %s is in %d \n", color_name, i);
            return i;
        }
    }
    return -1;
}

// --- Screen ---

void soft_label_init() {
    set_soft_label_ctl(1);
    if (!soft_label_enabled()) {
        return;
    }
    list_init(TYPE_COLOR_LIST);
    list_init(TYPE_SOFT_LABEL);
    apply_preset();
    screen_init();
    for (int i = 0; i < total_soft_label; ++i) {
        sl_check_midi_input(NOTE_ON, soft_label_array[i].cc, 0);
    }
}

void apply_preset() {
    list_init(TYPE_SOFT_LABEL_CUSTOMIZED);
}

void screen_init() {
    utl_run("killall mixhost");
    utl_run("echo -ne '\\x90\\x00\\x05' > " TTY_DEVICE);
    utl_run("killall Xfbdev");
    check_buf_reset();
    while (Check_Xfbdev()) {
        utl_run("killall Xfbdev");
        usleep(XFBDEV_WAIT_US);
    }
    utl_run("echo -ne '\\x90\\x00\\x00' > " TTY_DEVICE);
    utl_run("fbset -depth 16");
    printf("set up soft-label screen\n");
    utl_run("echo -e \"\x1B[2J\" >" TEXT_CONSOLE);
    show_splash();
}

bool Check_Xfbdev() {
    FILE* const list = popen("ps | grep Xfbdev", "r");
    if (list == nullptr) {
        return false;
    }
    char line[CHECK_LINE_SIZE];
    bool present = fgets(line, sizeof line, list) != nullptr;
    if (present) {
        strchomp(line);
        printf("Check Xfbdev get %s \n", line);
        char* const remembered = reinterpret_cast<char*>(check_buf);
        if (check_buf[0] == 0) {
            memcpy(remembered, line, sizeof line);
        }
        present = strcmp(remembered, line) == 0;
    }
    pclose(list);
    return present;
}

void check_buf_reset() {
    check_buf[0] = 0;
    check_buf[1] = 0;
}

void show_label(int idx, byte b2) {
    char text[ESCAPED_LABEL_SIZE];
    escape_text(label_name(idx), text, sizeof text);
    char command[CMD_LEN];
    snprintf(command, sizeof command, "echo -ne \"\\033[%d;%dH%s%s%s\" > " TEXT_CONSOLE, x_pos(idx),
             y_pos(idx), color(b2, idx), text, color_code(COLOR_OFF));
    dbg_pmesg(DBG_RED, "cmd %s \n", command);
    FILE* const shell = utl_open_shell(command);
    pclose(shell);
}

const char* color(byte b2, int idx) {
    const t_soft_label& label = soft_label_array[idx];
    const int color_idx = b2 != 0 ? label.on_color_idx : label.off_color_idx;
    return colorList[color_idx == -1 ? 0 : color_idx].label_name;
}

const char* color_code(byte b2) {
    constexpr size_t count = sizeof COLOR_CODE_ARRAY / sizeof COLOR_CODE_ARRAY[0];
    const size_t entry = b2 + 1U;
    return COLOR_CODE_ARRAY[entry < count ? entry : 0];
}

int x_pos(int idx) {
    return soft_label_array[idx].x_pos;
}

int y_pos(int idx) {
    return soft_label_array[idx].y_pos;
}

const char* label_name(int idx) {
    return soft_label_array[idx].label_name;
}

// --- Host notes ---

int sl_check_midi_input([[maybe_unused]] byte b0, byte b1, byte b2) {
    dbg_pmesg(DBG_RED, "check sl %d %d \n", b1, b2);
    const int idx = idx_soft_label_ctl(b1);
    if (idx == -1) {
        return 0;
    }
    process_softlabel_ctl(idx, b2);
    return 1;
}

int idx_soft_label_ctl(byte b1) {
    for (int i = 0; i < total_soft_label; ++i) {
        if (soft_label_array[i].cc == b1) {
            return i;
        }
    }
    return -1;
}

void process_softlabel_ctl(int idx, byte b2_in) {
    if (total_valid_soft_label == 0) {
        return;
    }
    dbg_pmesg(DBG_RED, "want to show %d label with %d \n", idx, b2_in);
    const byte velocity = b2_in == FULL_VELOCITY ? 1 : b2_in;
    if ((velocity & MASK_VV_LABEL_CHANGE) == 0) {
        show_label(idx, velocity);
    } else {
        set_soft_label_name(idx, velocity);
    }
}

void set_soft_label_name(int idx, byte b2) {
    t_soft_label& label = soft_label_array[idx];
    label.pre_label_idx = label.cur_label_idx;
    label.cur_label_idx = b2 & ~MASK_VV_LABEL_CHANGE;
    show_label(idx, static_cast<byte>(label.on_color_idx));
}
