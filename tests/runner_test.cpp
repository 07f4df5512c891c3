#include "scenario/runner.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "table.h"
#include "world/platform.h"

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
        Transcript transcript(controller.mapping(), false, true);
        return Runner(scenario, controller, transcript).play();
    }

    fs::path directory_;
};

TEST_F(RunnerTest, FailsWhereItShould) {
    for (const auto& row : table("failures.txt")) {
        const Outcome outcome = play(row[0], row[1]);
        EXPECT_FALSE(outcome.good) << row[1];
        EXPECT_NE(outcome.failure.find(row[2]), std::string::npos) << outcome.failure;
    }
}

TEST(Filling, IsAccountedFor) {
    const Filling filling{.messages = {{0x90, 1, 1}, {0x90, 2, 2}, {0x90, 3, 3}, {0x90, 4, 4}},
                          .fitting = 2};
    const Bytes first = {0x90, 1, 1}, second = {0x90, 2, 2}, third = {0x90, 3, 3},
                fourth = {0x90, 4, 4}, cut = {0x90, 3};
    const struct {
        const char* name;
        End from;
        std::vector<Bytes> came;
        bool good;
        std::size_t messages;
    } cases[] = {
        {"all there was room for", End::Board, {first, second}, true, 2},
        {"one more", End::Board, {first, second, third}, true, 3},
        {"the last one cut", End::Board, {first, second, cut}, true, 3},
        {"another after it", End::Board, {first, second, cut, first}, true, 3},
        {"less than there was room for", End::Board, {first, cut}, false, 0},
        {"one missing", End::Board, {second, third}, false, 0},
        {"one missing, lights", End::Host, {second, third}, false, 0},
        {"none lost", End::Board, {first, second, third, fourth}, false, 0},
        {"presses out of order", End::Board, {second, first}, false, 0},
        {"lights out of order", End::Host, {second, first}, true, 2},
        {"the traffic LED cut", End::Host, {first, second, {0x90, 0x38}}, true, 3},
    };
    for (const auto& [name, from, came, good, messages] : cases) {
        Filling sent = filling;
        sent.from = from;
        const FillingResult result = account(sent, came);
        EXPECT_EQ(result.good, good) << name << ": " << result.summary;
        if (good) {
            EXPECT_EQ(result.messages, messages) << name << ": " << result.summary;
        }
    }
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
