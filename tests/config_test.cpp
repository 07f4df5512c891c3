// Configuration: hand-edited files good and bad, the settings lookup, the channel.
#include "config.h"

#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "play.h"
#include "softlabel.h"
#include "utility.h"

namespace {

const std::string BASE = "../resources/orvik.midictl.cfg";
// Loads the configuration and returns what it says on standard error.
std::string load(const std::string& mapping, const std::string& settings = "",
                 const std::string& preset_name = "", const std::string& preset = "") {
    write_resource("orvik.midictl.cfg", mapping);
    write_resource("orvik.sys.cfg", settings);
    if (!preset_name.empty()) {
        write_resource(preset_name, preset);
    }
    testing::internal::CaptureStderr();
    pot_init();
    return testing::internal::GetCapturedStderr();
}

int board_number(int index) {
    return pots[BOARD][index].cc_out;
}

TEST(Mapping, FormsOfARecordAndWhatIsSaid) {
    for (const auto& row : table("mappings.txt")) {
        const std::string text =
            "# head\n8 8 80 0 0 0 2 H\n" + row[0] + "6 6 60 0 0 0 2 B\n9 9 90 0 0 0 2 E\n";
        EXPECT_EQ(load(text.substr(0, text.find('\x04'))),
                  row[2].empty() ? "" : BASE + ":3: " + row[2] + "\n");
        EXPECT_EQ(std::to_string(board_number(5)) + " " + std::to_string(board_number(6)), row[1])
            << row[0];
        EXPECT_EQ(board_number(8), 80) << row[0];
    }
}

TEST(Mapping, AFileOfWhichNothingIsAppliedIsDescribed) {
    for (const auto& row : table("nothing.txt")) {
        EXPECT_EQ(load(row[0]),
                  (row[1].empty() ? "" : BASE + ":" + row[1] + "\n") + BASE +
                      ": no line applied: expected lines of idx cf_cc app_cc ctl_type "
                      "data_type add_data add_data2 name, found " +
                      row[2] + "\n");
        EXPECT_EQ(board_number(5), 5) << "the defaults stand";
        EXPECT_EQ(board_number(21), 1);
    }
}

TEST(Files, AnythingButARegularFileIsNamedOnceAndTakenAsMissing) {
    for (const char* name :
         {"orvik.sys.cfg", "orvik.midictl.cfg2.txt.ok", "orvik.midictl.cfg0.txt"}) {
        write_resource("orvik.sys.cfg", "midi_preset=2\n");
        const std::string path = "../resources/" + std::string(name);
        unlink(path.c_str());
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);  // whoever opens it waits without end
        testing::internal::CaptureStderr();
        cfg_check_files();
        cfg_apply_midi_preset();
        load_midi_gadget();
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_NE(said.find(path + ": not a regular file: taken as missing\n"), std::string::npos);
        EXPECT_EQ(said.find("regular"), said.rfind("regular"));
        unlink(path.c_str());
    }
}

TEST(Preset, ChangesTheHostNumbersOfTheControlsItNames) {
    const std::string base =
        "# PLAY_C is no control\n5 5 50 0 1 0 9 VOLUME\n21 1 60 3 0 1 2 PLAY_AB\n"
        "22 2 61 3 0 1 2 PLAY_A\n72 50 70 2 0 0 2 LAMP\n";
    const std::string said = load(base, "midi_preset=2\n", "orvik.midictl.cfg2.txt.ok",
                                  "VOLUME 51\nplay_a 62\nLAMP 71\nNOBODY 99\nPLAY_C 98\n");
    EXPECT_EQ(said, "");
    EXPECT_EQ(board_number(5), 51);
    EXPECT_EQ(pots[BOARD][5].tick_sent_min, 9) << "types stay";
    EXPECT_EQ(board_number(21), 62) << "the first line that contains the name";
    EXPECT_EQ(board_number(22), 61);
    EXPECT_EQ(pots[HOST][0].cc_in, 62);
    EXPECT_EQ(pots[HOST][51].cc_in, 71);
    EXPECT_EQ(pots[HOST][51].cc_out, 50);
    EXPECT_EQ(board_number(0), 98) << "a comment that holds the name is found as index 0";
}

