// Receive rings and the dispatcher: what bytes become, seen where they come out.
#include "buffer.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "play.h"

namespace {

const char* const MAPPING = "5 5 5 0 0 0 0 POT\n21 1 60 3 0 1 2 PLAY_A\n82 9 50 4 0 0 0 METER_A\n";

TEST(Scripts, Play) {
    int played = 0;
    for (const auto& entry : std::filesystem::directory_iterator(TESTS "/scripts")) {
        SCOPED_TRACE(entry.path());
        std::ifstream script(entry.path());
        play({std::istreambuf_iterator<char>(script), {}});
        ++played;
    }
    EXPECT_GT(played, 0);
}

TEST(Ring, WrapsRefusesWhenFullAndKeepsTheSidesApart) {
    EXPECT_EQ(com_free(BOARD), 256);
    const std::string bytes(250, 'x');
    com_put_buf(bytes.data(), 250, BOARD);
    for (int i = 0; i < 250; ++i) {
        ChangeBufIndx(READ_INDX, BOARD);
    }
    com_put_buf("0123456789", 10, BOARD);
    EXPECT_EQ(com_rx_buf[BOARD][255], '5');
    EXPECT_EQ(com_rx_buf[BOARD][1], '7');
    EXPECT_EQ(GetDataInRxBuf(7, BOARD), '7');
    EXPECT_EQ(com_rx_len[BOARD], 10) << "a look consumes nothing";
    EXPECT_EQ(com_free(BOARD), 246);
    EXPECT_EQ(com_rx_len[HOST], 0);

    const std::string more(300, 'y');
    com_put_buf(more.data(), 300, BOARD);
    EXPECT_EQ(com_rx_len[BOARD], 256);
    EXPECT_EQ(com_free(BOARD), 0);
    EXPECT_EQ(com_rx_buf_r[BOARD], com_rx_buf_w[BOARD]);
    EXPECT_EQ(GetDataInRxBuf(0, BOARD), '0') << "the oldest byte was overwritten";
    EXPECT_EQ(GetDataInRxBuf(255, BOARD), 'y');
}

TEST(Dispatch, FramesEachStream) {
    start(MAPPING, 2);
    play("host f0 " + repeat("11 ", 62) + "f7 92 3c 0b > board 90 01 0b\n" +  //
         "host f0 " + repeat("11 ", 63) + "f7 92 3c 0c > board 90 01 0c\n" + "host f0 " +
         repeat("11 ", 198) + "f7 92 3c 0d > board 90 01 0d\n");
}

TEST(Dispatch, EveryFirstByteHasItsRoute) {
    start(MAPPING, 2);
    start(MAPPING, 15);
    for (int first = 0; first < 256; ++first) {
        const std::string byte = hex(first);
        const std::string from_board = first >> 4 == 0xB ? "host bf 05 " + hex(63 + first % 2 * 64)
                                       : first == 0x90   ? "host 9f 05 7f"
                                       : first == 0x80   ? "host 8f 05 7e"
                                                         : "ring0 2";
        const std::string from_host = first == 0x9F   ? "board 90 01 05"
                                      : first == 0x8F ? "board 90 01 00"
                                      : first == 0xBF ? "board b0 09 30"
                                                      : "ring1 2";
        if (first != 0xF0) {
            reset();
            play("board " + byte + " 05 7e > " + from_board);
            reset();
            play("host " + byte + (first == 0xBF ? " 32 05 > " : " 3c 05 > ") + from_host);
        }
    }
}

TEST(Dispatch, LongBoardSystemExclusiveArrivesWholeAfterWhatWasQueued) {
    start(MAPPING, 2);
    for (const int size : {64, 65, 128, 129, 256}) {
        const std::string message = "f0 " + repeat("11 ", size - 2) + "f7";
        if (size > 64) {
            midi_push_buf("\x01\x02", 2);
        }
        play("board " + message + " > host " + (size > 64 ? "01 02 " : "") + message);
    }
}

TEST(Dispatch, ARingFullOfUnterminatedSystemExclusiveIsFreed) {
    start(MAPPING, 2);
    for (const char* const side : {"board ", "host "}) {
        const std::string ring = side[0] == 'b' ? "0" : "1";
        play(side + ("f0 " + repeat("11 ", 254)) + "> ring" + ring + " 255");
        testing::internal::CaptureStderr();
        play(side + std::string("11 >"));
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "system exclusive without end fills buffer " + ring + ": discarded\n");
    }
    play("board 11 11 f7 90 01 05 host 11 11 f7 92 3c 05 > host 92 3c 7f board 90 01 05");
}

TEST(Dispatch, AnIdentityRequestBetweenStoreAndScanLosesNoPress) {
    start(MAPPING, 2);
    com_put_buf("\x80\x01\x40", 3, BOARD);
    Com_ProcessComBuf(BOARD);
    com_initiate_pot_rpt();
    pot_check_all(BOARD);
    EXPECT_EQ(host_got(), "82 3c 40");
    play("board 80 01 40 > host 82 3c 40\nboard 80 01 40 >");
}

}  // namespace
