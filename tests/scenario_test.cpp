#include "scenario/scenario.h"

#include <gtest/gtest.h>

#include <fstream>

#include "table.h"

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
    WorldConfig world;
    world.resources = SCENARIOS_DIR "/../../resources";
    return parse_scenario("tests/t.scn", HEAD + steps, world);
}

TEST(Scenario, SaysWhereALineIsWrong) {
    for (const auto& row : table("refused_steps.txt")) {
        const std::string& step = row[0];
        const std::string line = step.find('\n') == std::string::npos ? "7" : "8";
        std::string message = row[1];
        for (std::size_t i = 2; i < row.size(); ++i) {
            message += " | " + row[i];
        }
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
    const Scenario scenario = parse("board press PLAY_A 51\nhost send sysex 100 open\n");
    EXPECT_EQ(scenario.steps[0].sending->messages, (std::vector<Bytes>{{0x90, 0x01, 51}}));
    EXPECT_EQ(scenario.steps[1].sending->messages.front().size(), 99U);
    bench::Setup setup;
    setup.channel = 4;
    setup.mapping.apply_base("21 1 60 3 0 1 2 PLAY_A\n82 80 28 4 0 0 2 METER_A\n");
    StepReader reader(setup);
    const struct {
        End end;
        const char *words, *message;
        bool fits;
    } cases[] = {
        {End::Host, "PLAY_A 127", "94 3c 7f", true},
        {End::Host, "PLAY_A off", "84 3c 09", true},
        {End::Host, "PLAY_A off", "94 3c 09", false},
        {End::Host, "PLAY_A off 8", "84 3c 09", false},
        {End::Board, "METER_A 0x33", "b0 50 33", true},
        {End::Board, "f0 .. f7", "f0 55 f7", true},
        {End::Board, "f0 .. f7", "f0 55 55 f7", false},
    };
    for (const auto& [end, words, message, fits] : cases) {
        reader.words = Words(words);
        reader.ends = {end};
        EXPECT_EQ(matches(reader.pattern(), *parse_hex(message)), fits) << words;
    }
}

TEST(Scenario, NeedsAWorldThatHasItAll) {
    const struct {
        const char* lines;
        bool in_namespaces, on_machine;
    } cases[] = {
        {"board press PLAY_A", true, true},
        {"without command rm\nsetting a=b", true, true},
        {"needs namespaces", true, false},
        {"mode . 500\nhang up midi", true, false},
        {"host stops reading", true, false},
        {"without serial", true, false},
        {"needs machine\nboard press PLAY_A", false, true},
        {"start script", false, true},
        {"machine run true", false, true},
        {"screen pixels", false, true},
    };
    for (const auto& [lines, in_namespaces, on_machine] : cases) {
        Scenario scenario = parse(lines);
        EXPECT_EQ(scenario.is_playable(), in_namespaces) << lines;
        scenario.world.machine = "there";
        EXPECT_EQ(scenario.is_playable(), on_machine) << lines;
    }
}

TEST(Scenario, LinesAreListed) {
    std::ifstream file(SCENARIOS_DIR "/README.md");
    const std::string text(std::istreambuf_iterator<char>(file), {});
    for (const std::string& table : {setup_table(), steps_table()}) {
        EXPECT_NE(text.find(table), std::string::npos) << "README.md is to have:\n" << table;
    }
}

}  // namespace
}  // namespace bench
