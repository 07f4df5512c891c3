// What comes from other software and from a board, in any pieces.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "port/heard.h"
#include "port/ports.h"
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

TEST(Heard, NamesWhatTheWireDoesNotKnow) {
    const struct {
        const char* bytes;
        int spoken;
        const char* unknown;
    } cases[] = {
        {"90 01 7f 80 01 00 90 2c 7f 90 46 00", 3, ""},
        {"90 60 7f 80 60 00 f0 7e 00 06 02 f7 f0 f7", 0, ""},
        {"b0 05 7f b1 05 00 b0 0c 41 b0 0e 3f b0 40 41 b0 40 41", 4, ""},
        {"90 00 7f 90 2d 7f 90 3f 7f 90 47 7f 80 47 00", 0,
         "1 × note 0x00, 1 × note 0x2D, 1 × note 0x3F, 2 × note 0x47"},
        {"b0 12 00 b0 3f 00 b1 43 7f", 0,
         "1 × controller 0x12, 1 × controller 0x3F, 1 × controller 0x43"},
        {"91 01 7f 83 01 00 83 02 00", 0, "1 × notes on channel 1, 2 × notes on channel 3"},
        {"b2 05 00 b1 0c 41 b1 40 41", 0,
         "2 × controllers on channel 1, 1 × controllers on channel 2"},
        {"f8 c1 05 c1 06 01 90 01 b0 05 41 f7", 1,
         "1 × data byte without a status byte, 2 × message cut short, 2 × status byte 0xC1, "
         "1 × status byte 0xF8"},
        {"b0 05 41 b0 05 41 b0 05 40 b0 05 40 b0 05 3f b0 05 3f", 1,
         "2 × steps from unmapped_5, a position"},
        {"b0 05 7f b0 05 41 b0 05 41 b1 00 41 b1 00 41", 2, ""},
    };
    const Mapping mapping;
    for (const auto& [bytes, spoken, unknown] : cases) {
        Heard heard;
        const Bytes all = *parse_hex(bytes);
        for (const Bytes& message : Splitter().feed(all.data(), all.size())) {
            heard.take(message, mapping);
        }
        std::string kinds;
        const std::vector<std::string> lines = heard.lines(mapping);
        for (const std::string& line : lines) {
            const std::size_t prefix = std::string(Heard::UNKNOWN).size();
            kinds += line.starts_with(Heard::UNKNOWN) ? ", " + line.substr(prefix) : "";
        }
        EXPECT_EQ(kinds.substr(std::min<std::size_t>(kinds.size(), 2)), unknown) << bytes;
        EXPECT_EQ(lines.front(), std::to_string(spoken) + " of 72 controls have spoken") << bytes;
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
