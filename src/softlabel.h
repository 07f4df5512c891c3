// Soft labels: coloured texts on the controller's screen, driven by host notes.
#pragma once

#include "common.h"

// Sets the soft-label switch.
void set_soft_label_ctl(int flag);

// True when the switch is on.
bool soft_label_enabled();

// Starts the soft labels; start-up, once.
void soft_label_init();

// Offers one note from the host: note `b1`, velocity `b2`. Returns 1 when it addresses a label.
int sl_check_midi_input(byte b0, byte b1, byte b2);
