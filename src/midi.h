// MIDI port: the raw MIDI device node of the USB gadget, towards the host.
#pragma once

#include "common.h"
#include "target_cfg.h"

// Opens the device, marks the port initialised and empties the output buffer. A failed open is
// printed on standard output; there is no retry. Host worker, once.
void midi_init();

// Moves the bytes that the host has sent into receive ring 1 until it is full or none are left.
// Host worker.
void midi_recv();

// Queues a message of `len` bytes for the host and marks MIDI traffic. Returns the number of bytes
// queued; those that do not fit are dropped. Board worker.
int midi_push_buf(const char* src, int len);

// Writes all queued bytes to the device in one write and empties the buffer, whether or not they
// could be written; counts an idle pass when nothing is queued. Does nothing before midi_init().
void midi_flush();

// --- Steps of the above ---

// Queues one byte for the host. Returns 1, or 0 when 64 bytes are queued already.
int midi_push_byte(u8 midi_data);

// Empties the output buffer.
void midi_reset_buf();