TEST(Preset, FormsOfARecordAndWhatIsSaid) {
    write_resource("orvik.midictl.cfg3.txt", "");  // the source, in which users look
    for (const auto& row : table("presets.txt")) {
        const std::string said =
            load("5 5 50 0 0 0 2 VOLUME-1.5+\n6 6 60 0 0 0 2 CUE_A\n", "midi_preset=3\n",
                 "orvik.midictl.cfg3.txt.ok", row[0] + "\nCUE_A 61\n");
        EXPECT_EQ(said, row[2].empty() ? "" : BASE + "3.txt:1: " + row[2] + "\n");
        EXPECT_EQ(std::to_string(board_number(5)) + " " + std::to_string(board_number(6)), row[1])
            << row[0];
    }
}

TEST(Preset, SelectionByTheSettingsFile) {
    struct {
        const char* settings;
        const char* file;
        int number;
    } const cases[] = {
        {"midi_preset=2\n", "orvik.midictl.cfg2.txt.ok", 51},
        {"midi_preset=abc\n", "orvik.midictl.cfg0.txt.ok", 51},
        {"midi_preset=\n", "orvik.midictl.cfg0.txt.ok", 50},
        {"", "orvik.midictl.cfg0.txt.ok", 50},
        {"midi_preset=7\n", "orvik.midictl.cfg0.txt.ok", 50},
    };
    for (const auto& c : cases) {
        load("5 5 50 0 0 0 2 VOLUME\n", c.settings, c.file, "VOLUME 51\n");
        EXPECT_EQ(board_number(5), c.number) << c.settings;
    }
    load("5 5 50 0 0 0 2 VOLUME\n", "midi_preset=-1\n", "orvik.midictl.cfg-1.txt.ok",
         "5 5 52 0 0 0 2 WHOLE_LINE\n");
    EXPECT_EQ(board_number(5), 52) << "preset -1 is read in the base form";
}

TEST(Channel, OptionFirstThenTheSettingsFile) {
    ASSERT_EQ(cfg_midi_channel_no(), INVALID_NUM) << "run by ctest, a process for each test";
    struct {
        const char* settings;
        int option;
        int channel;
        const char* said;
    } const cases[] = {{"midi_channel=3\n", -1, 3, ""},
                       {"midi_channel= 7\n", -1, 7, ""},
                       {"midi_channel=0000000000000123\n", -1, 12, ""},
                       {"midi_channel=259\n", -1, 3, ""},
                       {"midi_channel=abc\n", -1, 0, ""},
                       {"", -1, 0, ""},
                       {"midi_channel=9\n", 5, 5, ""},
                       {"midi_channel=9\n", 16, 9, ""},
                       {"midi_channel=9\n", 256, 0, ""},
                       {"midi_channel=16\x1B[2J\r\n", -1, 255,
                        "../resources/orvik.sys.cfg: midi_channel \"16\\?\\[2J\\?\" refused: "
                        "expected 0 to 15; sending on channel 0, host channel messages are "
                        "dropped\n"},
                       {"# midi_channel\nmidi_channel=4\n", -1, 0, ""}};
    for (const auto& c : cases) {
        ASSERT_EXIT(
            {
                write_resource("orvik.sys.cfg", c.settings);
                if (c.option >= 0) {
                    cfg_set_midi_channel_no(static_cast<u8>(c.option));
                }
                cfg_read_midi_channel();
                exit(cfg_midi_channel_no());
            },
            testing::ExitedWithCode(c.channel), c.said)
            << c.settings << c.option;
    }
}

TEST(Gadget, IsLoadedWithTheIdentitiesOfTheSettings) {
    for (const auto& row : table("gadget.txt")) {
        const size_t before = commands_called().size();
        write_resource("orvik.sys.cfg", row[0]);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        load_midi_gadget();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Load g_midi with 0\n");
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  row[2].empty() ? "" : "../resources/orvik.sys.cfg: value " + row[2] + "\n");
        EXPECT_EQ(commands_called().substr(before), "modprobe [g_midi] " + row[1] + "\n");
    }
}

TEST(Shell, TextIsQuotedAsFarAsThereIsRoom) {
    struct {
        const char* text;
        size_t size;
        const char* quoted;  // null: does not fit
    } const cases[] = {{"plain text;*'~", 15, "plain text;*'~"},
                       {"plain", 5, nullptr},
                       {"\"$`\\", 9, "\\\"\\$\\`\\\\"},
                       {"\"$`\\", 8, nullptr},
                       {"a$", 4, "a\\$"},
                       {"a$", 3, nullptr},
                       {"", 1, ""}};
    for (const auto& c : cases) {
        char quoted[16];
        EXPECT_EQ(utl_quote(c.text, quoted, c.size), c.quoted != nullptr) << c.text;
        EXPECT_STREQ(quoted, c.quoted != nullptr ? c.quoted : "");
    }
}

}  // namespace
