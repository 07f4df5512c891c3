// Receive rings and the dispatcher: what bytes become, seen where they come out.
#include "buffer.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

#include "config.h"
#include "midi.h"
#include "modules/ptys.h"
#include "pot.h"
#include "uart_cf.h"

namespace {

constexpr int BOARD = UART_OUT_BUF_ID;
constexpr int HOST = MIDI_IN_BUF_ID;

class Dispatch : public testing::Test {
  protected:
    void SetUp() override {
        write_resource("orvik.midictl.cfg",
                       "5 5 5 0 0 0 0 POT\n21 1 60 3 0 1 2 PLAY_A\n82 9 50 4 0 0 0 METER_A\n");
        write_resource("orvik.sys.cfg", "");
        set_midi_channel_no(2);
        pot_init();
        cf_init();
        midi_init();
        for (const int ring : {BOARD, HOST}) {
            while (com_rx_len[ring] > 0) {
                ChangeBufIndx(READ_INDX, ring);
            }
        }
    }

    // One pass of a worker over bytes that have just arrived.
    static void pass(int ring, const std::vector<int>& bytes) {
        for (const int value : bytes) {
            com_put_char(static_cast<char>(value), ring);
        }
        Com_ProcessComBuf(ring);
        pot_check_all(ring);
    }
};

std::vector<int> sysex(int size) {
    std::vector<int> message(static_cast<size_t>(size), 0x11);
    message.front() = 0xF0;
    message.back() = 0xF7;
    return message;
}

TEST(Ring, WrapsRefusesWhenFullAndKeepsTheSidesApart) {
    std::string bytes(250, 'x');
    com_put_buf(bytes.data(), 250, BOARD);
    for (int i = 0; i < 250; ++i) {
        ChangeBufIndx(READ_INDX, BOARD);
    }
    com_put_buf("0123456789", 10, BOARD);
    EXPECT_EQ(com_rx_buf[BOARD][255], '5');
    EXPECT_EQ(com_rx_buf[BOARD][1], '7');
    EXPECT_EQ(GetDataInRxBuf(7, BOARD), '7');
    EXPECT_EQ(com_rx_len[BOARD], 10) << "a look consumes nothing";
    EXPECT_EQ(com_rx_len[HOST], 0);

    std::string more(300, 'y');
    com_put_buf(more.data(), 300, BOARD);
    EXPECT_EQ(com_rx_len[BOARD], 256);
    EXPECT_EQ(com_free(BOARD), 0);
    EXPECT_EQ(com_rx_buf_r[BOARD], com_rx_buf_w[BOARD]);
    EXPECT_EQ(GetDataInRxBuf(0, BOARD), '0') << "the oldest byte was overwritten";
    EXPECT_EQ(GetDataInRxBuf(255, BOARD), 'y');
}

struct Framing {
    const char* what;
    int ring;
    std::vector<int> bytes;
    const char* host;   // what reaches the host
    const char* board;  // what reaches the board
    int left;           // bytes that stay pending
};

const std::vector<Framing> FRAMINGS = {
    {"note and controller in a row",
     BOARD,
     {0x90, 0x01, 0x40, 0xB0, 0x05, 0x40},
     "b2 05 20 92 3c 7f",
     "",
     0},
    {"any channel of a board controller", BOARD, {0xBD, 0x05, 0x7F}, "b2 05 7f", "", 0},
    {"a board note on another channel", BOARD, {0x91, 0x10, 0x7F}, "", "", 2},
    {"junk goes byte by byte",
     BOARD,
     {0x91, 0x10, 0x7F, 0xF7, 0xFE, 0x90, 0x01, 0x40},
     "92 3c 7f",
     "",
     0},
    {"a message broken off by the next", BOARD, {0x90, 0x10, 0x90, 0x01, 0x7F}, "92 3c 7f", "", 0},
    {"broken off behind the status byte", BOARD, {0xB0, 0x90, 0x01, 0x7F}, "92 3c 7f", "", 0},
    {"a real-time byte breaks a message", BOARD, {0x90, 0xF8, 0x01, 0x7F}, "", "", 2},
    {"board system exclusive, whole", BOARD, {0xF0, 0x00, 0x01, 0xF7}, "f0 00 01 f7", "", 0},
    {"status bytes inside belong to it",
     BOARD,
     {0xF0, 0x90, 0xF8, 0xF0, 0xF7, 0x90},
     "f0 90 f8 f0 f7",
     "",
     1},
    {"two of them", BOARD, {0xF0, 0x01, 0xF7, 0xF0, 0x02, 0xF7}, "f0 01 f7 f0 02 f7", "", 0},
    {"a lone F0 F7 waits for a third byte", BOARD, {0xF0, 0xF7}, "", "", 2},
    {"host note on our channel", HOST, {0x92, 0x3C, 0x05}, "", "90 01 05", 0},
    {"host note-off, as the mapping asks",
     HOST,
     {0x92, 0x3C, 0x05, 0x82, 0x3C, 0x40},
     "",
     "90 01 00",
     0},
    {"host meter", HOST, {0xB2, 0x32, 0x64}, "", "b0 09 35", 0},
    {"host channel 3 is not ours", HOST, {0x93, 0x3C, 0x05}, "", "", 2},
    {"program change is dropped", HOST, {0xC2, 0x3C, 0x92, 0x3C, 0x06}, "", "90 01 06", 0},
    {"data bytes that look like the channel",
     HOST,
     {0x12, 0x02, 0x92, 0x3C, 0x07},
     "",
     "90 01 07",
     0},
    {"Identity Request to one device", HOST, {0xF0, 0x7E, 0x00, 0x06, 0x01, 0xF7}, "", "", 0},
    {"Identity Request to all",
     HOST,
     {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7},
     "",
     "f0 7e 7f 06 01 f7",
     0},
    {"seven bytes are no Identity Request",
     HOST,
     {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0x00, 0xF7},
     "",
     "",
     0},
    {"a long one from the host is dropped", HOST, sysex(200), "", "", 0},
};

TEST_F(Dispatch, FramesEachStream) {
    for (const Framing& c : FRAMINGS) {
        SCOPED_TRACE(c.what);
        SetUp();
        pass(c.ring, c.bytes);
        EXPECT_EQ(host_got(), c.host);
        EXPECT_EQ(board_got(), c.board);
        EXPECT_EQ(com_rx_len[c.ring], c.left);
    }
}

TEST_F(Dispatch, AnIncompleteSystemExclusiveHoldsItsRing) {
    pass(BOARD, {0xF0, 0x01, 0x02, 0x90, 0x01, 0x40});
    EXPECT_EQ(com_rx_len[BOARD], 6);
    EXPECT_EQ(host_got(), "");
    pass(BOARD, {0xF7, 0x90, 0x01, 0x40});
    EXPECT_EQ(host_got(), "f0 01 02 90 01 40 f7 92 3c 7f");
}

TEST_F(Dispatch, LongBoardSystemExclusiveArrivesWholeBehindWhatWasQueued) {
    for (const int size : {64, 65, 128, 129, 256}) {
        SCOPED_TRACE(size);
        SetUp();
        if (size > 64) {
            midi_push_buf("\x01\x02", 2);
        }
        pass(BOARD, sysex(size));
        const std::string got = host_got();
        std::string expected = size > 64 ? "01 02 f0" : "f0";
        for (int i = 0; i < size - 2; ++i) {
            expected += " 11";
        }
        EXPECT_EQ(got, expected + " f7");
    }
}

TEST_F(Dispatch, ARingFullOfUnterminatedSystemExclusiveIsFreed) {
    for (const int ring : {BOARD, HOST}) {
        std::vector<int> bytes(256, 0x11);
        bytes.front() = 0xF0;
        testing::internal::CaptureStderr();
        pass(ring, bytes);
        EXPECT_EQ(
            testing::internal::GetCapturedStderr(),
            "system exclusive without end fills buffer " + std::to_string(ring) + ": discarded\n");
        EXPECT_EQ(com_rx_len[ring], 0);
        pass(ring, {0x11, 0x11, 0xF7, ring == BOARD ? 0x90 : 0x92, ring == BOARD ? 0x01 : 0x3C, 5});
    }
    EXPECT_EQ(host_got(), "92 3c 7f");
    EXPECT_EQ(board_got(), "90 01 05");
}

TEST_F(Dispatch, TheIdentityRequestMakesTheBoardSideReportAfresh) {
    pass(BOARD, {0xB0, 0x05, 0x40, 0x90, 0x01, 0x40});
    EXPECT_EQ(host_got(), "b2 05 20 92 3c 7f");
    pass(HOST, {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7});
    EXPECT_EQ(host_got(), "");
    pass(BOARD, {0xB0, 0x05, 0x40, 0x90, 0x01, 0x40});
    EXPECT_EQ(host_got(), "b2 05 20 92 3c 7f") << "the same values, sent again";
}

TEST_F(Dispatch, AnIdentityRequestBetweenStoreAndScanLosesNoPress) {
    com_put_buf("\x90\x01\x40", 3, BOARD);
    Com_ProcessComBuf(BOARD);
    pass(HOST, {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7});
    pot_check_all(BOARD);
    EXPECT_EQ(host_got(), "92 3c 7f");
    pass(BOARD, {0x90, 0x01, 0x40});
    EXPECT_EQ(host_got(), "92 3c 7f") << "forgotten in the next pass";
}

}  // namespace
