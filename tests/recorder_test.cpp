#include "panel/recorder.h"

#include <gtest/gtest.h>

namespace bench {
namespace {

constexpr End BOARD = End::Board, HOST = End::Host;

class Recording : public testing::Test {
  protected:
    Recording() {
        setup_.mapping.apply_base(
            "0 0 7 0 0 0 2 FADER\n12 12 19 0 1 48 2 PLATTER\n14 14 21 0 1 16 2 PARTNER\n"
            "21 1 60 3 0 1 2 PLAY\n22 2 60 3 0 1 2 CUE\n82 80 28 4 0 0 2 METER\n");
    }
    void play(const std::string& step, End end, const Bytes& bytes, int index) {
        played_.push_back({step, events_.size(), events_.size() + 1});
        events_.push_back(
            {.place = at(end), .to_daemon = true, .bytes = bytes, .text = {}, .control = index});
    }
    void come(End end, const Bytes& bytes, int index) {
        events_.push_back({.place = at(end), .bytes = bytes, .text = {}, .control = index});
    }
    void expect(const std::string& steps) const {
        EXPECT_EQ(recording(played_, events_, setup_),
                  "board drop\nhost drop\n" + steps + "board drop\nhost drop\n");
    }

    bench::Setup setup_;
    std::vector<Played> played_;
    std::vector<Event> events_;
};

TEST_F(Recording, PutsWhatCameAfterItsOwnStep) {
    play("press", BOARD, {0x90, 1, 127}, 21);
    play("light", HOST, {0x90, 60, 9}, 21);
    come(HOST, {0x90, 60, 127}, 21);
    come(BOARD, {0x90, TRAFFIC_LED, 3}, -1);
    come(BOARD, {0x90, 1, 9}, 21);
    play("meter", HOST, {0xB0, 28, 127}, 82);
    come(BOARD, {0xB0, 80, 0x37}, 82);
    expect("press\nhost until PLAY 127\nlight\nboard until PLAY 9\nmeter\nboard until METER 55\n");
}

TEST_F(Recording, KnowsWhatCameOfSharedNumbers) {
    play("press", BOARD, {0x90, 2, 127}, 22);
    come(HOST, {0x90, 60, 127}, 21);
    play("other", BOARD, {0x90, 1, 99}, 21);
    come(HOST, {0x90, 60, 99}, 21);
    play("release", BOARD, {0x80, 2, 0}, 22);
    come(HOST, {0x80, 60, 0}, 21);
    expect("press\nhost until CUE 127\nother\nhost until PLAY 99\nrelease\nhost until CUE off 0\n");
}

TEST_F(Recording, LeavesOutWhatMayMerge) {
    play("turn 10", BOARD, {0xB0, 0, 20}, 0);
    play("turn 20", BOARD, {0xB0, 0, 40}, 0);
    come(HOST, {0xB0, 7, 10}, 0);
    play("turn 30", BOARD, {0xB0, 0, 60}, 0);
    come(HOST, {0xB0, 7, 30}, 0);
    expect("turn 10\nturn 20\nturn 30\nhost until FADER 30\n");
}

TEST_F(Recording, ExpectsStepsOfOneMessageAtATime) {
    play("a", BOARD, {0xB0, 12, 0x43}, 12);
    come(HOST, {0xB0, 19, 0x41}, 12);
    play("b", BOARD, {0xB0, 12, 0x41}, 12);
    play("after b", BOARD, {0xB0, 12, 0x46}, 12);
    come(HOST, {0xB0, 19, 0x42}, 12);
    play("rest", BOARD, {0xB0, 12, 0x40}, 12);
    play("hand", BOARD, {0xB0, 14, 0x44}, 14);
    come(HOST, {0xB0, 21, 0x42}, 14);
    come(HOST, {0xB0, 21, 0x42}, 14);
    expect("a\nhost until PLATTER 65\nb\nafter b\nrest\nhand\n");
}

TEST_F(Recording, KeepsTheIdentityRequest) {
    play("ask", HOST, {0xF0, 0x7E, 0x7F, 6, 1, 0xF7}, -1);
    come(BOARD, {0xF0, 0x7E, 0x7F, 6, 1, 0xF7}, -1);
    come(BOARD, {0x90, 0, 0}, -1);
    expect("ask\nboard until identity request\nboard until 90 00 00 within 60000\n");
}

}  // namespace
}  // namespace bench
