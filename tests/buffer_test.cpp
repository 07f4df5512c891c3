// Receive rings and the dispatcher: what bytes become, seen where they come out.
#include "buffer.h"

#include <filesystem>
#include <random>

#include "main.h"
#include "play.h"

namespace {

const char* const MAPPING = "5 5 5 0 0 0 0 POT\n21 1 60 3 0 1 2 PLAY_A\n82 9 50 4 0 0 0 METER_A\n";

TEST(Scripts, Play) {
    int played = 0;
    for (const auto& entry : std::filesystem::directory_iterator(TESTS "/scripts")) {
        SCOPED_TRACE(entry.path());
        play(read_file(entry.path()));
        ++played;
    }
    EXPECT_GT(played, 0);
}

TEST(Dispatch, EveryFirstByteHasItsRoute) {
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

// What comes of bytes that arrive in pieces of any size.
template <typename Send, typename Pass, typename Got>
std::string told(std::string bytes, Send send, Pass pass, Got got) {
    static std::mt19937 random(20);
    std::string all;
    for (int idle = 0; idle < 3; ++idle) {
        if (!bytes.empty()) {
            const size_t piece = 3 * (1 + random() % (random() % 8 == 0 ? 256 : 8));
            send(bytes.substr(0, piece));
            bytes.erase(0, piece);
            idle = 0;
        }
        pass();
        const std::string some = got();
        all += some.empty() ? "" : some + " ";
    }
    return all;
}

TEST(Dispatch, SystemExclusiveOfAnyLengthAndContentKeepsToItself) {
    start(MAPPING, 2);
    std::mt19937 random(7);
    int velocity = 0;
    testing::internal::CaptureStderr();
    for (const int size : {63, 64, 65, 128, 255, 256, 257, 300, 319, 320, 321, 513, 5000, 100000}) {
        std::string message = "f0 ";
        for (int i = 0; i < size - 2; ++i) {
            const int byte = static_cast<int>(random() % 256);
            message += hex(byte == SYSEX_END ? 0x90 : byte) + " ";
        }
        message += "f7 ";
        const std::string value = hex(++velocity) + " ";
        midi_push_byte(1);  // is queued before
        EXPECT_EQ(told(message, board_sends, uart_pass, host_got), "01 " + message) << size;
        EXPECT_EQ(told("80 01 " + value, board_sends, uart_pass, host_got), "82 3c " + value);
        if (size > 64) {  // up to there, one fills the output of a pass
            EXPECT_EQ(told(message + "80 01 7f", board_sends, uart_pass, host_got),
                      message + "82 3c 7f ")
                << size;
        }
        board_got();
        EXPECT_EQ(told(message + "92 3c " + value, host_sends, midi_pass, board_got),
                  "90 01 " + value)
            << size;
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Dispatch, NothingComesBetweenThePiecesOfAMessage) {
    start("5 5 5 0 0 0 3 POT\n21 1 60 3 0 1 2 PLAY_A\n", 2);
    const std::string most = "f0" + repeat(" 11", 252);
    play("2 passes >\nboard b0 05 20 > host b2 05 10\nboard b0 05 40 " + most +
         " > ring0 253\nboard 11 11 11 90 01 > host " + most + " 11 11 11\n" +
         "> host 90 01\n4 passes >\n"
         "board f7 80 01 10 > host f7 82 3c 10\n> host b2 05 20");
}

TEST(Dispatch, ASilenceEndsAMessageThatHasOutgrownTheRing) {
    start(MAPPING, 2);
    const auto after = [](int milliseconds, const std::string& script) {
        time_since_boot += milliseconds * 1000;
        testing::internal::CaptureStderr();
        play(script);
        return testing::internal::GetCapturedStderr();
    };
    const std::string most = "f0" + repeat(" 11", 254);
    for (const std::string side : {"board ", "host "}) {
        const bool board = side == "board ";
        const std::string ring = board ? "0" : "1";
        const auto sent = [&](const std::string& bytes, const std::string& came) {
            return side + bytes + " >" + (board ? " host " + came : "") + "\n";
        };
        const std::string waits = "> ring" + ring + " 255\n";
        EXPECT_EQ(after(0, side + most + waits), "");
        EXPECT_EQ(after(9000, waits + waits + waits), "");
        EXPECT_EQ(after(0, sent("11", most + " 11")), "");
        EXPECT_EQ(after(299, ">\n>\n"), "");
        EXPECT_EQ(after(299, ">\n>\n"), "");
        EXPECT_EQ(after(1, ">\n" + sent("11 90 01 7f", "11 90 01 7f")), "") << "held up";
        EXPECT_EQ(after(0, ">\n"), "");
        EXPECT_EQ(after(300, ">\n"), "");
        EXPECT_EQ(after(0, ">\n>\n"), "system exclusive without end in buffer " + ring +
                                          ": over after 260 bytes and a silence of 300 ms\n");
        EXPECT_EQ(after(0, board ? "board 11 11 f7 80 01 05 > host 82 3c 05\n"
                                 : "host 11 11 f7 92 3c 05 > board 90 01 05\n"),
                  "");
    }
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
