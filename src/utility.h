// Platform chores: shell commands, the USB MIDI gadget, the deferred pot-report request.
#pragma once

#include <ctime>

#include "common.h"

constexpr clock_t TASK_DELAY = 3600;  // milliseconds of processor time

// Runs a command through the system shell, waits for it and returns its status.
int utl_run(const char* command);

// Reports once that a read of `device` (`fd` open, result `count`, 0 or below) shows it gone, not
// just empty. `lost` remembers it and stays set.
void utl_report_lost(const char* device, int fd, int count, bool* lost);

// Loads the USB MIDI gadget module with the identities of the settings file and prints the shell's
// status on standard output. A value that the shell would interpret is reported and left out.
void load_midi_gadget();

// Replaces the mask of pending tasks; bit 0 is the pot-report request. Host worker.
void utl_set_task_mask(u32 mask);

// Runs a pending task once its delay has passed. Board worker, once per pass.
void utl_check_task();

// Asks the control board to report all its pots.
void ask_cf_to_rpt_pots();

// Milliseconds of processor time between two clock() readings, across a wrap of clock_t.
clock_t utl_elapsed_ms(clock_t from, clock_t to);
