// The rules that findings go by: their names, how bad it is, what they find and what helps.
#pragma once

#include <iterator>
#include <string_view>

namespace ctlmap {

// ERROR: something of the configuration does not work at all, or the daemon refuses it. WARNING: it
// works, but surely not as meant. NOTE: worth knowing.
enum severity { ERROR, WARNING, NOTE };
constexpr const char* SEVERITY_NAMES[] = {"error", "warning", "note"};

struct rule {
    const char* id;
    severity level;
    const char* finds;
    const char* cure;
};

constexpr rule RULES[] = {
    // What the daemon says.
    {"not-a-number", ERROR, "a word, or a number far too large, where a number is expected",
     "write a whole number, or the missing field before it"},
    {"run-on", ERROR, "a record that takes fields from the next line", "complete both lines"},
    {"fields", ERROR, "a line of preset 0 or the labels with too few or too many fields",
     "write exactly two fields, or five"},
    {"not-used", ERROR, "preset 0 or labels that are not used at all", "correct the lines named"},
    {"byte-order-mark", ERROR, "a byte order mark that spoils the first line",
     "save the file as UTF-8 without it"},
    {"refused", ERROR, "a line or value that the daemon refuses for another reason",
     "see the finding"},
    {"cut", WARNING, "a word that is too long and gets cut", "choose a shorter one"},
    // Files.
    {"missing", ERROR, "a needed file that is missing or not a regular file", "put it back"},
    {"unreadable", ERROR, "a file that cannot be read", "`chmod a+r` it"},
    {"not-text", ERROR, "NUL bytes, as in UTF-16", "save the file as UTF-8"},
    {"cr-only", ERROR, "lines that end in CR alone", "save the file with LF line ends"},
    {"ends-early", ERROR, "a byte 0xFF that ends the file for the daemon", "remove it"},
    {"indented", WARNING, "a line that begins with a blank and so is a comment",
     "remove the blank, or begin the line with `#`"},
    {"extra-field", WARNING, "words after the last field, which are ignored",
     "write names as one word, or remove the rest"},
    {"trailing-comment", NOTE, "a comment after the last field", "give it a line of its own"},
    {"script-mode", ERROR, "a check script that is not executable", "`chmod +x` it"},
    {"script-failed", ERROR, "a check script that makes no copy", "put the delivered one back"},
    {"image-kind", ERROR, "an image that is not a binary PPM file with 8 bits per colour",
     "convert it"},
    {"image-size", WARNING, "an image that is not 480 by 272 pixels, or cut off", "scale it"},
    // The base mapping.
    {"index-twice", ERROR, "two lines for one index, of which the later counts",
     "give each control one line"},
    {"no-line", WARNING, "controls without a line: built-in numbers, dark LEDs",
     "give each control a line"},
    {"same-message", WARNING, "two controls that send the same message to the host",
     "give one of them a free number"},
    {"shadowed", ERROR, "an LED or meter whose commands go to a control with a lower index",
     "give it a free number"},
    {"forget", ERROR,
     "a note for index 81 that goes to a control with a lower index, so that it never makes the "
     "daemon forget",
     "give it a free note"},
    {"built-in", WARNING, "a number that a control without a line keeps as its built-in one",
     "give that one a line, or this one a free number"},
    {"number-range", ERROR, "a number outside 0 to 127", "stay in that range"},
    {"channel-mode", NOTE,
     "a pot or meter on controllers 120 to 127, which are channel mode messages", "use 0 to 119"},
    {"board-number", WARNING, "two LEDs or meters with the same number of the board",
     "write the delivered cf_cc"},
    {"type-dark", ERROR, "a control type that keeps an LED or meter dark",
     "write 2 for LEDs, 4 for meters"},
    {"type", WARNING, "another control type that does not fit the control",
     "write 0 for pots, 1 or 3 for buttons, 4 for meters"},
    {"data-type", ERROR, "steps (data type 1) from a control that has none", "write 0"},
    {"data-position", WARNING, "positions (data type 0) from a platter or the encoder", "write 1"},
    {"zoom", WARNING, "a zoom that has no effect, or not the one that was written",
     "write 16 times a zoom number, for controls that send steps only"},
    {"rate", WARNING, "a rate that is not 0 to 255", "stay in that range"},
    {"tab", NOTE, "a tab after an index; presets look the index up to the first blank",
     "write a blank"},
    {"not-ascii", WARNING, "accented letters and the like in names and label texts",
     "write letters, digits and underscores"},
    {"name-found", NOTE,
     "a name that an earlier line contains, so that presets would find that line",
     "choose names and comments that do not contain it"},
    // Presets.
    {"preset-missing", ERROR, "a preset that is selected and has no file or no checked copy",
     "write it, or run the check script on it"},
    {"preset-unused", NOTE, "a preset file that is not selected", "set midi_preset"},
    {"preset-stale", WARNING, "a preset, other than 0, that differs from its checked copy",
     "run the check script on it"},
    {"preset-unknown", ERROR, "a name that the base mapping does not contain",
     "write a name that it has"},
    {"preset-other", ERROR, "a name that is found first in another line, which moves instead",
     "take the name out of that line"},
    {"preset-part", WARNING, "a name that is only part of the name that it moves",
     "write the whole name"},
    {"preset-pattern", WARNING, "a name with a dot, which matches any character",
     "write the name itself"},
    {"preset-twice", WARNING, "a control that a preset moves twice", "remove one of the lines"},
    // Settings.
    {"key-elsewhere", ERROR, "a key that is found first in another line, even a comment",
     "take it out of that line"},
    {"key-twice", ERROR, "a setting with two lines, of which the first counts", "remove one"},
    {"setting-blank", WARNING, "blanks around an equals sign", "write key=value"},
    {"setting-cut", WARNING, "a value that is cut", "use at most 15 characters and no equals sign"},
    {"setting-number", WARNING, "a channel or preset that is not a number, or beyond 255",
     "write a number"},
    {"identity", ERROR, "a USB identity that is not a 16-bit number", "write one such as 0x1209"},
    {"crlf", ERROR, "settings with CR LF line ends", "save the file with LF line ends"},
    // Labels.
    {"label-place", ERROR, "a label whose place does not exist", "write the key of a place"},
    {"label-twice", WARNING, "a place with two labels, or a key with two places",
     "remove one of the lines"},
    {"label-color", WARNING, "a colour that is not listed, so that colour 0 is used",
     "write the name of a listed colour"},
    {"color-gap", ERROR, "a colour after a gap in the indices, which is not found",
     "number the colours without a gap"},
    {"color-twice", WARNING, "a colour index or name with two lines", "give each colour its own"},
    {"on-color-0", WARNING, "colour 0 as an on colour: a changed label gets its off colour",
     "use another one"},
    {"label-note", ERROR, "two labels with the same note, of which only one follows it",
     "give one of them its own note"},
    {"label-left", WARNING,
     "a label that still has the note from which the preset moved its control",
     "give it the new note"},
    {"label-alone", NOTE, "a label whose note no control or LED has",
     "give it the note of its control"},
    {"label-cut", WARNING, "a text longer than the nine characters that are shown", "shorten it"},
    {"place-range", WARNING, "a place off the screen of 17 rows by 60 columns",
     "use rows 1 to 17, columns 1 to 52"},
    {"place-overlap", WARNING, "labels that overlap", "leave nine columns between them"},
};

// A rule by its name, looked up when this is compiled.
struct rule_ref {
    const rule* its;

    consteval rule_ref(const char* id) : its(find(id)) {}

  private:
    static consteval const rule* find(std::string_view id) {
        const rule* found = std::begin(RULES);
        while (found->id != id) {
            ++found;  // beyond the end: no such rule, does not compile
        }
        return found;
    }
};

}  // namespace ctlmap
