// Configuration: mapping files and presets, the settings file, the MIDI channel, and the check of
// hand-edited files.
#pragma once

#include <cstdio>

#include "common.h"

constexpr u8 INVALID_NUM = 0xFF;  // the channel while none is set

extern const char* const cfgname;  // base mapping file, and the stem of preset names
extern const char* const sys_cfg;  // settings file
extern FILE* fp_cfg;               // the open base mapping file, or null

// --- Lines of hand-edited files ---

constexpr int CFG_WORD_LEN = 66;  // keeps enough of a word to tell that it is too long
constexpr int CFG_MAX_FIELDS = 8;
constexpr byte CFG_LINE_DATA = 0;
constexpr byte CFG_LINE_SKIPPED = 1;
constexpr byte CFG_LINE_END = 0xFF;

// What a data line must hold: one letter a field, 'd' for a number and 's' for a text, and the
// words that a message uses for it.
struct cfg_form {
    const char* kinds;
    const char* expected;
};

// The fields of one data line, each cut to the room it has here.
struct cfg_fields {
    char field[CFG_MAX_FIELDS][CFG_WORD_LEN];
};

// Classifies the next line by its first byte: CFG_LINE_DATA (the byte is put back),
// CFG_LINE_SKIPPED (a comment or an empty line, gone) or CFG_LINE_END.
byte cfg_invalid_line(FILE* fp);

// Reads the data line that comes next and splits it. False, after a message naming file, line and
// the fields expected, when it does not yield them; the line is consumed in any case.
bool cfg_read_fields(FILE* fp, const char* file_name, const cfg_form& form, cfg_fields* fields);

// Reports something about the line that ends where `fp` stands, by file and line number.
[[gnu::format(printf, 3, 4)]] void cfg_report_line(FILE* fp, const char* file_name,
                                                   const char* format, ...);

// Reports that this line is not used, and what was expected in it.
void cfg_refuse_line(FILE* fp, const char* file_name, const char* expected);

// --- Mapping ---

// Loads the whole configuration: base mapping, channel, preset.
void cfg_test();

// Opens the base mapping file unless it is open; ends the program with status 0 when it cannot.
void cfg_init();

// Applies an open mapping file to its end: the base form for `preset_no` -1, else the preset form.
// `file_name` is used in messages; null stands for the base mapping file.
void cfg_scan(FILE* p_scan, int preset_no, const char* file_name);

// Finds the first line of `file_name` that contains `pattern`, letter case ignored, and returns
// its field `field_no`, at most `field_len` - 1 characters. True when a line was found.
bool get_field_data(const char* file_name, const char* pattern, int field_no, int field_len,
                    char* field_data);

// Applies the preset that the settings file selects, if any.
void cfg_apply_midi_preset();

// Closes the base mapping file.
void cfg_exit();

// --- Settings ---

// Looks a key up in a settings file and returns its value, at most `len` - 1 characters, or the
// empty text.
void cfg_get_value_from_file(const char* p_cfg_file, const char* p_cfg_name, char* p_cfg_value,
                             int len);

// Cuts a text at its first newline.
void strchomp(char* str);

// --- MIDI channel, 0 to 15 ---

// The channel, or INVALID_NUM while none is set.
u8 cfg_midi_channel_no();

// The channel of messages to the host: the channel, or 0 while none is set.
u8 cfg_midi_send_channel_no();

// Stores the channel if it is below 16.
void set_midi_channel_no(u8 new_no);

// Takes the channel from the command line.
void cfg_set_midi_channel_no(u8 new_no);

// Takes the channel from the settings file if none is set; reports a value that is refused.
void cfg_read_midi_channel();

// True when the low four bits of a status byte are the channel.
bool cfg_check_midi_channel_no(u8 b0);

// --- Check of hand-edited files ---

// Deletes the checked copies and has the check script make them afresh.
void cfg_check_files();
