#include "buffer.h"

#include <time.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "config.h"
#include "debug.h"
#include "midi.h"
#include "pot.h"
#include "uart_cf.h"
#include "utility.h"

u8 com_rx_buf[2][COM_RX_BUF_SIZE];
int com_rx_buf_r[2];
int com_rx_buf_w[2];
int com_rx_len[2];

namespace {

constexpr int INDX_MASK = COM_RX_BUF_SIZE - 1;
constexpr int CHANNEL_MSG_SIZE = 3;
constexpr u8 status_query[] = {SYSEX_START, 0x7E, 0x7F, 0x06, 0x01, SYSEX_END};
static_assert(sizeof status_query <= SYSEX_AREA_SIZE);

// A system exclusive message that has outgrown the ring: what comes up to its end, or until there
// is a silence, goes the way of its beginning. Belongs to the ring's worker.
struct outgrown_sys_ex {
    std::int64_t size = 0;                        // so far; 0: there is none
    std::int64_t silent_from = 0, silent_to = 0;  // milliseconds; 0: the last pass brought bytes
};
outgrown_sys_ex outgrown[2];
constexpr int LONGEST_SILENCE = 300;  // milliseconds

std::int64_t milliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

u8 com_take(int buf_id) {
    const u8 taken = GetDataInRxBuf(0, buf_id);
    ChangeBufIndx(READ_INDX, buf_id);
    return taken;
}

void com_discard(int size, int buf_id) {
    while (size-- > 0) {
        ChangeBufIndx(READ_INDX, buf_id);
    }
}

// Takes the next byte if it is a data byte; a status byte stays, as the start of a new message.
bool com_take_data(int buf_id, u8* data) {
    if ((GetDataInRxBuf(0, buf_id) & STATUS_BIT) != 0) {
        return false;
    }
    *data = com_take(buf_id);
    return true;
}

// Strips the channel from a status byte of the host. Returns false when it is not ours.
bool com_strip_channel(u8* b0, int buf_id) {
    dbg_pmesg(DBG_YELLOW, "check channel no for midi in \n");
    if (!cfg_check_midi_channel_no(*b0)) {
        dbg_pmesg(DBG_YELLOW, " incorrect channel no for buf %d \n", buf_id);
        return false;
    }
    *b0 &= STATUS_MASK;
    return true;
}

// Takes one channel message, or the bytes at the front of the ring that belong to none. At least
// three bytes are pending.
void com_process_channel_msg(int buf_id) {
    u8 b0 = com_take(buf_id);
    if (buf_id == MIDI_IN_BUF_ID && !com_strip_channel(&b0, buf_id)) {
        return;
    }
    const bool is_note = b0 == NOTE_ON || b0 == NOTE_OFF;
    const bool is_controller = (b0 & STATUS_MASK) == CONTROL_CHANGE;
    u8 b1;
    u8 b2;
    if ((!is_note && !is_controller) || !com_take_data(buf_id, &b1) ||
        !com_take_data(buf_id, &b2)) {
        return;
    }
    if (is_note) {
        btn_process_pkg(b0, b1, b2, buf_id);
    } else {
        pot_process_pkg(b0, b1, b2, buf_id);
    }
}

void com_copy(char* area, int size, int buf_id) {
    for (int i = 0; i < size; ++i) {
        area[i] = static_cast<char>(com_take(buf_id));
    }
}

// Passes on what does not fit the area. The output buffer is flushed before each piece, so that
// nothing is dropped there.
void com_forward_pieces(int size, int buf_id) {
    char area[SYSEX_AREA_SIZE];
    while (size > 0) {
        const int piece = std::min(size, SYSEX_AREA_SIZE);
        com_copy(area, piece, buf_id);
        midi_flush();
        midi_push_buf(area, piece);
        size -= piece;
    }
}

void com_forward_sys_ex(int size, int buf_id) {
    if (size > SYSEX_AREA_SIZE) {
        com_forward_pieces(size, buf_id);
        midi_flush();  // room for what comes behind it
        return;
    }
    char area[SYSEX_AREA_SIZE];
    com_copy(area, size, buf_id);
    midi_push_buf(area, size);
}

void com_answer_sys_ex(int size, int buf_id) {
    if (size > SYSEX_AREA_SIZE) {
        com_discard(size, buf_id);
        return;
    }
    char area[SYSEX_AREA_SIZE];
    com_copy(area, size, buf_id);
    if (is_status_query(size, area)) {
        cf_send(area, size);
        com_initiate_pot_rpt();
    }
}

// The position of the first 0xF7 from `first` on, -1 when there is none.
int find_sys_ex_end(int first, int buf_id) {
    for (int i = first; i < com_rx_len[buf_id]; ++i) {
        if (GetDataInRxBuf(static_cast<byte>(i), buf_id) == SYSEX_END) {
            return i;
        }
    }
    return -1;
}

void com_grow_sys_ex(int size, int buf_id) {
    outgrown[buf_id] = {outgrown[buf_id].size + size};
    if (IsUartBuffer(buf_id)) {
        com_forward_pieces(size, buf_id);
    } else {
        com_discard(size, buf_id);
    }
}

// Ends an outgrown message after a silence, as it was found in the pass before: if this one was
// held up since it read, bytes may be waiting by now.
void com_await_sys_ex(int buf_id) {
    outgrown_sys_ex& message = outgrown[buf_id];
    if (message.silent_to - message.silent_from >= LONGEST_SILENCE) {
        dbg_pmesg(DBG_DEFAULT,
                  "system exclusive without end in buffer %d: over after %lld bytes and a silence "
                  "of %d ms\n",
                  buf_id, static_cast<long long>(message.size), LONGEST_SILENCE);
        message = {};
        return;
    }
    message.silent_to = milliseconds();
    if (message.silent_from == 0) {
        message.silent_from = message.silent_to;
    }
}

void com_continue_sys_ex(int buf_id) {
    const int pending = com_rx_len[buf_id];
    if (pending == 0) {
        com_await_sys_ex(buf_id);
        return;
    }
    const int end = find_sys_ex_end(0, buf_id);
    com_grow_sys_ex(end < 0 ? pending : end + 1, buf_id);
    if (end < 0) {
        return;
    }
    outgrown[buf_id] = {};
    if (IsUartBuffer(buf_id)) {
        midi_flush();  // room for what comes behind it
    }
}

}  // namespace

