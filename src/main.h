// Entry of the daemon: options, start-up and the two workers.
#pragma once

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
