// Serial link to the control board.
#pragma once

// Opens and configures the line; a failure is printed and leaves the link without a line.
void cf_init();

// Moves what the board has sent, up to 256 bytes and no more than the ring has free, into receive
// ring 0; sleeps 50 microseconds when there is nothing. Board worker.
void cf_recv();

// Writes one message of `buf_size` bytes to the board and marks serial traffic. Returns what the
// single write returned: the number of bytes, or -1. Any worker may call it.
int cf_send(const char* buf, int buf_size);

// --- Steps of the above ---

// Opens `target_tty` raw at 115200 bit/s, non-blocking. Returns the descriptor, or -1 after
// printing what failed on standard output.
int cf_open(const char* target_tty);

// Puts the open line into raw mode at 115200 bit/s. Returns 0, or -1 on failure.
int cf_set_raw();

// Closes the line if one is open.
void cf_close();
