#include "midi.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "buffer.h"
#include "debug.h"
#include "led.h"

namespace {

dbg_device midi_device = {MIDI_DEVICE};
std::atomic<int> fd_midi{-1};  // written by the host worker, read by both
std::atomic<int> midi_init_flag{-1};

// Board worker, except that midi_init() empties it in the host worker. What does not fit is
// dropped.
com_mutex buf_lock;
u8 midi_buf[MIDI_BUF_SIZE];
std::atomic<int> midi_buf_idx{0};

void midi_clear_locked() {
    memset(midi_buf, 0, sizeof midi_buf);
    midi_buf_idx = 0;
}

bool midi_push_locked(u8 midi_data) {
    if (midi_buf_idx >= MIDI_BUF_SIZE) {
        return false;
    }
    midi_buf[midi_buf_idx++] = midi_data;
    return true;
}

// Takes the queued bytes out of the buffer, so that no lock is held while they are written.
int midi_take_queued(u8 (&queued)[MIDI_BUF_SIZE]) {
    const std::lock_guard guard(buf_lock);
    const int count = midi_buf_idx;
    memcpy(queued, midi_buf, sizeof midi_buf);
    midi_clear_locked();
    return count;
}

}  // namespace

void midi_init() {
    fd_midi = open(midi_device.name, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd_midi < 0) {
        printf("error in opening %s \n", midi_device.name);
    }
    midi_init_flag = 1;
    midi_reset_buf();
}

int midi_push_byte(u8 midi_data) {
    const std::lock_guard guard(buf_lock);
    return midi_push_locked(midi_data) ? 1 : 0;
}

int midi_push_buf(const char* src, int len) {
    led_set_traffic_flag(TRAFFIC_FLAG_MIDI_OUT, 1);
    const std::lock_guard guard(buf_lock);
    int queued = 0;
    while (queued < len && midi_push_locked(static_cast<u8>(src[queued]))) {
        ++queued;
    }
    return queued;
}

void midi_reset_buf() {
    const std::lock_guard guard(buf_lock);
    midi_clear_locked();
}

void midi_flush() {
    if (midi_init_flag < 0) {
        return;
    }
    if (midi_buf_idx == 0) {
        led_set_traffic_flag(TRAFFIC_FLAG_NO_DATA, 1);
        return;
    }
    u8 queued[MIDI_BUF_SIZE];
    const int count = midi_take_queued(queued);
    // A host that does not read loses these bytes; the board worker never waits for it.
    [[maybe_unused]] const ssize_t written = write(fd_midi, queued, static_cast<size_t>(count));
}

void midi_recv() {
    char received[MIDI_RECV_SIZE];
    for (;;) {
        const int room = std::min(MIDI_RECV_SIZE, com_free(MIDI_IN_BUF_ID));
        if (room == 0) {
            return;
        }
        const int count = static_cast<int>(read(fd_midi, received, static_cast<size_t>(room)));
        if (count <= 0) {
            dbg_report_lost(&midi_device, count, errno);
            return;
        }
        dbg_pmesg(DBG_YELLOW, "receive %d from midi \n", count);
        com_put_buf(received, count, MIDI_IN_BUF_ID);
    }
}
