// Configuration: mapping files and presets, the settings file, the MIDI channel, and the check of
// hand-edited files.
#pragma once

#include <cstddef>
#include <cstdio>
#include <span>

#include "common.h"
#include "debug.h"

constexpr u8 INVALID_NUM = 0xFF;  // the channel while none is set

extern const char* const cfgname;  // base mapping file, and the stem of preset names
extern const char* const sys_cfg;  // settings file

// --- Start-up ---

// Deletes the checked copies and runs the check script to make new ones.
void cfg_check_files();

// Loads the whole configuration: base mapping, channel, preset.
void cfg_test();

// Looks a key up in a settings file and returns its value, at most `len` - 1 characters, or the
// empty text. Ends the program when the shell cannot be started.
void cfg_get_value_from_file(const char* p_cfg_file, const char* p_cfg_name, char* p_cfg_value,
                             int len);

// --- MIDI channel, 0 to 15 ---

// The channel, or INVALID_NUM while none is set.
u8 cfg_midi_channel_no();

// The channel of messages to the host: the channel, or 0 while none is set.
u8 cfg_midi_send_channel_no();

// Takes the channel from the command line; a number above 15 is ignored.
void cfg_set_midi_channel_no(u8 new_no);

// True when the low four bits of a status byte are the channel.
bool cfg_check_midi_channel_no(u8 b0);

// --- Reading files of records ---

constexpr int CFG_PATH_LEN = 256;
constexpr byte CFG_LINE_DATA = 0;
constexpr byte CFG_LINE_SKIPPED = 1;
constexpr byte CFG_LINE_END = 0xFF;

// A file and the place in it, which messages name.
struct cfg_reader {
    FILE* fp = nullptr;
    char name[CFG_PATH_LEN] = "";
    int line = 1;        // of the byte taken last
    int first_line = 1;  // where the record read last begins
    bool line_ended = false;
};

// One field of a record and where it goes: a number, or a text of `size` bytes with its null. A
// longer text is cut, with a message, unless it must be `whole`.
struct cfg_field {
    cfg_field(const char* field_name, int* to) : name(field_name), number(to) {}
    template <size_t text_size>
    cfg_field(const char* field_name, char (&to)[text_size], bool must_be_whole = false)
        : name(field_name), text(to), size(text_size), whole(must_be_whole) {}

    const char* name;
    int* number = nullptr;
    char* text = nullptr;
    size_t size = 0;
    bool whole = false;
};

// Opens a regular file for reading; null when there is none. Anything else under the name, such as
// a directory or a FIFO, is reported and counts as missing.
FILE* cfg_open(const char* file_name);

// A reader at the start of an open file (null allowed). A checked copy has the line numbers of the
// file that it is a copy of: messages name that one, if it is there.
cfg_reader cfg_read_from(FILE* fp, const char* file_name);

// Classifies the next line by its first byte: CFG_LINE_DATA (the byte is put back),
// CFG_LINE_SKIPPED (a comment or an empty line, gone) or CFG_LINE_END.
byte cfg_invalid_line(cfg_reader* reader);

// Reads the fields of the record that comes next; it may span lines, which is reported. Returns how
// many were read: -1 when the file ends before the first; fewer than asked for when the record is
// refused (reported; the rest of its first line is skipped, of a later one what was read), or when
// the white space of a line was all.
int cfg_read_record(cfg_reader* reader, std::span<const cfg_field> fields);

// What becomes of the record read last when it is refused: "; line skipped".
struct cfg_skipped {
    char text[64];

    explicit cfg_skipped(const cfg_reader& reader);
};

// Reports something about the record read last, by file and line.
template <dbg_text id, typename... types>
void cfg_report(const cfg_reader& reader, types... args) {
    dbg_about<id>(reader.name, reader.first_line, "", args...);
}

// Reports why the record read last is not used.
template <dbg_text id, typename... types>
void cfg_refuse(const cfg_reader& reader, types... args) {
    dbg_about<id>(reader.name, reader.first_line, cfg_skipped(reader).text, args...);
}

// --- Records of the mapping ---

constexpr int CFG_NAME_SIZE = 64;

struct cfg_base_record {
    int idx, cf_cc, app_cc, ctl_type, data_type, add_data, add_data2;
    char name[CFG_NAME_SIZE];
};
struct cfg_preset_record {
    char name[CFG_NAME_SIZE];
    int app_cc;
};

// Read the record that comes next; what it does not have is left alone. False when it is refused,
// which is reported, or there is none.
bool cfg_read_base_record(cfg_reader* reader, cfg_base_record* record);
bool cfg_read_preset_record(cfg_reader* reader, cfg_preset_record* record);

// --- Steps of the above ---

extern FILE* fp_cfg;  // the open base mapping file, or null

// Opens the base mapping file unless it is open; ends the program with status 0 when it cannot.
void cfg_init();

// Applies an open mapping file to its end: the base form for `preset_no` -1, else the preset form.
// `file_name` is used in messages; null means the base mapping file.
void cfg_scan(FILE* p_scan, int preset_no, const char* file_name);

// Closes the base mapping file.
void cfg_exit();

// Takes the channel from the settings file if none is set; reports a value that is refused.
void cfg_read_midi_channel();

// Applies the preset that the settings file selects, if any.
void cfg_apply_midi_preset();

// Finds the first line of `file_name` that contains `pattern`, case-insensitively, and returns its
// field `field_no`, at most `field_len` - 1 characters. True when a line was found.
bool get_field_data(const char* file_name, const char* pattern, int field_no, int field_len,
                    char* field_data);

// Cuts a text at its first newline.
void strchomp(char* str);

// Stores the channel if it is below 16.
void set_midi_channel_no(u8 new_no);
