// Platform chores: shell commands, the USB MIDI gadget, the deferred pot-report request.
#pragma once

#include <cstdio>

#include "common.h"

// --- Shell commands ---

// Runs a command through the system shell, in the usual scheduling class whatever the caller's is,
// waits for it and returns its status.
int utl_run(const char* command);

// Starts a command in the system shell; its output is to be read and closed with pclose(). Ends the
// program, with a message that says which command and why, when the shell cannot be started.
FILE* utl_open_shell(const char* command);

// Writes `text` so that the shell reads it unchanged between double quotes. Returns false, and
// writes the empty text, when it does not fit into `size` bytes; twice its length and one always
// do.
bool utl_quote(const char* text, char* quoted, size_t size);

// True for text that utl_quote() would not change, the character `except` apart.
bool utl_is_unquoted(const char* text, char except);

// True for text that needs no quotes: letters, digits, underscores and, not first, minus, dot,
// plus.
bool utl_is_bare_word(const char* text);

// Puts a question mark in the place of each control character, for text that a message quotes.
void utl_hide_controls(char* text);

// --- Start-up ---

// At most 15 characters each.
struct gadget_values {
    char buf_vendor_id[32];
    char buf_product_id[32];
    char buf_manufacturer[32];
    char buf_product_name[32];
};

// Reads the identities of the settings file. A value that cannot be passed on is reported and left
// out.
void get_gadget_values(gadget_values* values);

// Loads the USB MIDI gadget module with these values and prints the shell's status on standard
// output.
void load_midi_gadget();

// --- Deferred pot-report request ---

constexpr int TASK_DELAY = 3600;  // milliseconds of processor time

// Replaces the mask of pending tasks; bit 0 is the pot-report request. Host worker.
void utl_set_task_mask(u32 mask);

// Runs a pending task once its delay has passed. Board worker, once per pass.
void utl_check_task();

// Asks the control board to report all its pots.
void ask_cf_to_rpt_pots();
