#include "runner.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

// Plays steps against a daemon that is a shell script and has no serial line.
class RunnerTest : public testing::Test {
  protected:
    RunnerTest()
        : directory_(fs::path(testing::TempDir()) / ("runner." + std::to_string(getpid()))) {
        fs::create_directories(directory_ / "resources");
    }
    ~RunnerTest() override { fs::remove_all(directory_); }

    Outcome play(const std::string& daemon, const std::string& steps) {
        WorldConfig world;
        world.daemon = directory_ / "daemon";
        world.resources = directory_ / "resources";
        world.serial = false;
        std::ofstream(world.daemon) << "#!/bin/sh\n" << daemon << "\nsleep 60\n";
        fs::permissions(world.daemon, fs::perms::owner_all);
        const Scenario scenario = parse_scenario("t.scn", steps, world);
        Controller controller(scenario.world);
        Transcript transcript(controller.mapping(), {}, true);
        return Runner(scenario, controller, transcript).play();
    }

    fs::path directory_;
};

TEST_F(RunnerTest, FailsWhereItShould) {
    const struct {
        const char *daemon, *steps, *failure;
    } cases[] = {
        {"printf '\\220\\001\\100' >/dev/snd/midiC1D0",
         "host expect 90 01 .. \nexit expect 0 within 100", ":2: exit expect 0"},
        {"printf '\\220\\001\\100' >/dev/snd/midiC1D0", "host expect 90 01 41",
         "came      90 01 40"},
        {"modprobe a; printf '\\220\\001\\100' >/dev/snd/midiC1D0", "host silent 500",
         "came      90 01 40"},
        {"printf '\\220\\001\\100' >/dev/snd/midiC1D0", "wait 200", "left over at the host"},
        {":", "host expect 90 01 41 within 100", "came      nothing within 100 ms"},
        {"modprobe a; : >/dev/snd/midiC1D0", "board send 90", "there is no line to the board"},
        {"modprobe a; modprobe b", "call until modprobe b\ncall refuse modprobe a", "refused"},
        {"modprobe a; modprobe b", "call expect modprobe b", "came      modprobe a"},
        {"modprobe a; sleep 1; modprobe b", "call refuse modprobe b\nwait 1500",
         "came      modprobe b"},
        {"echo one; echo two", "log expect two\nlog expect one within 100", "expected  one"},
        {"echo 'x.cpp:1: runtime error: y'", "wait 500", "a sanitizer reports"},
        {"kill -9 $$", "wait 500", "exit status 137"},
        {"exit 3", "exit expect 4", "came      exit status 3"},
        {"modprobe a; printf '\\220\\001\\100' >/dev/snd/midiC1D0; modprobe b",
         "watch order\ncall until modprobe b\nhost expect 90 01 40", "came before"},
    };
    for (const auto& [daemon, steps, failure] : cases) {
        const Outcome outcome = play(daemon, steps);
        EXPECT_FALSE(outcome.good) << steps;
        EXPECT_NE(outcome.failure.find(failure), std::string::npos) << outcome.failure;
    }
}

TEST_F(RunnerTest, HoldsWhatComes) {
    const Outcome outcome = play(
        "modprobe a 'b c'; printf '\\220\\001\\100' >/dev/snd/midiC1D0; echo text; sleep 1; exit 3",
        "watch order\ncall expect modprobe a b c\nhost expect 90 01 40\nlog expect ex\n"
        "call refuse poweroff\nexit expect 3");
    EXPECT_TRUE(outcome.good) << outcome.failure;
    EXPECT_EQ(outcome.expectations, 5);
}

}  // namespace
}  // namespace bench

// The worlds run this program as their platform.
int main(int argc, char** argv) {
    const int platform_status = bench::platform_main(argc, argv);
    if (platform_status != -1) {
        return platform_status;
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
