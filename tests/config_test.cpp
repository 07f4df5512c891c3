// Configuration: hand-edited files good and bad, the settings lookup, the channel.
#include "config.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "debug.h"
#include "modules/ptys.h"
#include "pot.h"
#include "utility.h"

namespace {

constexpr int BOARD = UART_OUT_BUF_ID;
constexpr int HOST = MIDI_IN_BUF_ID;
const std::string BASE = "../resources/orvik.midictl.cfg";
const std::string EIGHT_FIELDS =
    "expected idx cf_cc app_cc ctl_type data_type add_data add_data2 name; line skipped\n";

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

TEST(Mapping, GoodLinesAreApplied) {
    struct {
        const char* what;
        const char* text;
        int index, number;
    } const cases[] = {
        {"plain", "5 5 77 0 0 0 2 A\n", 5, 77},
        {"without a newline at the end", "5 5 76 0 0 0 2 A", 5, 76},
        {"CR LF line ends", "# c\r\n\r\n5 5 75 0 0 0 2 A\r\n6 6 1 0 0 0 2 B\r\n", 5, 75},
        {"tabs, a tab first", "\t5\t5\t74\t0\t0\t0\t2\tA\n", 5, 74},
        {"the later line wins", "5 5 73 0 0 0 2 A\n5 5 72 0 0 0 2 B\n", 5, 72},
        {"a blank first makes a comment", "5 5 71 0 0 0 2 A\n 5 5 1 0 0 0 2 B\n", 5, 71},
        {"text behind the name", "5 5 70 0 0 0 2 A # left\n", 5, 70},
        {"signs", "+5 +5 +69 0 0 0 2 A\n", 5, 69},
        {"0xFF ends the file", "5 5 68 0 0 0 2 A\n\xFF\n5 5 1 0 0 0 2 A\n", 5, 68},
        {"0xFF in a comment too", "5 5 67 0 0 0 2 A\n# \xFF\n5 5 1 0 0 0 2 A\n", 5, 67},
        {"CR line ends", "5 5 66 0 0 0 2 A\r6 6 1 0 0 0 2 B\r", 5, 66},
        {"CR line ends, the second line", "5 5 1 0 0 0 2 A\r6 6 65 0 0 0 2 B\r", 6, 65},
        {"a long comment", "#", 5, 5},
    };
    for (const auto& c : cases) {
        const std::string text = c.text[1] == '\0' ? "#" + std::string(5000, 'x') : c.text;
        EXPECT_EQ(load(text), "") << c.what;
        EXPECT_EQ(board_number(c.index), c.number) << c.what;
    }
}

TEST(Mapping, ABadLineIsReportedAndCostsNothingElse) {
    struct {
        const char* what;
        std::string line;
        std::string message;
    } const cases[] = {
        {"a field short", "7 7 7 0 0 0 NAME", EIGHT_FIELDS},
        {"the name is missing", "7 7 7 0 0 0 2", EIGHT_FIELDS},
        {"no number", "7 7 x 0 0 0 2 NAME", EIGHT_FIELDS},
        {"a number and more", "7 7 7x 0 0 0 2 NAME", EIGHT_FIELDS},
        {"too large a number", "7 7 99999999999 0 0 0 2 NAME", EIGHT_FIELDS},
        {"a number of 70 digits", "7 7 " + std::string(70, '0') + "1 0 0 0 2 NAME", EIGHT_FIELDS},
        {"an index outside", "85 7 7 0 0 0 2 NAME", "expected an index of 0 to 84; line skipped\n"},
        {"an index below", "-1 7 7 0 0 0 2 NAME", "expected an index of 0 to 84; line skipped\n"},
        {"nothing but a tab", "\t", EIGHT_FIELDS},
        {"a byte 0", std::string("7 7 7 0\0 0 0 2 NAME", 18), EIGHT_FIELDS},
        {"a name too long", "7 7 7 0 0 0 2 " + std::string(64, 'N'),
         "expected a name of at most 63 letters, digits, underscores and, not first, minus, dot, "
         "plus; line skipped\n"},
    };
    for (const auto& c : cases) {
        const std::string said =
            load("# head\n5 5 50 0 0 0 2 A\n" + c.line + "\n6 6 60 0 0 0 2 B\n");
        EXPECT_EQ(said, BASE + ":3: " + c.message) << c.what;
        EXPECT_EQ(board_number(5), 50) << c.what;
        EXPECT_EQ(board_number(6), 60) << c.what;
        EXPECT_EQ(board_number(7), 7) << c.what;
    }
    EXPECT_EQ(load("5 5 50 0 0 0 2 A\n6 6"), BASE + ":2: " + EIGHT_FIELDS) << "short last line";
    const std::string blanks(400, ' ');
    const std::string long_line = "6 6" + blanks + "61 0 0 0 2 B" + blanks + "7 7 7 7";
    EXPECT_EQ(load(long_line + "\n8 8 80 0 0 0 2 C\n"), "");
    EXPECT_EQ(board_number(6), 61);
    EXPECT_EQ(board_number(8), 80);
    EXPECT_EQ(load(std::string(63, 'N')), BASE + ":1: " + EIGHT_FIELDS);
}

TEST(Mapping, AFileWithoutDataLinesLeavesTheDefaults) {
    EXPECT_EQ(load("# nothing\n\n"), "");
    EXPECT_EQ(board_number(5), 5);
    EXPECT_EQ(board_number(21), 1);
}

TEST(Mapping, WithoutBaseFileTheProgramEndsWithStatusZero) {
    load("");
    ASSERT_EXIT(
        {
            unlink(BASE.c_str());
            dup2(STDERR_FILENO, STDOUT_FILENO);
            cfg_init();
        },
        testing::ExitedWithCode(0), "error in open ../resources/orvik.midictl.cfg\n");
}

TEST(Preset, ChangesTheHostNumbersOfTheControlsItNames) {
    const std::string base =
        "# PLAY_C is no control\n5 5 50 0 1 0 9 VOLUME\n21 1 60 3 0 1 2 PLAY_AB\n"
        "22 2 61 3 0 1 2 PLAY_A\n72 50 70 2 0 0 2 LAMP\n";
    const std::string said = load(base, "midi_preset=2\n", "orvik.midictl.cfg2.txt.ok",
                                  "VOLUME 51\nplay_ab 62\nLAMP 71\nNOBODY 99\nPLAY_C 98\n");
    EXPECT_EQ(said, "");
    EXPECT_EQ(board_number(5), 51);
    EXPECT_EQ(pots[BOARD][5].tick_sent_min, 9) << "types stay";
    EXPECT_EQ(board_number(21), 62);
    EXPECT_EQ(pots[HOST][0].cc_in, 62);
    EXPECT_EQ(pots[HOST][51].cc_in, 71);
    EXPECT_EQ(pots[HOST][51].cc_out, 50);
    EXPECT_EQ(board_number(0), 98) << "a comment that holds the name is found as index 0";

    load(base, "midi_preset=2\n", "orvik.midictl.cfg2.txt.ok", "PLAY_A 63\n");
    EXPECT_EQ(board_number(21), 63) << "the first line that contains the name";
    EXPECT_EQ(board_number(22), 61);
}

TEST(Preset, NamesThatTheShellWouldReadAreRefused) {
    const std::string names[] = {"$(touch x)", "`touch`", "A;touch", "-e",  ".A",
                                 "A*",         "A'",      "A\"B",    "A\\", std::string(64, 'A')};
    std::string preset;
    for (const std::string& name : names) {
        preset += name + " 99\n";
    }
    preset += "VOLUME-1.5+ 51\nVOLUME\nVOLUME x\n";
    const std::string said = load("5 5 50 0 0 0 2 VOLUME-1.5+\n", "midi_preset=3\n",
                                  "orvik.midictl.cfg3.txt.ok", preset);
    int lines = 0;
    for (size_t i = 0; i < std::size(names) + 3; ++i) {
        std::string place = "cfg3.txt.ok:";
        place += std::to_string(i + 1) + ": expected ";
        lines += said.find(place) != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(lines, static_cast<int>(std::size(names)) + 2) << said;
    EXPECT_EQ(board_number(5), 51);
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

TEST(Settings, ValuesAreFoundAsGrepAndCutFindThem) {
    write_resource(
        "orvik.sys.cfg",
        "# about the key first\nMANUFACTURER=Maker=Two\nproduct_name=a name with blanks\n"
        "vendor_id=0x1234\r\nkey second=yes\nlong=" +
            std::string(60, 'x') + "\n");
    struct {
        const char* key;
        int len;
        std::string value;
    } const cases[] = {{"manufacturer", 16, "Maker"},
                       {"product_name", 16, "a name with bla"},
                       {"product_name", 32, "a name with blanks"},
                       {"vendor_id", 16, "0x1234\r"},
                       {"long", 16, std::string(15, 'x')},
                       {"first", 16, "# about the key"},
                       {"nothing", 16, ""}};
    for (const auto& c : cases) {
        char value[32];
        memset(value, '#', sizeof value);
        cfg_get_value_from_file(sys_cfg, c.key, value, c.len);
        EXPECT_EQ(value, c.value) << c.key;
    }
    strchomp(nullptr);
}

TEST(Channel, OptionFirstThenTheSettingsFile) {
    ASSERT_EQ(cfg_midi_channel_no(), INVALID_NUM) << "run by ctest, a process for each test";
    struct {
        const char* settings;
        int option;
        int channel;
    } const cases[] = {{"midi_channel=3\n", -1, 3},
                       {"midi_channel= 7\n", -1, 7},
                       {"midi_channel=259\n", -1, 3},
                       {"midi_channel=abc\n", -1, 0},
                       {"", -1, 0},
                       {"midi_channel=9\n", 5, 5},
                       {"midi_channel=9\n", 16, 9},
                       {"midi_channel=9\n", 256, 0},
                       {"midi_channel=16\n", -1, 255},
                       {"# midi_channel\nmidi_channel=4\n", -1, 0}};
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
            testing::ExitedWithCode(c.channel), "")
            << c.settings << c.option;
    }
}

TEST(Channel, TheCheckLooksAtTheLowFourBits) {
    set_midi_channel_no(2);
    set_midi_channel_no(16);
    for (int status = 0; status < 256; ++status) {
        EXPECT_EQ(cfg_check_midi_channel_no(static_cast<u8>(status)), status % 16 == 2);
    }
}

TEST(Gadget, IsLoadedWithTheIdentitiesOfTheSettings) {
    struct {
        const char* settings;
        const char* call;
        const char* said;
    } const cases[] = {
        {"vendor_id=V\nproduct_id=P.1-a_b\nmanufacturer=M\nproduct_name=N N2\n",
         "modprobe [g_midi] [idVendor=V] [idProduct=P.1-a_b] [iManufacturer=M] [iProduct=N N2]\n",
         ""},
        {"", "modprobe [g_midi] [idVendor=] [idProduct=] [iManufacturer=] [iProduct=]\n", ""},
        {"vendor_id=12345678901234567890\n",
         "modprobe [g_midi] [idVendor=123456789012345] [idProduct=] [iManufacturer=] "
         "[iProduct=]\n",
         ""},
        {"vendor_id=a b\nproduct_id=1;2\nmanufacturer=a$b\nproduct_name=`touch x`\n",
         "modprobe [g_midi] [idVendor=] [idProduct=] [iManufacturer=] [iProduct=]\n",
         "../resources/orvik.sys.cfg: value \"a b\" of vendor_id refused: a character that is not "
         "allowed there\n"},
        {"manufacturer=a\\b\nproduct_name=\"\n",
         "modprobe [g_midi] [idVendor=] [idProduct=] [iManufacturer=] [iProduct=]\n",
         "value \"a\\b\" of manufacturer refused"},
        {"vendor_id=V\r\nmanufacturer=Mak\xC3\xA9r\n",
         "modprobe [g_midi] [idVendor=] [idProduct=] [iManufacturer=Mak\xC3\xA9r] [iProduct=]\n",
         "../resources/orvik.sys.cfg: value \"V\" of vendor_id refused: the file has CR LF line "
         "ends\n"},
    };
    for (const auto& c : cases) {
        const size_t before = commands_called().size();
        write_resource("orvik.sys.cfg", c.settings);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        load_midi_gadget();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Load g_midi with 0\n");
        EXPECT_NE(testing::internal::GetCapturedStderr().find(c.said), std::string::npos);
        EXPECT_EQ(commands_called().substr(before), c.call);
    }
}

TEST(FileCheck, OldCopiesGoAndOnlyPresentSourcesAreChecked) {
    const std::string script = "check_field_num.sh";
    write_resource(script, "#!/bin/sh\necho \"$1 $2\" >\"$1.ok\"\n");
    chmod(("../resources/" + script).c_str(), 0755);
    for (const char* copy : {"orvik.midictl.cfg0.txt.ok", "orvik.miditxt.cfg0.txt.ok"}) {
        write_resource(copy, "from an earlier start\n");
    }
    write_resource("orvik.miditxt.cfg0.txt", "");
    cfg_check_files();
    EXPECT_NE(access("../resources/orvik.midictl.cfg0.txt.ok", F_OK), 0);
    EXPECT_EQ(read_resource("orvik.miditxt.cfg0.txt.ok"),
              "../resources/orvik.miditxt.cfg0.txt 5\n");
    write_resource("orvik.midictl.cfg0.txt", "");
    cfg_check_files();
    EXPECT_EQ(read_resource("orvik.midictl.cfg0.txt.ok"),
              "../resources/orvik.midictl.cfg0.txt 2\n");
}

}  // namespace
