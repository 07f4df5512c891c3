#include "controller/midi_text.h"

#include <gtest/gtest.h>

#include "controller/board.h"
#include "controller/host.h"
#include "table.h"

namespace bench {
namespace {

// The messages cut out of a stream, joined by ", "; what is pending comes after "...".
std::string cut(const std::string& stream) {
    Splitter splitter;
    std::string text;
    const Bytes bytes = parse_hex(stream).value();
    for (const std::uint8_t byte : bytes) {
        for (const Bytes& message : splitter.feed(&byte, 1)) {
            text += (text.empty() ? "" : ", ") + hex(message);
        }
    }
    return splitter.pending().empty() ? text : text + " ... " + hex(splitter.pending());
}

TEST(Wire, CutsAndShowsMessages) {
    for (const auto& row : table("wire.txt")) {
        if (row[0] == "messages") {
            EXPECT_EQ(cut(row[1]), row[2]);
        } else if (row[0] == "words") {
            EXPECT_EQ(describe(parse_hex(row[1]).value()), row[2]);
        }
    }
}

TEST(Wire, ReadsHexadecimal) {
    EXPECT_EQ(parse_hex(" 9 3C\t7f "), (Bytes{0x09, 0x3C, 0x7F}));
    for (const char* bad : {"90 3g", "000", "0x90", "-1", "903c"}) {
        EXPECT_FALSE(parse_hex(bad)) << bad;
    }
    EXPECT_EQ(hex(make_sysex(1000, false), 6), "f0 7d 76 7d .. f7");
    EXPECT_EQ(make_sysex(1000, false).size(), 1000U);
}

std::string all(const std::vector<Bytes>& messages) {
    std::string text;
    for (const Bytes& message : messages) {
        text += (text.empty() ? "" : ", ") + hex(message);
    }
    return text;
}

TEST(Board, MakesBytesOfGestures) {
    const Mapping mapping;
    Board board(mapping);
    EXPECT_EQ(all(board.turn(mapping.at(5), 127)), "b1 05 7f");
    EXPECT_EQ(all(board.turn(mapping.at(5), 63)), "b0 05 7e");
    EXPECT_EQ(all(board.spin(mapping.at(12), 100)), "b0 0c 7f, b0 0c 65");
    EXPECT_EQ(all(board.spin(mapping.at(18), -1)), "b0 40 3f");
    EXPECT_EQ(all(board.press(mapping.at(5))) + all(board.turn(mapping.at(12), 1)) +
                  all(board.spin(mapping.at(5), 1)),
              "");
    board.sent(board.turn(mapping.at(11), 127).front());
    board.receive({0x90, 0x00, 0x05});
    EXPECT_EQ(all(board.receive({0x90, 0x00, 0x00})), "") << "the screen has changed hands";
    const std::string report = all(board.receive({0x90, 0x00, 0x00}));
    EXPECT_TRUE(report.starts_with("b0 00 00, b0 01 00")) << report;
    EXPECT_TRUE(report.ends_with("b1 0b 7f, b0 10 00, b0 11 00, b0 41 00, b0 42 00")) << report;
}

}  // namespace
}  // namespace bench
