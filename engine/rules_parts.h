// What the rules are made of.
#pragma once

#include "check.h"

namespace engine {

// The rules, a file of them for each part of the configuration. All but the first need a base
// mapping.
void check_files(const examined& what);
void check_mapping(const examined& what);
void check_numbers(const examined& what);
void check_preset(const examined& what);
void check_settings(const examined& what);
void check_labels(const examined& what);

// --- Text ---

// True for a word that the daemon reads as a number.
bool is_number(word text);

bool is_digits(word text);

// True for texts that differ at most in upper and lower case.
bool same_letters(word a, word b);

// True when the text has a byte above 0x7F.
bool has_other_letters(word text);

// True for a file that is there and can be read.
bool is_read(const char* name);

// True for one that is text with lines, too.
bool is_sound(const char* name);

// The text without blanks, tabs and carriage returns at its ends.
word trim(word text);

// Reads the records of a delivered file.
template <typename type, typename read_record>
void read_delivered(const char* name, records<type>* to, read_record read) {
    const std::string_view text = delivered(name);
    FILE* const fp = fmemopen(const_cast<char*>(text.data()), text.size(), "r");
    cfg_reader reader = cfg_read_from(fp, name);
    for (byte line = fp == nullptr ? CFG_LINE_END : CFG_LINE_DATA; line != CFG_LINE_END;) {
        line = cfg_invalid_line(&reader);
        if (line == CFG_LINE_DATA && read(&reader, &to->items[to->count])) {
            ++to->count;
        }
    }
    if (fp != nullptr) {
        fclose(fp);
    }
}

// --- Controls ---

constexpr int BASE_FIELDS = 8;  // of a line of the base mapping

constexpr int FIRST_CHANNEL_MODE = 120;  // controllers from here on are not for controls

constexpr bool is_midi(int number) {
    return number >= 0 && number < MIDI_NUMBERS;
}

// The base mapping as it is delivered.
const records<cfg_base_record>& delivered_base();

// False when a preset is selected by a value that is no number, such as a blank.
bool is_preset_meant(const model& of);

// The control's number of the board as it is delivered.
int delivered_number(const ctl_info& of);

// The name of a control, or "index 23".
struct title {
    char text[CFG_NAME_SIZE];

    explicit title(const mapped_control& one);
};

// "PLAY_A in line 52", with the file if `seen_from` is another one, or "index 23, which has no
// line".
struct mention {
    char text[NAME_MAX + 128];

    mention(const model& from, const mapped_control& one, std::string_view seen_from);
};

// A number that nothing uses yet, the next one after `number`.
int free_number(const examined& what, int number, bool is_note);

// Reports a number outside 0 to 127 of a control or label that is called `name`.
void check_range(const examined& what, const place& at, int idx, const char* field, int number,
                 const char* name, bool is_note);

}  // namespace engine
