// The account of a stream of messages: what a bridge does wrong must show in it.
#include "measure/traffic.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

namespace bench {
namespace {

class Account : public testing::Test {
  protected:
    Account() {
        setup_.mapping.apply_base("0 0 7 0 0 0 2 FADER\n21 1 60 3 0 1 2 PLAY\n");
        EXPECT_EQ(pipe2(there_.data(), O_NONBLOCK), 0);
        EXPECT_EQ(pipe2(back_.data(), O_NONBLOCK), 0);
        restart();
    }
    ~Account() override {
        for (const int fd : {there_[0], there_[1], back_[0], back_[1]}) {
            close(fd);
        }
    }
    void restart() {
        stream_.emplace(End::Board, there_[1], back_[0],
                        choose_tracks(setup_.mapping, host_, End::Board, false));
    }
    // Sends by a plan; returns what the daemon makes of it.
    std::vector<Bytes> send(const Plan& plan) {
        stream_->begin(plan);
        stream_->send(Clock::now());
        std::array<std::uint8_t, 4096> data;
        const ssize_t size = read(there_[0], data.data(), data.size());
        std::vector<Bytes> messages =
            Splitter().feed(data.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        for (Bytes& message : messages) {
            const Control* const control = setup_.mapping.sent_by_board(message[0], message[1]);
            if (!control->sends_notes()) {
                message[2] = static_cast<std::uint8_t>(position_in(message));
                message[0] = CONTROL_CHANGE;
            }
            message[1] = static_cast<std::uint8_t>(control->host_sees);
        }
        return messages;
    }
    void arrive(const std::vector<Bytes>& messages) {
        for (const Bytes& message : messages) {
            EXPECT_EQ(write(back_[1], message.data(), message.size()), 3);
        }
        stream_->receive();
    }

    bench::Setup setup_;
    Host host_{setup_.mapping, 0};
    std::array<int, 2> there_{}, back_{};
    std::optional<Stream> stream_;
};

constexpr Plan NOTES = {.count = 10};
constexpr int POT_COUNT = 15;  // that send positions under numbers of their own
constexpr Plan POTS = {
    .count = 4 * POT_COUNT, .window = 100, .note_depth = 0, .controller_depth = 4};

TEST_F(Account, IsGoodWhenAllArriveInAnyOrder) {
    std::vector<Bytes> messages = send(NOTES);
    ASSERT_EQ(messages.size(), 10U);
    std::reverse(messages.begin(), messages.end());
    arrive(messages);
    EXPECT_TRUE(stream_->good());
    EXPECT_EQ(stream_->latencies().size(), 10U);
    messages = send(NOTES);  // the next press is a release where there was a press before
    arrive(messages);
    EXPECT_TRUE(stream_->good()) << summary(*stream_);
}

TEST_F(Account, TellsAMessageThatIsMissingAlteredOrThereTwice) {
    struct {
        const char* what;
        void (*spoil)(std::vector<Bytes>&);
        bool done, unexpected;
    } const cases[] = {
        {"missing", [](std::vector<Bytes>& all) { all.pop_back(); }, false, false},
        {"another value", [](std::vector<Bytes>& all) { all[3][2] ^= 1; }, false, true},
        {"another number", [](std::vector<Bytes>& all) { all[3][1] = 127; }, false, true},
        {"twice", [](std::vector<Bytes>& all) { all.push_back(all[4]); }, true, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        restart();
        std::vector<Bytes> messages = send(NOTES);
        c.spoil(messages);
        arrive(messages);
        EXPECT_EQ(stream_->done(), c.done);
        EXPECT_EQ(stream_->unexpected() != "", c.unexpected);
        EXPECT_FALSE(stream_->good());
    }
}

TEST_F(Account, OnlyTheLastReadingOfAPotHasToArrive) {
    const std::vector<Bytes> messages = send(POTS);
    ASSERT_EQ(messages.size(), 4U * POT_COUNT);
    arrive({messages.begin(), messages.begin() + 3});
    EXPECT_EQ(stream_->arrived(), 3);
    EXPECT_FALSE(stream_->done());
    arrive({messages.end() - POT_COUNT, messages.end()});
    EXPECT_TRUE(stream_->good()) << summary(*stream_);
    EXPECT_EQ(stream_->arrived() + stream_->merged(), 4 * POT_COUNT);
}

}  // namespace
}  // namespace bench
