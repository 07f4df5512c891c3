// Mistakes in files that the daemon can read.
#pragma once

#include "control.h"
#include "findings.h"
#include "model.h"

namespace ctlmap {

// Applies every rule to a loaded configuration.
void check(const model& what, findings* to);

// The rules, a file of them for each part of the configuration.
void check_files(const model& what, findings* to);
void check_mapping(const model& what, findings* to);
void check_numbers(const model& what, findings* to);
void check_preset(const model& what, findings* to);
void check_settings(const model& what, findings* to);
void check_labels(const model& what, findings* to);

// --- For all of them ---


constexpr int FIRST_CHANNEL_MODE = 120;  // controllers from here on are not for controls

constexpr bool is_midi(int number) {
    return number >= 0 && number < MIDI_NUMBERS;
}

// A word in a line.
using word = std::string_view;

// Splits a text at white space. Returns how many words it has; the first `most` are in `words`.
int split(std::string_view text, word* words, int most);

// True for a word that the daemon reads as a number.
bool is_number(word text);

// True for text of nothing but digits.
bool is_digits(const char* text);

// True for a regular file that may be read.
bool can_open(const model& what, const char* file);

// True for a file whose bytes are text in lines; true for a missing one, too.
bool is_text(const model& what, const char* file);

// True for texts that differ at most in upper and lower case.
bool same_letters(const char* a, const char* b);

// True when the text has a byte above 0x7F.
bool has_other_letters(const char* text);

// Where the host's number of a control stands: in the preset if that moves it, else in its line;
// line 0: it has none.
struct place {
    const char* file;
    int line;
};
place place_of(const model& what, const control& one);

// "PLAY_A in line 52", with the file if `seen_from` is another one, or "index 23, which has no
// line".
struct mention {
    char text[NAME_MAX + 128];

    mention(const model& what, const control& one, const char* seen_from);
};

// The name of a control, or its index.
struct title {
    char text[80];

    explicit title(const control& one);
};

// A number that nothing uses yet, the next one after `number`.
int free_number(const model& what, int number, bool is_note);

}  // namespace ctlmap
