// What the machine and the bench say to each other, over a line that gives bytes as it likes.
#include "machine/frames.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace bench {
namespace {

using Frames = std::vector<std::pair<Frame, std::string>>;

Frames taken(const std::string& bytes, std::size_t piece) {
    Frames frames;
    Deframer deframer;
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
        deframer.feed(
            std::string_view(bytes).substr(at, piece),
            [&](Frame kind, const std::string& text) { frames.emplace_back(kind, text); });
    }
    return frames;
}

TEST(Frames, ArriveWholeInAnyPieces) {
    const Frames sent = {{Frame::Booted, ""},
                         {Frame::Log, std::string("L\0\xff\n", 4)},
                         {Frame::Screen, std::string(LONGEST_FRAME, 'S')},
                         {Frame::Done, "0"}};
    std::string bytes;
    for (const auto& [kind, text] : sent) {
        bytes += framed(kind, text);
    }
    for (const std::size_t piece : {std::size_t{1}, std::size_t{2}, std::size_t{3},
                                    std::size_t{255}, std::size_t{4096}, bytes.size()}) {
        EXPECT_EQ(taken(bytes, piece), sent) << "in pieces of " << piece;
    }
    EXPECT_EQ(taken(bytes.substr(0, bytes.size() - 1), 7).size(), sent.size() - 1);
}

TEST(Frames, AreCutAtTheLongest) {
    const Frames frames = taken(framed(Frame::Log, std::string(LONGEST_FRAME + 1, 'x')), 100);
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0].second.size(), LONGEST_FRAME);
}

}  // namespace
}  // namespace bench
