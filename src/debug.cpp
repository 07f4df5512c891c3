#include "debug.h"

#include <cstdarg>
#include <cstdio>

namespace {

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

void dbg_set_msg_level(int level_in) {
    fprintf(stderr, " set level to %d \n", level_in);
    if (level_in == DBG_VERBOSE) {
        verbose = 1;
    } else {
        msglevel = level_in;
    }
}
