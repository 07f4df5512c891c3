// The account of messages: what a bridge does wrong must show in it.
#include "controller/account.h"

#include <gtest/gtest.h>

namespace bench {
namespace {

class AccountTest : public testing::Test {
  protected:
    AccountTest() {
        setup_.mapping.apply_base("0 0 7 0 0 0 2 FADER\n21 1 60 3 0 1 2 PLAY\n");
        restart();
    }
    void restart() {
        account_.emplace(End::Board, choose_tracks(setup_.mapping, host_, End::Board, false));
    }
    // Sends by a plan; returns what the daemon makes of it.
    std::vector<Bytes> send(const Plan& plan) {
        account_->begin(plan);
        const Bytes sent = account_->make(Clock::now());
        std::vector<Bytes> messages = Splitter().feed(sent.data(), sent.size());
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
            account_->take(message, Clock::now());
        }
    }

    bench::Setup setup_;
    Host host_{setup_.mapping, 0};
    std::optional<Account> account_;
};

constexpr Plan NOTES = {.count = 10};
constexpr int POT_COUNT = 15;  // that send positions under numbers of their own
constexpr Plan POTS = {
    .count = 4 * POT_COUNT, .window = 100, .note_depth = 0, .controller_depth = 4};

TEST_F(AccountTest, IsGoodWhenAllArriveInAnyOrder) {
    std::vector<Bytes> messages = send(NOTES);
    ASSERT_EQ(messages.size(), 10U);
    std::reverse(messages.begin(), messages.end());
    arrive(messages);
    EXPECT_TRUE(account_->good());
    EXPECT_EQ(account_->latencies().size(), 10U);
    messages = send(NOTES);  // the next press is a release where there was a press before
    arrive(messages);
    EXPECT_TRUE(account_->good()) << account_->summary();
}

TEST_F(AccountTest, TellsAMessageThatIsMissingAlteredOrThereTwice) {
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
        EXPECT_EQ(account_->done(), c.done);
        EXPECT_EQ(account_->unexpected() != "", c.unexpected);
        EXPECT_FALSE(account_->good());
    }
}

TEST_F(AccountTest, OnlyTheLastReadingOfAPotHasToArrive) {
    const std::vector<Bytes> messages = send(POTS);
    ASSERT_EQ(messages.size(), 4U * POT_COUNT);
    arrive({messages.begin(), messages.begin() + 3});
    EXPECT_EQ(account_->arrived(), 3);
    EXPECT_FALSE(account_->done());
    arrive({messages.end() - POT_COUNT, messages.end()});
    EXPECT_TRUE(account_->good()) << account_->summary();
    EXPECT_EQ(account_->arrived() + account_->merged(), 4 * POT_COUNT);
}

TEST_F(AccountTest, ALineThatLosesSomeIsDoneWhenNoMoreCome) {
    const std::vector<Bytes> messages = send({.count = 10, .lossy = true});
    auto time_passes = [this, now = Clock::now()]() mutable {
        for (int i = 0; i < 5; ++i) {
            EXPECT_FALSE(account_->failed(now += std::chrono::milliseconds(100)));
        }
    };
    time_passes();
    EXPECT_FALSE(account_->done());  // nothing has come
    arrive({messages[0], messages[4]});
    EXPECT_FALSE(account_->done());
    time_passes();
    EXPECT_TRUE(account_->good());
    arrive({{0x90, messages[5][1]}});  // cut
    EXPECT_FALSE(account_->good());
}

}  // namespace
}  // namespace bench
