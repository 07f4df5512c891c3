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
