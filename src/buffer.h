// Message intake: the two receive rings, and the dispatcher that frames their bytes into messages.
#pragma once

#include "common.h"
#include "target_cfg.h"

// --- Called by other modules ---

// The number of bytes, 0 to 256, that ring `buf_id` can still take.
int com_free(int buf_id);

// Appends up to `size` bytes to ring `buf_id`; those that do not fit are dropped.
void com_put_buf(const char* src, int size, int buf_id);

// Frames and routes every complete message pending in ring `buf_id`. Bytes that belong to no
// message are dropped. A system exclusive message that fills the ring without ending goes on in
// pieces as they come, up to its end; one whose end never comes is reported.
void Com_ProcessComBuf(int buf_id);

// True while such a message is open: nothing may come between its pieces.
bool com_sys_ex_is_open(int buf_id);

// --- The rings ---

constexpr int WRITE_INDX = 1;
constexpr int READ_INDX = 0;

// Per ring: the bytes, the positions of the oldest byte and of the next one, and the bytes pending.
// Ring 0 belongs to the board worker, ring 1 to the host worker. A full ring takes nothing: the
// rest waits in the device.
extern u8 com_rx_buf[2][COM_RX_BUF_SIZE];
extern int com_rx_buf_r[2];
extern int com_rx_buf_w[2];
extern int com_rx_len[2];

// Appends one byte to ring `buf_id`; a full ring refuses it.
void com_put_char(char c, int buf_id);

// Moves the write index on by one byte (`write_flag` not 0) or consumes the oldest byte (0).
void ChangeBufIndx(int write_flag, int buf_id);

// Returns the pending byte `seq_no` places after the oldest one, without consuming it.
byte GetDataInRxBuf(byte seq_no, int buf_id);

// --- Steps of dispatching ---

// Consumes and routes the system exclusive message at the front of the ring. Returns false, and
// consumes nothing, while its end has not arrived.
bool com_process_sys_ex(int buf_id);

// The position of the first 0xF7 after the front of the ring, 0 when there is none.
int sysex_end_idx(int buf_id);

// True when the bytes are the MIDI Identity Request to all devices.
bool is_status_query(int buf_size, const char* buffer);

// Makes every board control go out again when it next reports, and schedules the request for a
// report of all pots.
void com_initiate_pot_rpt();
