#include "scenario/scenario.h"

#include <gtest/gtest.h>

#include <fstream>

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
    const struct {
        const char *step, *message;
    } cases[] = {
        {"board press PLAY_B",
         "expected board press CONTROL [VELOCITY]; no control is called PLAY_B"},
        {"board press VOLUME_A", "expected board press CONTROL [VELOCITY]"},
        {"board press PLAY_A 128", "expected board press CONTROL [VELOCITY]"},
        {"board turn VOLUME_A 1 2", "expected board turn CONTROL POSITION"},
        {"host light METER_A 1", "expected host light CONTROL VALUE"},
        {"host send", "expected host send BYTES | sysex"},
        {"host expect METER_A 3", "expected host expect WHAT [within MS]; WHAT: BYTES | CONTROL"},
        {"board expect PLAY_A off", "expected board expect WHAT"},
        {"host expect 90 3c within soon", "expected host expect WHAT"},
        {"both flood 10 pots", "expected both flood COUNT [pots | each MS | at once]"},
        {"host press PLAY_A", "expected host light | dark"},
        {"sleep 5", "expected a step; ctlbench steps"},
        {"wait 5\nwithout midi", "expected set-up lines before the first step"},
        {"xfbdev ignores", "expected xfbdev ignores SIGNALS"},
        {"without cable", "expected without serial | midi | command NAME"},
        {"without command echo",
         "expected without serial | midi | command NAME; the world has no command echo that"},
        {"needs cable", "expected needs namespaces | machine"},
        {"start soon", "expected start old | script"},
        {"setting =4", "expected setting KEY=VALUE"},
        {"start old\nhang up midi", "no world has both this and what an earlier line needs"},
        {"needs machine\nwithout midi", "no world has both this"},
        {"mode orvik.sys.cfg 0", "expected mode NAME OCTAL"},
        {"mode orvik.sys.cfg 778", "expected mode NAME OCTAL"},
        {"mode x 000", "expected mode NAME OCTAL; up to this line there is no file x"},
        {"host stops", "expected host light | dark | meter | send | expect report | "},
        {"log expect", "expected log expect TEXT"},
        {"file x hex\n    1g", "expected bytes in hexadecimal"},
        {"file x\n   y", "expected lines of a file indented by four blanks"},
        {"file x\ny",
         "expected a step; ctlbench steps lists them; the lines of a file are indented"},
        {"board press PLAY_A # it",
         "expected board press CONTROL [VELOCITY]; a comment needs a line"},
        {"resources nowhere", "expected resources DIRECTORY; there is no directory tests/nowhere"},
        {"remove y", "expected remove NAME; up to this line there is no file y"},
        {"screen expect 3 2 \"X\" pink",
         "expected screen expect ROW COLUMN \"TEXT\" [COLOR] [within"},
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

TEST(Scenario, ChangesOneSetting) {
    const Scenario scenario = parse("setting midi_preset=1\nsetting midi_channel=7");
    EXPECT_EQ(scenario.world.files.at("orvik.sys.cfg"), "midi_channel=7\nmidi_preset=1\n");
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
