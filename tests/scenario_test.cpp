#include "scenario/scenario.h"

#include <gtest/gtest.h>

namespace bench {
namespace {

constexpr const char* HEAD =
    "file orvik.midictl.cfg\n"
    "    21 1 60 3 0 1 2 PLAY_A\n"
    "    0 0 7 0 0 0 2 VOLUME_A\n"
    "    82 80 28 4 0 0 2 METER_A\n"
    "file orvik.sys.cfg\n"
    "    midi_channel=4\n";

Scenario parse(const std::string& steps) {
    return parse_scenario("tests/t.scn", HEAD + steps, {});
}

TEST(Scenario, SaysWhereALineIsWrong) {
    const struct {
        const char *step, *message;
    } cases[] = {
        {"board press PLAY_B",
         "expected board press BUTTON [VELOCITY]; no control is called PLAY_B"},
        {"board press VOLUME_A", "expected board press BUTTON [VELOCITY]"},
        {"board press PLAY_A 128", "expected board press BUTTON [VELOCITY]"},
        {"board turn VOLUME_A 1 2", "expected board turn POT 0..127"},
        {"host light METER_A 1", "expected host light LIGHT 0..127"},
        {"host send", "expected host send BYTES | sysex"},
        {"host expect METER_A 3", "expected host expect BYTES | CONTROL"},
        {"board expect PLAY_A off", "expected board expect BYTES | CONTROL"},
        {"host expect 90 3c within soon", "expected host expect BYTES"},
        {"both flood 10 pots", "expected both flood MESSAGES"},
        {"host press PLAY_A", "expected host light | dark"},
        {"sleep 5", "expected a step: board, host"},
        {"wait 5\nwithout midi", "expected set-up lines before the first step"},
        {"xfbdev", "expected xfbdev lingers MS | ignores SIGNALS"},
        {"without cable", "expected without serial | midi | command NAME"},
        {"without command echo",
         "expected without serial | midi | command NAME; the world has no command echo that"},
        {"mode orvik.sys.cfg 0", "expected mode NAME OCTAL"},
        {"mode orvik.sys.cfg 778", "expected mode NAME OCTAL"},
        {"mode x 000", "expected mode NAME OCTAL; up to this line there is no file x"},
        {"host stops", "expected host stops reading"},
        {"host reads", "expected host reads again"},
        {"log line x", "expected log line \"TEXT\""},
        {"file x hex\n    1g", "expected bytes in hexadecimal"},
        {"file x\n   y", "expected lines of a file indented by four blanks"},
    };
    for (const auto& [step, message] : cases) {
        const std::string line = std::string(step).find('\n') == std::string::npos ? "7" : "8";
        try {
            parse(step);
            ADD_FAILURE() << step << " was taken";
        } catch (const ScenarioError& error) {
            EXPECT_TRUE(
                std::string(error.what()).starts_with("tests/t.scn:" + line + ": " + message))
                << step << ": " << error.what();
        }
    }
}

TEST(Scenario, NamesBecomeBytes) {
    const Scenario scenario = parse(
        "## What it shows\n"
        "board press PLAY_A 51\n"
        "host expect PLAY_A 127 within 50\n"
        "host expect PLAY_A off\n"
        "board expect METER_A 0x33\n"
        "host send sysex 100 open\n"
        "board expect f0 .. f7\n");
    const std::vector<Step>& steps = scenario.steps;
    EXPECT_EQ(steps[0].words, "What it shows");
    EXPECT_EQ(steps[1].messages, (std::vector<Bytes>{{0x90, 0x01, 51}}));
    EXPECT_TRUE(matches(steps[2].pattern, {0x94, 60, 127}));
    EXPECT_EQ(steps[2].time, milliseconds(50));
    EXPECT_TRUE(matches(steps[3].pattern, {0x84, 60, 9}));
    EXPECT_FALSE(matches(steps[3].pattern, {0x94, 60, 9}));
    EXPECT_TRUE(matches(steps[4].pattern, {0xB0, 80, 0x33}));
    EXPECT_EQ(steps[5].messages.front().size(), 99U);
    EXPECT_TRUE(matches(steps[6].pattern, {0xF0, 0x55, 0xF7}));
    EXPECT_FALSE(matches(steps[6].pattern, {0xF0, 0x55, 0x55, 0xF7}));
}

TEST(Scenario, SetsTheWorldUp) {
    WorldConfig defaults;
    defaults.options = {"-v"};
    const WorldConfig world =
        parse_scenario("dir/t.scn",
                       "options -d 20\nwithout serial\nresources ../other\nremove a\n"
                       "file b crlf\n    # x\n    \n    y\nxfbdev ignores 1\nxfbdev lingers 900\n"
                       "file c cut\n    x\n    y\nfile d hex\n    78 00\n    ff\ndirectory e\n"
                       "without command ps\nmode c 640\nmode . 555\n"
                       "exit expect 1\n",
                       defaults)
            .world;
    EXPECT_EQ(world.options, (std::vector<std::string>{"-d", "20", "-v"}));
    EXPECT_EQ(world.resources, "dir/../other");
    EXPECT_EQ(world.removed, (std::vector<std::string>{"a"}));
    EXPECT_EQ(world.files.at("b"), "# x\r\n\r\ny\r\n");
    EXPECT_EQ(world.files.at("c"), "x\ny");
    EXPECT_EQ(world.files.at("d"), std::string("x\0\xff", 3));
    EXPECT_EQ(world.directories, (std::vector<std::string>{"e"}));
    EXPECT_EQ(world.missing_commands, (std::vector<std::string>{"ps"}));
    EXPECT_EQ(world.modes, (std::map<std::string, unsigned>{{"c", 0640}, {".", 0555}}));
    EXPECT_FALSE(world.serial);
    EXPECT_EQ(world.xfbdev_ignores, 1);
    EXPECT_EQ(world.xfbdev_lingers, milliseconds(900));
}

}  // namespace
}  // namespace bench