int com_free(int buf_id) {
    return COM_RX_BUF_SIZE - com_rx_len[buf_id];
}

void com_put_char(char c, int buf_id) {
    if (com_free(buf_id) == 0) {
        return;
    }
    com_rx_buf[buf_id][com_rx_buf_w[buf_id]] = static_cast<u8>(c);
    ChangeBufIndx(WRITE_INDX, buf_id);
}

void com_put_buf(const char* src, int size, int buf_id) {
    dbg_pmesg(DBG_YELLOW, "put %d data in buffer %d \n", size, buf_id);
    for (int i = 0; i < size; ++i) {
        com_put_char(src[i], buf_id);
    }
}

void ChangeBufIndx(int write_flag, int buf_id) {
    int& indx = write_flag != READ_INDX ? com_rx_buf_w[buf_id] : com_rx_buf_r[buf_id];
    indx = (indx + 1) & INDX_MASK;
    com_rx_len[buf_id] += write_flag != READ_INDX ? 1 : -1;
}

byte GetDataInRxBuf(byte seq_no, int buf_id) {
    return com_rx_buf[buf_id][(com_rx_buf_r[buf_id] + seq_no) & INDX_MASK];
}

void Com_ProcessComBuf(int buf_id) {
    if (IsUartBuffer(buf_id)) {
        pot_carry_out_board_reset();
    }
    if (com_sys_ex_is_open(buf_id)) {
        com_continue_sys_ex(buf_id);
    }
    while (com_rx_len[buf_id] >= CHANNEL_MSG_SIZE) {
        dbg_pmesg(DBG_YELLOW, "now process %d data in buffer %d \n", com_rx_len[buf_id], buf_id);
        if (GetDataInRxBuf(0, buf_id) != SYSEX_START) {
            com_process_channel_msg(buf_id);
        } else if (!com_process_sys_ex(buf_id)) {
            if (com_free(buf_id) == 0) {
                com_grow_sys_ex(COM_RX_BUF_SIZE, buf_id);
            }
            return;
        }
    }
}

bool com_sys_ex_is_open(int buf_id) {
    return outgrown[buf_id].size > 0;
}

bool com_process_sys_ex(int buf_id) {
    const int end = sysex_end_idx(buf_id);
    if (end == 0) {
        return false;
    }
    if (IsUartBuffer(buf_id)) {
        com_forward_sys_ex(end + 1, buf_id);
    } else {
        com_answer_sys_ex(end + 1, buf_id);
    }
    return true;
}

int sysex_end_idx(int buf_id) {
    return std::max(find_sys_ex_end(1, buf_id), 0);
}

bool is_status_query(int buf_size, const char* buffer) {
    return buf_size == static_cast<int>(sizeof status_query) &&
           memcmp(buffer, status_query, sizeof status_query) == 0;
}

void com_initiate_pot_rpt() {
    pot_request_board_reset();
    utl_set_task_mask(1);
}
