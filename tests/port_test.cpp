// What comes from other software, in any pieces, and what the system tells of it.
#include <gtest/gtest.h>

#include <thread>

#include "port/ring.h"
#include "port/system.h"
#include "port/whole.h"

namespace bench {
namespace {

TEST(WholeMessages, AreThoseOfAUsbHost) {
    const struct {
        const char *bytes, *messages;
        int dropped;
    } cases[] = {
        {"90 3c 7f 3d 7f 3e 00", "90 3c 7f, 90 3d 7f, 90 3e 00", 0},
        {"90 3c f8 7f 3d f8 01", "f8, 90 3c 7f, f8, 90 3d 01", 0},
        {"c5 01 02 d0 03", "c5 01, c5 02, d0 03", 0},
        {"f0 01 fe 02 f7 90 3c 7f", "fe, f0 01 02 f7, 90 3c 7f", 0},
        {"90 3c 7f f0 f7 3c 7f", "90 3c 7f, f0 f7", 2},
        {"90 3c 7f f1 05 3c", "90 3c 7f, f1 05", 1},
        {"90 3c b0 07 40 08 41", "b0 07 40, b0 08 41", 1},
        {"f0 01 02 90 3c 7f 3d 01", "90 3c 7f, 90 3d 01", 1},
        {"f7 12 13 f6 90 3c 7f", "f6, 90 3c 7f", 3},
    };
    for (const auto& [bytes, messages, dropped] : cases) {
        for (const std::size_t piece : {1, 2, 100}) {
            WholeMessages whole;
            const Bytes all = *parse_hex(bytes);
            std::string came;
            for (std::size_t i = 0; i < all.size(); i += piece) {
                const std::size_t end = std::min(all.size(), i + piece);
                for (const Bytes& message : whole.feed(Bytes(&all[i], all.data() + end))) {
                    came += (came.empty() ? "" : ", ") + hex(message);
                }
            }
            EXPECT_EQ(came, messages) << bytes;
            EXPECT_EQ(whole.dropped(), dropped) << bytes;
        }
    }
}

TEST(WholeMessages, WithoutAnEndAreCut) {
    WholeMessages whole;
    Bytes bytes(WholeMessages::LONGEST + 1, 0x01);
    bytes.front() = SYSEX_START;
    EXPECT_TRUE(whole.feed(bytes).empty());
    EXPECT_EQ(whole.dropped(), 1);
    EXPECT_EQ(whole.feed({0x90, 1, 2}), std::vector<Bytes>({{0x90, 1, 2}}));
}

TEST(Ring, LosesNothingUncounted) {
    constexpr int COUNT = 300000;
    Ring ring(100);
    std::vector<int> came;
    std::thread from([&] {
        for (int i = 0; i < COUNT; ++i) {
            ring.put({byte(i & 0x7F), byte(i >> 7 & 0x7F), byte(i >> 14)});
        }
        ring.put({});
    });
    Bytes rest;
    const auto take = [&] {
        const Bytes taken = ring.take(7);
        rest.insert(rest.end(), taken.begin(), taken.end());
        for (; rest.size() >= 3; rest.erase(rest.begin(), rest.begin() + 3)) {
            came.push_back(rest[0] | rest[1] << 7 | rest[2] << 14);
        }
        return !taken.empty();
    };
    while (static_cast<int>(came.size()) + ring.lost() < COUNT) {
        take();
    }
    from.join();
    EXPECT_TRUE(std::adjacent_find(came.begin(), came.end(), std::greater_equal<>()) == came.end());
    EXPECT_GT(came.size(), 0U);
    EXPECT_FALSE(take());
}

TEST(AlsaClients, AreReadWithTheirConnections) {
    const std::string text =
        "Client info\n  cur  clients : 3\n\nClient   0 : \"System\" [Kernel]\n"
        "  Port   1 : \"Announce\" (R-e-)\n    Connecting To: 15:0\n"
        "Client 128 : \"Orvik Two Deck\" [User]\n  Port   0 : \"out\" (R-e-)\n"
        "    Connecting To: 130:0, 131:2[real:0]\n"
        "Client 129 : \"Orvik Two Deck\" [User]\n  Port   0 : \"in\" (-We-)\n"
        "    Connected From: 130:1\n"
        "Client 130 : \"software\" [User]\n  Port   0 : \"x\" (-We-)\n    Connected From: 128:0\n";
    EXPECT_EQ(alsa_clients(text, "Orvik Two Deck"), (std::set<int>{128, 129}));
    const Connected connected = alsa_connections(text, {128, 129});
    EXPECT_EQ(connected.get, 2);
    EXPECT_EQ(connected.send, 1);
}

}  // namespace
}  // namespace bench
