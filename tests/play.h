// Scripts for the module tests: a script: what the two ends send, and what a pass of
// both workers then tells.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <utility>

#include "buffer.h"
#include "config.h"
#include "midi.h"
#include "modules/ptys.h"
#include "pot.h"
#include "table.h"
#include "uart_cf.h"

extern std::int64_t processor_time;   // of the process, in microseconds
extern std::int64_t time_since_boot;  // in microseconds

// Runs a test in a process and on a platform of its own: the daemon puts none of its state back.
void in_own_process(void (*test)()) noexcept;
#undef TEST
#undef TEST_F  // whose SetUp() would run outside
#define TEST(suite, name)            \
    void suite##name();              \
    GTEST_TEST(suite, name) {        \
        in_own_process(suite##name); \
    }                                \
    void suite##name()

constexpr int BOARD = UART_OUT_BUF_ID;
constexpr int HOST = MIDI_IN_BUF_ID;

inline std::string repeat(const std::string& text, int count) {
    std::string repeated;
    for (int i = 0; i < count; ++i) {
        repeated += text;
    }
    return repeated;
}

inline std::string hex(int value) {
    char digits[4];
    snprintf(digits, sizeof digits, "%02x", value & 0xFF);
    return digits;
}

// No values, and nothing waiting.
inline void reset() {
    for (const int side : {BOARD, HOST}) {
        pot_reset_vv(side);
        while (com_rx_len[side] > 0) {
            ChangeBufIndx(READ_INDX, side);
        }
    }
    board_got();
    host_got();
}

// The table afresh with this mapping, and both links open.
inline void start(const std::string& mapping, int channel) {
    write_resource("orvik.midictl.cfg", mapping);
    write_resource("orvik.sys.cfg", "");
    set_midi_channel_no(static_cast<u8>(channel));
    reset();
    memset(pots, 0, sizeof pots);
    pot_init();
    cf_init();
    midi_init();
}

// Plays a script. Its lines: "mapping LINE" and, after all of them, "start CHANNEL"; then "board
// BYTES host BYTES > TOLD" or "COUNT passes > TOLD", where what is left out is empty.
inline void play(const std::string& script) {
    std::istringstream lines(script);
    std::string mapping;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with('#')) {
            continue;
        }
        const size_t arrow = line.find('>');
        std::istringstream words(line.substr(0, arrow));
        std::string sent[2];
        std::string* to = &sent[BOARD];
        int passes = 1;
        for (std::string word; words >> word;) {
            if (word == "mapping") {
                mapping += line.substr(line.find(word) + word.size() + 1) + "\n";
                break;
            }
            if (word == "start") {
                words >> passes;
                start(std::exchange(mapping, ""), passes);
            } else if (word == "passes") {
                passes = std::stoi(std::exchange(*to, ""));
            } else if (word == "board" || word == "host") {
                to = &sent[word == "board" ? BOARD : HOST];
            } else {
                *to += word + " ";
            }
        }
        if (arrow == std::string::npos) {
            continue;
        }
        std::string told;
        for (; passes > 0; --passes) {
            told += pass(sent[BOARD], sent[HOST]);
        }
        const size_t expected = line.find_first_not_of(' ', arrow + 1);
        ASSERT_EQ(told, expected == std::string::npos ? "" : line.substr(expected)) << line;
    }
}
