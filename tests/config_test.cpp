// Configuration: hand-edited files good and bad, the settings lookup, the channel.
#include "config.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "play.h"
#include "softlabel.h"
#include "utility.h"

namespace {

const std::string BASE = "../resources/orvik.midictl.cfg";
const std::string NOTHING =
    ": no line applied: expected lines of idx cf_cc app_cc ctl_type data_type add_data add_data2 "
    "name, found ";

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
    struct {
        std::string text;
        std::string said;
    } const cases[] = {
        {"", NOTHING + "an empty file\n"},
        {"# nothing\n\n 5 5 5 0 0 0 2 A\n",
         NOTHING + "only comments, empty lines and lines that were skipped\n"},
        {std::string("\xFF\xFE"
                     "5\0 \0\n\0",
                     8),
         NOTHING + "bytes 0, as in UTF-16\n"},
        {"\xFF\n5 5 5 0 0 0 2 A\n", NOTHING + "a byte 0xFF, which ends the file, at its start\n"},
        {"#" + std::string(510, 'x') + "\r", NOTHING + "line ends of CR alone\n"},
        {"#" + std::string(511, 'x') + "\r",
         NOTHING + "only comments, empty lines and lines that were skipped\n"},
        {"# a\r5 5 5 0 0 0 2 A\r", NOTHING + "line ends of CR alone\n"},
        {"x\n", ":1: idx \"x\" is not a number; line skipped\n" + BASE + NOTHING +
                    "only comments, empty lines and lines that were skipped\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(load(c.text), BASE + c.said);
        EXPECT_EQ(board_number(5), 5) << "the defaults stand";
        EXPECT_EQ(board_number(21), 1);
    }
}

TEST(Files, AnythingButARegularFileIsNamedAndTakenAsMissing) {
    for (const char* name : {"orvik.sys.cfg", "orvik.midictl.cfg2.txt.ok", "orvik.midictl.cfg0.txt",
                             "orvik.color.cfg"}) {
        load("5 5 50 0 0 0 2 VOLUME\n", "midi_preset=2\n", "orvik.midictl.cfg2.txt.ok",
             "VOLUME 51\n");
        const std::string path = "../resources/" + std::string(name);
        unlink(path.c_str());
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        testing::internal::CaptureStderr();
        cfg_check_files();
        pot_init();
        load_midi_gadget();
        list_init(TYPE_COLOR_LIST);
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_NE(said.find(path + ": not a regular file: taken as missing\n"), std::string::npos);
        EXPECT_EQ(said.find("regular"), said.rfind("regular")) << "said once";
        EXPECT_EQ(board_number(5), std::string(name).find("color") == 6 ||
                                           name == std::string("orvik.midictl.cfg0.txt")
                                       ? 51
                                       : 50);
        unlink(path.c_str());
    }
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

TEST(Preset, ARecordThatBreaksOffLeavesTheNextLineAlone) {
    const std::string said =
        load("5 5 50 0 0 0 2 PLAY_A\n6 6 60 0 0 0 2 CUE_A\n", "midi_preset=2\n",
             "orvik.midictl.cfg2.txt.ok", "PLAY_A\nCUE_A 70\nPLAY_A -\nPLAY_A\n# 80\n");
    EXPECT_EQ(board_number(5), 50);
    EXPECT_EQ(board_number(6), 70);
    const std::string missing = ": fields missing after name (found 1 of 2); line skipped\n";
    const std::string file = "../resources/orvik.midictl.cfg2.txt.ok:";
    EXPECT_EQ(said, file + "1" + missing + file +
                        "3: app_cc \"-\" is not a number; line skipped\n" + file + "4" + missing);
}

TEST(Preset, NamesThatTheShellWouldReadAreRefused) {
    const std::string names[] = {"$(touch x)", "`touch`", "A;touch", "-e",  ".A",
                                 "A*",         "A'",      "A\"B",    "A\\", std::string(64, 'A')};
    std::string preset;
    for (const std::string& name : names) {
        preset += name + " 99\n";
    }
    preset += "VOLUME-1.5+ 51\nVOLUME x\nVOLUME";
    const std::string said = load("5 5 50 0 0 0 2 VOLUME-1.5+\n", "midi_preset=3\n",
                                  "orvik.midictl.cfg3.txt.ok", preset);
    int lines = 0;
    for (size_t i = 0; i < std::size(names) + 3; ++i) {
        std::string place = "cfg3.txt.ok:";
        place += std::to_string(i + 1) + ": ";
        lines += said.find(place) != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(lines, static_cast<int>(std::size(names)) + 2) << said;
    EXPECT_EQ(board_number(5), 51);
    const std::string in_source = load("", "midi_preset=3\n", "orvik.midictl.cfg3.txt", "");
    EXPECT_NE(in_source.find("cfg3.txt:13: fields missing after name"), std::string::npos);
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
                       {"midi_channel=0000000000000123\n", -1, 12},
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

TEST(Channel, ARefusedValueIsShownWithoutItsControlCharacters) {
    write_resource("orvik.sys.cfg", "midi_channel=16\x1B[2J\r\n");
    testing::internal::CaptureStderr();
    cfg_read_midi_channel();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "../resources/orvik.sys.cfg: midi_channel \"16?[2J?\" refused: expected 0 to 15; "
              "sending on channel 0, host channel messages are dropped\n");
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
         "modprobe [g_midi] [idVendor=] [idProduct=] [iManufacturer=a$b] [iProduct=`touch x`]\n",
         "../resources/orvik.sys.cfg: value \"a b\" of vendor_id refused: a character that is not "
         "allowed there\n"},
        {"vendor_id=-1\nmanufacturer=a\\b\nproduct_name=\"\n",
         "modprobe [g_midi] [idVendor=] [idProduct=] [iManufacturer=a\\b] [iProduct=]\n",
         "value \"\"\" of product_name refused"},
        {"vendor_id=123456789012345\nproduct_id=123456789012345\nmanufacturer=$$$$$$$$$$$$$$$\n"
         "product_name=\\\\\\\\\\\\\\\\\\\\\\\\\\\\\\\n",
         "modprobe [g_midi] [idVendor=123456789012345] [idProduct=123456789012345] "
         "[iManufacturer=$$$$$$$$$$$$$$$] [iProduct=\\\\\\\\\\\\\\\\\\\\\\\\\\\\\\]\n",
         ""},
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

TEST(Shell, OneThatCannotBeStartedEndsTheProgramWithAMessage) {
    ASSERT_EXIT(
        {
            rlimit none;
            none.rlim_cur = none.rlim_max = 3;
            setrlimit(RLIMIT_NOFILE, &none);
            char value[16];
            cfg_get_value_from_file(sys_cfg, "vendor_id", value, sizeof value);
        },
        testing::KilledBySignal(SIGABRT),
        "cannot start the shell for \"grep -i vendor_id ../resources/orvik.sys.cfg \\| cut .*\": "
        "Too many open files\n");
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
