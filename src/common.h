// Types and constants that every module shares.
#pragma once

#include <pthread.h>

#include <cstdint>

using u8 = std::uint8_t;
using u16 = std::uint16_t;
using u32 = std::uint32_t;
using byte = std::uint8_t;

// Buffer identifiers: a direction and a side.
constexpr int UART_OUT_BUF_ID = 0;  // board side: from the control board, on to the host
constexpr int MIDI_IN_BUF_ID = 1;   // host side: from the host, on to the control board

// Marks for led_set_traffic_flag().
constexpr u8 TRAFFIC_FLAG_NO_DATA = 0x00;
constexpr u8 TRAFFIC_FLAG_UART_OUT = 0x01;
constexpr u8 TRAFFIC_FLAG_MIDI_OUT = 0x02;

// Status bytes without a channel, and the ends of a system exclusive message.
constexpr u8 NOTE_OFF = 0x80;
constexpr u8 NOTE_ON = 0x90;
constexpr u8 CONTROL_CHANGE = 0xB0;
constexpr u8 SYSEX_START = 0xF0;
constexpr u8 SYSEX_END = 0xF7;

constexpr u8 STATUS_BIT = 0x80;  // set in status bytes, clear in data bytes
constexpr u8 STATUS_MASK = 0xF0;
constexpr u8 CHANNEL_MASK = 0x0F;
constexpr u8 DATA_MASK = 0x7F;
constexpr u8 MIDI_CHANNELS = 16;

// For std::lock_guard. std::mutex can throw, and would link the C++ library's exceptions.
struct com_mutex {
    pthread_mutex_t handle = PTHREAD_MUTEX_INITIALIZER;

    void lock() { pthread_mutex_lock(&handle); }
    void unlock() { pthread_mutex_unlock(&handle); }
};

// Its holder runs as urgently as whoever waits for it, where the system can do that.
struct com_urgent_mutex : com_mutex {
    com_urgent_mutex() {
        pthread_mutexattr_t inherits;
        pthread_mutexattr_init(&inherits);
        pthread_mutexattr_setprotocol(&inherits, PTHREAD_PRIO_INHERIT);
        pthread_mutex_init(&handle, &inherits);
    }
};
