// Entry of the daemon: options, start-up and the two workers.
#pragma once

#include "buffer.h"
#include "led.h"
#include "midi.h"
#include "pot.h"
#include "uart_cf.h"
#include "utility.h"

// One pass of the board worker.
inline void uart_pass() {
    led_set_traffic_flag(TRAFFIC_FLAG_NO_DATA, 0);
    cf_recv();
    Com_ProcessComBuf(UART_OUT_BUF_ID);
    if (!com_sys_ex_is_open(UART_OUT_BUF_ID)) {
        pot_check_all(UART_OUT_BUF_ID);
    }
    midi_flush();
    led_show_traffic();
    utl_check_task();
}

// One pass of the host worker.
inline void midi_pass() {
    midi_recv();
    Com_ProcessComBuf(MIDI_IN_BUF_ID);
    pot_check_all(MIDI_IN_BUF_ID);
}

// Applies the options in the order of the command line; ends the program with status 1 on -c and
// on a bad option.
void parse_args(int argc, char** argv);

// Prints the usage text on standard error and ends the program with status 1.
[[noreturn]] void usage();

// Prints the version line on standard output and ends the program with status 1.
[[noreturn]] void check_version();

// Board worker: everything from the control board to the host. Never returns.
void* uart_thread(void* argv);

// Host worker: everything from the host to the control board. Never returns.
void* midi_thread(void* argv);
