// What comes from other software, in any pieces, and what the system tells of it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "port/ports.h"
#include "port/ring.h"
#include "port/system.h"
#include "port/whole.h"
#include "world/handles.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

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

// Of what a daemon sends to a device that nobody reads, all that does not arrive in the end is said
// to be lost.
TEST(Ports, CountWhatADeviceDoesNotTake) {
    constexpr int COUNT = 2000;
    const fs::path directory = fs::path(testing::TempDir()) / ("ports." + std::to_string(getpid()));
    fs::create_directories(directory / "resources");
    std::ofstream(directory / "daemon")
        << "#!/bin/sh\ns=$(printf '%0298d' 0)\nmodprobe a\nwhile [ $((i += 1)) -le " << COUNT
        << " ]; do\nprintf \"\\360$s\\367\"\ndone >/dev/snd/midiC1D0\nsleep 60\n";
    fs::permissions(directory / "daemon", fs::perms::owner_all);
    WorldConfig world;
    world.daemon = directory / "daemon";
    world.resources = directory / "resources";
    world.serial = false;
    Fd device(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK));
    unlockpt(device.get());
    Ports ports({.host = true, .where = ptsname(device.get()), .api = {}, .board = {}}, "");
    Controller controller(world);
    ports.attach(controller);
    const auto came = [&] {
        return std::count_if(controller.events().begin(), controller.events().end(),
                             [](const Event& event) { return event.came_to(End::Host); });
    };
    while (came() < COUNT && !controller.exit_status()) {
        ports.step(controller, milliseconds(100));
    }
    int lost = 0;
    ASSERT_EQ(std::sscanf(ports.state().c_str(), "port open, %d lost", &lost), 1) << ports.state();
    Splitter splitter;
    int arrived = 0;
    std::array<std::uint8_t, 4096> data;
    while (arrived + lost < COUNT) {
        ports.step(controller, milliseconds(1));
        const ssize_t size = read(device.get(), data.data(), data.size());
        for (const Bytes& message :
             splitter.feed(data.data(), size > 0 ? static_cast<std::size_t>(size) : 0)) {
            EXPECT_EQ(message.size(), 300U);
            ++arrived;
        }
    }
    EXPECT_EQ(arrived + lost, COUNT);
    device.reset();
    ports.step(controller, milliseconds(1));
    EXPECT_EQ(ports.state(), "port gone, " + std::to_string(lost) + " lost");
    fs::remove_all(directory);
}

}  // namespace
}  // namespace bench
