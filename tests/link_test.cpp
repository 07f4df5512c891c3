// The links over pseudo-terminals, the traffic LED, the deferred task's clock, diagnostics.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "buffer.h"
#include "config.h"
#include "debug.h"
#include "led.h"
#include "midi.h"
#include "modules/ptys.h"
#include "uart_cf.h"
#include "utility.h"

namespace {

std::string repeat(const std::string& text, int count) {
    std::string repeated;
    for (int i = 0; i < count; ++i) {
        repeated += text;
    }
    return repeated;
}

TEST(SerialLink, IsPutIntoRawModeAt115200) {
    const int fd = cf_open("/dev/ttymxc1");
    ASSERT_GE(fd, 0);
    termios settings;
    ASSERT_EQ(tcgetattr(fd, &settings), 0);
    settings.c_lflag |= ECHO | ICANON;
    settings.c_iflag |= IXON | ICRNL;
    tcsetattr(fd, TCSANOW, &settings);
    ASSERT_EQ(cf_set_raw(), 0);
    tcgetattr(fd, &settings);
    EXPECT_EQ(settings.c_lflag & (ECHO | ICANON | ISIG), 0U);
    EXPECT_EQ(settings.c_iflag & (IXON | ICRNL), 0U);
    EXPECT_EQ(cfgetispeed(&settings), static_cast<speed_t>(B115200));
    EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B115200));
    EXPECT_NE(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
}

TEST(SerialLink, ReceivesInPiecesThatTheRingCanTake) {
    cf_init();
    board_sends(repeat("01 ", 300));
    for (const int pending : {256, 256}) {  // the rest waits in the device while the ring is full
        cf_recv();
        EXPECT_EQ(com_rx_len[UART_OUT_BUF_ID], pending);
    }
    Com_ProcessComBuf(UART_OUT_BUF_ID);
    EXPECT_EQ(com_rx_len[UART_OUT_BUF_ID], 2);
    cf_recv();
    EXPECT_EQ(com_rx_len[UART_OUT_BUF_ID], 46);
}

TEST(SerialLink, AFailedOpenIsPrintedAndSendsStillMarkTraffic) {
    cf_close();
    testing::internal::CaptureStdout();
    EXPECT_EQ(cf_open("/dev/none"), -1);
    EXPECT_EQ(cf_open("/dev/snd"), -1);
    write_resource("plain", "");
    EXPECT_EQ(cf_open("../resources/plain"), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "error opening /dev/none: errno 2\nerror opening /dev/snd: errno 21\n"
              "error configuring tty\n");
    EXPECT_EQ(cf_send("\x90\x01\x02", 3), -1);
    cf_recv();
    EXPECT_EQ(com_rx_len[UART_OUT_BUF_ID], 0);
    cf_init();
    led_show_traffic();
    EXPECT_EQ(board_got(), "90 38 01");
}

TEST(Links, AreNotPassedOnToTheShell) {
    const auto descriptors = [] {
        utl_run("ls /proc/self/fd >../resources/fds");
        return read_resource("fds");
    };
    const std::string before = descriptors();
    EXPECT_NE(before, "");
    cf_init();
    midi_init();
    EXPECT_EQ(descriptors(), before);
}

TEST(MidiPort, QueuesSixtyFourBytesAndCutsWhatDoesNotFit) {
    midi_push_buf("\x01\x02\x03", 3);
    EXPECT_EQ(host_got(), "") << "not open yet";
    midi_init();
    EXPECT_EQ(host_got(), "") << "what was queued before is discarded";
    const std::string bytes(62, '\x11');
    EXPECT_EQ(midi_push_buf(bytes.data(), 62), 62);
    EXPECT_EQ(midi_push_buf("\x21\x22\x23", 3), 2);
    EXPECT_EQ(midi_push_byte(0x24), 0);
    EXPECT_EQ(midi_push_buf("\x25", 0), 0);
    EXPECT_EQ(host_got(), repeat("11 ", 62) + "21 22");
    EXPECT_EQ(midi_push_buf("\x26", 1), 1);
    EXPECT_EQ(host_got(), "26");
}

