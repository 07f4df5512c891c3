#include "controller/mapping.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

namespace bench {
namespace {

int index_of(const Control* control) {
    return control == nullptr ? -1 : control->index;
}

TEST(Mapping, RecordsOfTheBaseMapping) {
    const struct {
        const char* text;
        int index;
        const char* name;
        int host_sees;
    } cases[] = {
        {"# 21 1 60 3 0 1 2 A\n 21 1 60 3 0 1 2 B\n", 21, "unmapped_21", 1},
        {"\r\n21 1 60 3 0 1 2 A\r\n21 1 -1 3 0 1 2 B", 21, "B", 255},
        {"21 1 60\t3 0 1 300 A more words\n22 2 61 3 0 1 2 B\n", 21, "A", 60},
        {"21 1 60 3\n0 1 2 A\n", 21, "unmapped_21", 1},
        {"21 1 60 3 0 1 A\n22 2 61 3 0 1 2 B\n", 22, "B", 61},
        {"21 1 60 3 0 0x1 2 A\n22 2 61 3 0 1 2 B\n", 21, "unmapped_21", 1},
        {"21 1 99999999999 3 0 1 2 A\n22 2 61 3 0 1 2 B\n", 21, "unmapped_21", 1},
        {"85 1 60 3 0 1 2 A\n22 2 61 3 0 1 2 C\n", 22, "C", 61},
        {"21 1 60 3 0 1 2\n", 21, "unmapped_21", 1},
    };
    for (const auto& [text, index, name, host_sees] : cases) {
        Mapping mapping;
        mapping.apply_base(text);
        EXPECT_EQ(mapping.at(index).name, name) << text;
        EXPECT_EQ(mapping.at(index).host_sees, host_sees) << text;
    }
}

TEST(Mapping, ALineThatCannotBeReadKeepsItsName) {
    Mapping mapping;
    mapping.apply_base(
        "21 1 60 3 0 1 A_1\n22 2 x 3 0 1 2 B\n23 3 63 3 0 1 99\n24 4 64 3 0 1 2 C\n");
    const char* const names[] = {"A_1", "B", "", nullptr};
    for (int i = 0; i < 4; ++i) {
        const Control& control = mapping.at(21 + i);
        EXPECT_EQ(control.lost, names[i] != nullptr);
        EXPECT_EQ(control.lost_name, names[i] == nullptr ? "" : names[i]);
    }
}

TEST(Mapping, FieldsOfTheBaseMapping) {
    Mapping mapping;
    mapping.apply_base(
        "0 0 7 0 0 0 2 VOLUME_A\n21 99 60 3 0 1 300 PLAY_A\n21 -1 61 0 0 0 0 PLAY_A\n"
        "82 80 28 4 0 0 200 METER_A\n14 14 -1 0 1 240 0 LAST\n");
    EXPECT_EQ(index_of(mapping.seen_by_host(0xB5, 7)), 0);
    EXPECT_EQ(index_of(mapping.sent_by_board(0x90, 1)), 21);  // whatever board number is given
    const Control& play = *mapping.find("PLAY_A");
    EXPECT_EQ(play.host_sees, 61);
    EXPECT_EQ(play.host_sends, 61);
    EXPECT_EQ(play.board_sees, 99);
    EXPECT_EQ(play.rate, 44);
    EXPECT_EQ(index_of(mapping.seen_by_board(0x90, 99)), 21);
    EXPECT_EQ(index_of(mapping.sent_by_host(0xB0, 28)), 82);
    EXPECT_EQ(index_of(mapping.sent_by_host(0x90, 28)), 48);  // a default number, as a note
    EXPECT_EQ(mapping.find("LAST")->units_per_step(), 80);
}

TEST(Setup, PresetAndChannel) {
    const struct {
        const char* settings;
        std::vector<std::string> options;
        int channel, ab, a, comment, sync;  // the host's numbers of four controls
    } cases[] = {
        {"", {}, 0, 30, 60, 0, 62},
        {"MIDI_CHANNEL=259=4\r\nmidi_preset=0\n", {}, 3, 99, 60, 98, 62},
        {"midi_channel=20\nmidi_preset=2\n", {}, -1, 95, 60, 94, 62},
        {"midi_preset=-1\n", {"-m", "16"}, 0, 30, 60, 0, 93},
        {"midi_channel=3\n", {"-d", "20", "-m5"}, 5, 30, 60, 0, 62},
    };
    for (const auto& c : cases) {
        const std::map<std::string, std::string> files = {
            {"orvik.midictl.cfg",
             "# no name here but HIDDEN\n30 1 30 1 0 0 2 PLAY_AB\n21 1 60 1 0 0 2 PLAY_A\n"
             "22 2 61 1 0 0 2 HIDDEN\n23 3 62 1 0 0 2 SYNC\n"},
            {"orvik.sys.cfg", c.settings},
            {"orvik.midictl.cfg0.txt", "\xef\xbb\xbfplay_a 99\nHIDDEN 98\nNOWHERE 97\n"},
            {"orvik.midictl.cfg2.txt.ok", "PLAY_AB 95\nSYNC sync\nHIDDEN 94"},
            {"orvik.midictl.cfg-1.txt.ok", "23 3 93 1 0 0 2 SYNC"}};
        const auto setup = read_setup(
            [&](const std::string& name) {
                const auto file = files.find(name);
                return file == files.end() ? std::nullopt : std::optional(file->second);
            },
            c.options);
        EXPECT_EQ(setup.channel, c.channel) << c.settings;
        EXPECT_EQ(setup.mapping.at(30).host_sees, c.ab) << c.settings;
        EXPECT_EQ(setup.mapping.at(21).host_sees, c.a) << c.settings;
        EXPECT_EQ(setup.mapping.at(0).host_sees, c.comment) << c.settings;
        EXPECT_EQ(setup.mapping.at(23).host_sees, c.sync) << c.settings;
    }
}

}  // namespace
// A control in one and not in the other would be judged by nobody.
TEST(Mapping, KnowsTheControlsThatAreDelivered) {
    std::ifstream file(SCENARIOS_DIR "/../../resources/orvik.midictl.cfg");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    Mapping mapping;
    mapping.apply_base(text);
    for (const Control& control : mapping.controls()) {
        EXPECT_TRUE(control.mapped) << control.index;
    }
    int records = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        records += !line.empty() && line[0] != '#' ? 1 : 0;
    }
    EXPECT_EQ(records, CONTROL_COUNT);
}

}  // namespace bench
