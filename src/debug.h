// Diagnostic messages on standard error, filtered by level.
#pragma once

constexpr int DBG_DEFAULT = 0;    // always shown unless the threshold is negative
constexpr int DBG_RED_0 = 3;      // note-on/note-off pairing
constexpr int DBG_RED = 10;       // configuration values, mapping, platters, soft labels
constexpr int DBG_YELLOW = 20;    // byte streams and messages
constexpr int DBG_GREEN = 30;     // start-up steps
constexpr int DBG_WARNING = 80;   // unused
constexpr int DBG_VERBOSE = 100;  // step by step; shown by the verbose switch alone
constexpr int DBG_INFO = 100;

// Prints a message (printf rules, no newline added) when `level` passes the filter: level 100
// when verbose is on, any other level up to the threshold. Errors of the print are ignored.
[[gnu::format(printf, 2, 3)]] void dbg_pmesg(int level, const char* format, ...);

// --- What is said about files ---

// Each text under an id, by which other programs that use these modules know it.
enum dbg_text {
    TEXT_BYTE_ORDER_MARK,
    TEXT_NOT_A_NUMBER,
    TEXT_NOT_POSSIBLE,
    TEXT_TOO_LONG,
    TEXT_CUT,
    TEXT_FIELDS_MISSING,
    TEXT_CONTINUES,
    TEXT_IDX,
    TEXT_NAME,
    TEXT_COLOR_IDX,
    TEXT_SEQUENCE,
    TEXT_POSITIONS,
    TEXT_NONE_APPLIED,
    TEXT_NOT_REGULAR,
    TEXT_CHANNEL,
    TEXT_VALUE_CR,
    TEXT_VALUE,
    DBG_TEXT_COUNT
};
constexpr const char* DBG_TEXTS[] = {
    "a byte order mark is in front of \"%s\"",
    "%s \"%s\" is not a number",
    "%s \"%s\" is not a possible number",
    "%s of %zu characters is longer than %zu",
    "%s cut to %zu characters: %s",
    "fields missing after %s (found %d of %d)",
    "fields missing here: the record continues in line %d",
    "idx %d is not 0 to %d",
    "name \"%s\" is more than letters, digits, underscores and, not first, minus, dot, plus",
    "index %d is not 0 to %d",
    "escape sequence %s has a quote, dollar, backquote or final backslash",
    "there are %d positions already",
    ("no line applied: expected lines of idx cf_cc app_cc ctl_type data_type add_data add_data2 "
     "name, found %s"),
    "not a regular file: taken as missing",
    ("midi_channel \"%s\" refused: expected 0 to 15; sending on channel 0, host channel messages "
     "are dropped"),
    "value \"%s\" of %s refused: the file has CR LF line ends",
    "value \"%s\" of %s refused: a character that is not allowed there",
};
static_assert(sizeof DBG_TEXTS / sizeof DBG_TEXTS[0] == DBG_TEXT_COUNT);

// Prints "FILE:LINE: ", the text and `end`, whatever the threshold above 0; without the line if it
// is 0. Control characters in the text become question marks.
void dbg_about_line(const char* file, int line, const char* end, int id, ...);

// The same, with the arguments checked against the text.
template <dbg_text id, typename... types>
void dbg_about(const char* file, int line, const char* end, types... args) {
    if constexpr (sizeof...(args) > 0) {
        if (false) {
            dbg_pmesg(DBG_DEFAULT, DBG_TEXTS[id], args...);  // never runs: the compiler looks at it
        }
    }
    dbg_about_line(file, line, end, id, args...);
}

// --- Filter and devices ---

// Sets the threshold, or turns verbose on when `level_in` is 100; says so on standard error.
void dbg_set_msg_level(int level_in);

// A device whose loss is to be reported once.
struct dbg_device {
    const char* name;
    bool lost = false;
};

// Reports, once, that a read of the device shows it gone rather than empty or never opened: it
// returned `count`, 0 or below, and set errno to `error`.
void dbg_report_lost(dbg_device* device, int count, int error);