TEST(MidiPort, ReceivesEverythingInReadsOfThree) {
    midi_init();
    dbg_set_msg_level(DBG_YELLOW);
    host_sends("01 02 03 04 05 06 07");
    testing::internal::CaptureStderr();
    midi_recv();
    const std::string read_three = "receive 3 from midi \nput 3 data in buffer 1 \n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              read_three + read_three + "receive 1 from midi \nput 1 data in buffer 1 \n");
    dbg_set_msg_level(DBG_DEFAULT);
    EXPECT_EQ(com_rx_len[MIDI_IN_BUF_ID], 7);
    EXPECT_EQ(GetDataInRxBuf(6, MIDI_IN_BUF_ID), 7);
    host_sends(repeat("11 ", 300));
    midi_recv();
    EXPECT_EQ(com_rx_len[MIDI_IN_BUF_ID], 256);
    Com_ProcessComBuf(MIDI_IN_BUF_ID);
    midi_recv();
    EXPECT_EQ(com_rx_len[MIDI_IN_BUF_ID], 2 + 51);
}

TEST(MidiPort, WhatAFullDeviceRefusesIsNotSentLater) {
    midi_init();
    const std::string bytes(64, '\x11');
    for (int i = 0; i < 4000; ++i) {  // far more than a pseudo-terminal holds
        midi_push_buf(bytes.data(), 64);
        midi_flush();
    }
    EXPECT_NE(host_got(), "");
    EXPECT_EQ(host_got(), "");
    midi_push_buf("\x21", 1);
    EXPECT_EQ(host_got(), "21");
}

TEST(MidiPort, AHangUpIsReportedOnce) {
    midi_init();
    testing::internal::CaptureStderr();
    midi_recv();
    hang_up_midi();
    midi_recv();
    midi_recv();
    midi_push_buf("\x01", 1);
    midi_flush();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "lost /dev/snd/midiC1D0: hung up\n");
}

// Idle passes for one road until the board is told something.
int passes_until_shown(int road) {
    for (int pass = 1; pass < 100; ++pass) {
        led_set_traffic_flag(TRAFFIC_FLAG_NO_DATA, road);
        led_show_traffic();
        if (board_got() != "") {
            return pass;
        }
    }
    return -1;
}

TEST(TrafficLed, ShowsEachRoadAndGoesOutSeventeenPassesLater) {
    cf_init();
    led_show_traffic();
    EXPECT_EQ(board_got(), "") << "nothing before the first traffic";
    cf_send("\x90\x01\x02", 3);
    led_show_traffic();
    led_show_traffic();
    EXPECT_EQ(board_got(), "90 01 02 90 38 01") << "the LED message is no traffic itself";
    EXPECT_EQ(passes_until_shown(0), 17);
    led_set_traffic_flag(TRAFFIC_FLAG_MIDI_OUT, 1);
    led_show_traffic();
    cf_send("\x90\x01\x02", 3);
    led_show_traffic();
    EXPECT_EQ(board_got(), "90 38 02 90 01 02 90 38 03");
    EXPECT_EQ(passes_until_shown(1), 17);
    for (int i = 0; i < 100; ++i) {  // cleared and set again within a pass
        led_set_traffic_flag(TRAFFIC_FLAG_NO_DATA, 0);
        led_set_traffic_flag(TRAFFIC_FLAG_UART_OUT, 0);
        led_show_traffic();
    }
    EXPECT_EQ(board_got(), "");
}

TEST(Task, TheClockMayWrap) {
    constexpr clock_t last =
        sizeof(clock_t) == 4 ? static_cast<clock_t>(INT_MAX) : static_cast<clock_t>(LONG_MAX);
    constexpr clock_t first =
        sizeof(clock_t) == 4 ? static_cast<clock_t>(INT_MIN) : static_cast<clock_t>(LONG_MIN);
    EXPECT_EQ(utl_elapsed_ms(1000, 3600999), 3599);
    EXPECT_EQ(utl_elapsed_ms(1000, 3601000), 3600);
    EXPECT_EQ(utl_elapsed_ms(last - 1999, first + 1999), 3);
}

TEST(Diagnostics, TheThresholdAndTheVerboseSwitch) {
    struct {
        int set;
        std::string shown;
    } const cases[] = {{0, "0 "},
                       {30, "0 3 10 20 30 "},
                       {150, "0 3 10 20 30 80 "},
                       {-1, ""},
                       {100, "100 "},  // on top of the threshold before
                       {20, "0 3 10 20 100 "}};
    for (const auto& c : cases) {
        testing::internal::CaptureStderr();
        dbg_set_msg_level(c.set);
        for (const int level : {0, 3, 10, 20, 30, 80, 100}) {
            dbg_pmesg(level, "%d ", level);
        }
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  " set level to " + std::to_string(c.set) + " \n" + c.shown);
    }
}

}  // namespace
