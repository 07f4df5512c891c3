// What comes from other software and from a board, in any pieces.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "port/heard.h"
#include "port/ports.h"
#include "port/whole.h"
#include "table.h"
#include "world/handles.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

TEST(WholeMessages, AreThoseOfAUsbHost) {
    for (const auto& row : table("wire.txt")) {
        for (const std::size_t piece : {1, 2, 100}) {
            if (row[0] != "usb") {
                break;
            }
            WholeMessages whole;
            const Bytes all = *parse_hex(row[1]);
            std::string came;
            for (std::size_t i = 0; i < all.size(); i += piece) {
                const std::size_t end = std::min(all.size(), i + piece);
                for (const Bytes& message : whole.feed(Bytes(&all[i], all.data() + end))) {
                    came += (came.empty() ? "" : ", ") + hex(message);
                }
            }
            EXPECT_EQ(came, row[2]) << row[1];
            EXPECT_EQ(std::to_string(whole.dropped()), row[3]) << row[1];
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

TEST(Heard, NamesWhatTheWireDoesNotKnow) {
    const Mapping mapping;
    for (const auto& row : table("wire.txt")) {
        if (row[0] != "heard") {
            continue;
        }
        Heard heard;
        const Bytes all = *parse_hex(row[1]);
        for (const Bytes& message : Splitter().feed(all.data(), all.size())) {
            heard.take(message, mapping);
        }
        std::string kinds;
        const std::vector<std::string> lines = heard.lines(mapping);
        for (const std::string& line : lines) {
            const std::size_t prefix = std::string(Heard::UNKNOWN).size();
            kinds += line.starts_with(Heard::UNKNOWN) ? ", " + line.substr(prefix) : "";
        }
        EXPECT_EQ(kinds.substr(std::min<std::size_t>(kinds.size(), 2)), row[3]) << row[1];
        EXPECT_EQ(lines.front(), row[2] + " of 72 controls have spoken") << row[1];
    }
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
    Ports ports({.host = true, .where = ptsname(device.get()), .board = {}}, "");
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
