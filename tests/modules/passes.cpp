// Passes of the workers with the shipped mapping, to be counted under callgrind: each kind is a
// part of its output.
#include <valgrind/callgrind.h>

#include "config.h"
#include "main.h"
#include "modules/ptys.h"

namespace {

constexpr int PASSES = 1000;
constexpr int RATE = 4;       // fewest passes between two messages of the pot
constexpr int WARM_UP = 100;  // the traffic LED goes out and everything is in the caches

// Counts passes alone: what is sent and taken in between is not the daemon's.
void count(const char* what, void (*pass)(), void (*before)()) {
    for (int i = 0; i < WARM_UP; ++i) {
        before();
        pass();
    }
    board_got();
    CALLGRIND_ZERO_STATS;
    for (int i = 0; i < PASSES; ++i) {
        before();
        CALLGRIND_TOGGLE_COLLECT;
        pass();
        CALLGRIND_TOGGLE_COLLECT;
    }
    CALLGRIND_DUMP_STATS_AT(what);
}

void nothing() {}

// Each moves the same pot.
void turn_pot() {
    static bool high = false;
    high = !high;
    for (int i = 0; i < RATE; ++i) {
        uart_pass();
    }
    host_got();
    board_sends(high ? "b0 05 40" : "b0 05 20");
}

}  // namespace

int main() {
    make_platform();
    write_resource("orvik.midictl.cfg", read_file(RESOURCES_DIR "/orvik.midictl.cfg"));
    write_resource("orvik.sys.cfg", "midi_channel=0\n");
    pot_init();
    cf_init();
    midi_init();
    count("nothing", nothing, nothing);  // what the counting itself costs
    count("idle board pass", uart_pass, nothing);
    count("idle host pass", midi_pass, nothing);
    count("board pass with a pot message", uart_pass, turn_pot);
}
