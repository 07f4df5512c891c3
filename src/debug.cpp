#include "debug.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "utility.h"

namespace {

constexpr int ABOUT_LEN = 256;

// Written while the options are read, before any worker exists; only read afterwards.
int msglevel = 0;
int verbose = 0;

}  // namespace

void dbg_pmesg(int level, const char* format, ...) {
    const bool shown = level == DBG_VERBOSE ? verbose != 0 : level <= msglevel;
    if (!shown) {
        return;
    }
    va_list args;
    va_start(args, format);
    vfprintf(stderr, format, args);
    va_end(args);
}

void dbg_about_line(const char* file, int line, const char* end, int id, ...) {
    char text[ABOUT_LEN];
    va_list args;
    va_start(args, id);
    vsnprintf(text, sizeof text, DBG_TEXTS[id], args);
    va_end(args);
    utl_hide_controls(text);
    if (line > 0) {
        dbg_pmesg(DBG_DEFAULT, "%s:%d: %s%s\n", file, line, text, end);
    } else {
        dbg_pmesg(DBG_DEFAULT, "%s: %s%s\n", file, text, end);
    }
}

void dbg_set_msg_level(int level_in) {
    fprintf(stderr, " set level to %d \n", level_in);
    if (level_in == DBG_VERBOSE) {
        verbose = 1;
    } else {
        msglevel = level_in;
    }
}

void dbg_report_lost(dbg_device* device, int count, int error) {
    const bool gone = count == 0 || (error != EAGAIN && error != EINTR && error != EBADF);
    if (device->lost || !gone) {
        return;
    }
    device->lost = true;
    if (count == 0) {
        dbg_pmesg(DBG_DEFAULT, "lost %s: hung up\n", device->name);
    } else {
        dbg_pmesg(DBG_DEFAULT, "lost %s: errno %d\n", device->name, error);
    }
}
