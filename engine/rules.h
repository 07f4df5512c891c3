// The rules that findings go by: their names, how bad it is, what they find and what helps.
#pragma once

#include <iterator>
#include <string_view>

namespace engine {

// ERROR: something of the configuration does not work at all, or the daemon refuses it. WARNING: it
// works, but surely not as meant. NOTE: worth knowing.
enum severity { ERROR, WARNING, NOTE };
inline constexpr const char* SEVERITY_NAMES[] = {"error", "warning", "note"};

struct rule {
    const char* id;
    severity level;
    const char* finds;
    const char* cure;
};

inline constexpr rule RULES[] = {
    // What the daemon says.
    {"not-a-number", ERROR, "a word, or a number far too large, where a number is expected",
     "write a whole number, or the missing field before it"},
    {"run-on", ERROR, "a record that takes fields from the next line", "complete both lines"},
    {"fields", ERROR,
     "a line of preset 0 or the labels with too few or too many fields, which spoils the file",
     "write exactly two fields, or five"},
    {"byte-order-mark", ERROR, "a byte order mark that spoils the first line",
     "save the file as UTF-8 without it"},
    {"refused", ERROR, "a line or value that the daemon refuses for another reason",
     "see the finding"},
    {"cut", WARNING, "a word that is too long and gets cut", "choose a shorter one"},
    // Files.
    {"missing", ERROR, "a needed file that is missing, empty or not a regular file", "put it back"},
    {"unreadable", ERROR, "a file that cannot be read", "`chmod a+r` it"},
    {"too-large", ERROR, "a file of more than 1 MB, which is not looked at",
     "put the file itself there"},
    {"not-text", ERROR, "NUL bytes, as in UTF-16", "save the file as UTF-8"},
    {"cr-only", ERROR, "lines that end in CR alone", "save the file with LF line ends"},
    {"ends-early", ERROR, "a byte 0xFF that ends the file for the daemon", "remove it"},
    {"indented", WARNING, "a line that begins with a blank and so is a comment",
     "remove the blank, or begin the line with `#`"},
    {"extra-field", WARNING, "words after the last field, which are ignored",
     "write names as one word, or remove the rest"},
    {"script-mode", ERROR, "a check script that is not executable", "`chmod +x` it"},
    {"script-changed", ERROR, "a check script that is not the delivered one",
     "put the delivered one back"},
    {"image", ERROR, "an image that is not a binary PPM file of 480 by 272 pixels, or cut off",
     "convert it"},
    // The base mapping.
    {"index-twice", ERROR, "two lines for one index, of which the later counts",
     "give each control one line"},
    {"no-line", WARNING, "controls without a line: built-in numbers, dark LEDs",
     "give each control a line"},
    {"host-only", ERROR, "a control whose only line has cf_cc -1, so that the rest is ignored",
     "write the delivered cf_cc"},
    {"same-message", WARNING, "two controls that send the same message to the host",
     "give one of them a free number"},
    {"shadowed", ERROR, "an LED or meter whose commands go to a control with a lower index",
     "give it a free number"},
    {"number-range", ERROR, "a number outside 0 to 127", "stay in that range"},
    {"channel-mode", WARNING,
     "a pot or meter on controllers 120 to 127, which are channel mode messages", "use 0 to 119"},
    {"board-number", ERROR, "a cf_cc with which a control lights another one, or none",
     "write the delivered cf_cc"},
    {"board-ignored", WARNING, "another cf_cc that is not the delivered one and has no effect",
     "write the delivered cf_cc"},
    {"type-dark", ERROR, "a control type that keeps an LED or meter dark",
     "write 2 for LEDs, 3 for buttons, 4 for meters"},
    {"data-type", ERROR, "steps (data type 1) from a control that has none", "write 0"},
    {"data-position", WARNING, "positions (data type 0) from a platter or the encoder", "write 1"},
    {"add-data", WARNING, "an add_data that has no effect, or not the one that was written",
     "write 16 times a zoom number for steps, 0 or 1 for LEDs, else 0"},
    {"rate", WARNING, "a rate that is not 0 to 255", "stay in that range"},
    {"not-ascii", WARNING, "accented letters and the like in names and label texts",
     "write letters, digits and underscores"},
    // Presets.
    {"preset-missing", ERROR,
     "a preset that is selected and has no file, no checked copy or no line",
     "write it, or run the check script on it"},
    {"preset-unused", NOTE, "a preset file that is not selected", "set midi_preset"},
    {"preset-stale", WARNING, "a preset, other than 0, that differs from its checked copy",
     "run the check script on it"},
    {"preset-unknown", ERROR, "a name that the base mapping does not contain",
     "write a name that it has"},
    {"preset-other", ERROR, "a name that is found first in another line, which moves instead",
     "take the name out of that line, and give no two controls the same"},
    {"preset-part", WARNING,
     "a name that is only part of the name that it moves, or has a dot, which matches any "
     "character",
     "write the whole name"},
    {"preset-twice", WARNING, "a control that a preset moves twice", "remove one of the lines"},
    // Settings.
    {"key-unknown", ERROR, "a line that sets nothing", "write the key that it names"},
    {"key-missing", WARNING, "a key without a line or a value, so that a default counts",
     "write key=value"},
    {"key-elsewhere", ERROR, "a key that is found first in another line, even a comment",
     "take it out of that line"},
    {"key-twice", ERROR, "a setting with two lines, of which the first counts", "remove one"},
    {"setting-blank", WARNING, "blanks in front of a key or around an equals sign, comments behind",
     "write key=value"},
    {"setting-cut", WARNING, "a value that is cut", "use at most 15 characters and no equals sign"},
    {"setting-number", WARNING, "a channel or preset that is not a number, or beyond 255",
     "write a number"},
    {"identity", ERROR, "a USB identity that is missing, 0 or not a 16-bit number",
     "write one such as 0x1209"},
    {"identity-base", WARNING, "a USB identity that is read as decimal or octal",
     "write 0x in front"},
    {"crlf", ERROR, "settings with CR LF line ends", "save the file with LF line ends"},
    // Labels.
    {"label-place", ERROR, "a label whose place does not exist, or more than 24 places",
     "write the key of a place"},
    {"label-twice", WARNING, "a place with two labels, or a key with two places",
     "remove one of the lines"},
    {"label-color", WARNING, "a colour that is not listed, so that colour 0 is used",
     "write the name of a listed colour"},
    {"color-gap", ERROR, "a colour after a gap in the indices, which labels do not find",
     "number the colours without a gap"},
    {"color-twice", WARNING, "a colour index or name with two lines", "give each colour its own"},
    {"color-text", ERROR, "a sequence that sets no colour, or that the screen shows as text",
     "write one such as \\033[1;31m"},
    {"color-same", WARNING, "a label that looks the same on and off", "use two colours"},
    {"on-color-0", WARNING, "colour 0 as an on colour: a changed label gets its off colour",
     "use another one"},
    {"label-note", ERROR, "two labels with the same note, of which only one follows it",
     "give one of them its own note"},
    {"label-left", WARNING,
     "a label whose note no control has, or another control than the one it was made for",
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

}  // namespace engine
