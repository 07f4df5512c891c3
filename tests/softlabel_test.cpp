// Soft labels: the lists, the screen take-over, drawing, and the host notes that draw.
#include "softlabel.h"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>

#include "debug.h"
#include "play.h"

namespace {

const std::string COLORS = "0 \\033[0;37m WHITE\n1 \\033[1;31m RED\n2 \\033[1;32m GREEN\n";
const std::string POSITIONS = "3 2 ONE\n5 12 TWO\n";
const char* const COLOR_FILE = "../resources/orvik.color.cfg";
const char* const POSITION_FILE = "../resources/orvik.softlabelpos.cfg";
const char* const CUSTOM_FILE = "../resources/orvik.miditxt.cfg0.txt.ok";

// Loads the three lists afresh and returns what is said on standard error.
std::string load(const std::string& colors, const std::string& positions,
                 const std::string& custom) {
    write_resource("orvik.color.cfg", colors);
    write_resource("orvik.softlabelpos.cfg", positions);
    write_resource("orvik.miditxt.cfg0.txt.ok", custom);
    std::fill(std::begin(colorList), std::end(colorList), t_labellist());
    std::fill(std::begin(soft_label_array), std::end(soft_label_array), t_soft_label());
    total_color_list = total_soft_label = total_valid_soft_label = 0;
    testing::internal::CaptureStderr();
    list_init(TYPE_COLOR_LIST);
    list_init(TYPE_SOFT_LABEL);
    apply_preset();
    return testing::internal::GetCapturedStderr();
}

TEST(LabelLists, GoodFilesFillTheTables) {
    EXPECT_EQ(
        load("# colours\r\n" + COLORS + "5 \\033[1;33m LOST\n", POSITIONS + "7 2 ONE\n9 9 IDLE\n",
             "ONE loop_in 112 RED WHITE\nTWO x 300 LOST red\nNONE x 1 RED RED\n"
             "ONE second 113 GREEN RED"),
        "");
    EXPECT_EQ(total_color_list, 4);
    EXPECT_EQ(total_soft_label, 4);
    EXPECT_EQ(total_valid_soft_label, 3) << "a key named twice counts twice, an unknown one not";
    EXPECT_STREQ(colorList[5].label_name, "\\033[1;33m");
    EXPECT_STREQ(soft_label_array[0].label_name, "SECOND   ");
    EXPECT_EQ(soft_label_array[0].cc, 113);
    EXPECT_EQ(soft_label_array[0].on_color_idx, 2);
    EXPECT_EQ(soft_label_array[0].x_pos, 3);
    EXPECT_EQ(soft_label_array[0].y_pos, 2);
    EXPECT_EQ(soft_label_array[1].cc, 44);
    EXPECT_EQ(soft_label_array[1].on_color_idx, -1) << "beyond the slots that are searched";
    EXPECT_EQ(soft_label_array[1].off_color_idx, -1) << "colour names are compared exactly";
    EXPECT_EQ(soft_label_array[2].cc, 0xFF) << "the second entry of a key is never reached";
    EXPECT_STREQ(soft_label_array[3].label_name, "");
}

TEST(LabelLists, ARefusedColourCountsAndThoseBehindItAreFound) {
    load("0 a WHITE\n256 b BAD\nx\n2 \"c WORSE\n3 d GREEN\n4 e", POSITIONS,
         "ONE a 1 GREEN WHITE\n");
    EXPECT_EQ(soft_label_array[0].on_color_idx, 3);
    EXPECT_EQ(total_color_list, 5);
    EXPECT_STREQ(colorList[2].key_name, "");
}

TEST(LabelLists, FormsOfARecordAndWhatIsSaid) {
    for (const auto& row : table("labels.txt")) {
        const int type = std::stoi(row[0]);
        const char* const file = type == 1 ? COLOR_FILE : type == 2 ? POSITION_FILE : CUSTOM_FILE;
        const auto with = [&](int list, const std::string& text) {
            return (list == type && row[3] != "-" ? row[1] + "\n" : "") + text;
        };
        EXPECT_EQ(load(with(1, COLORS), with(2, POSITIONS),
                       with(3, "ONE a 1 RED GREEN\nTWO b 2 RED GREEN\n")),
                  row[3].size() < 2 ? "" : std::string(file) + ":1: " + row[3] + "\n");
        EXPECT_STREQ(soft_label_array[0].key_name, "ONE") << row[1];
        EXPECT_EQ(soft_label_array[0].cc, 1) << row[1];
        EXPECT_EQ(soft_label_array[1].on_color_idx, 1) << row[1];
        write_resource("record", row[1]);
        cfg_reader reader{cfg_open("../resources/record"), "record"};
        testing::internal::CaptureStderr();
        EXPECT_EQ(list_add_item(type, &reader), std::stoi(row[2])) << row[1];
        testing::internal::GetCapturedStderr();
        fclose(reader.fp);
    }
    std::string many;
    for (int i = 0; i < 26; ++i) {
        many += "1 1 KEY" + std::to_string(i) + "\n";
    }
    const std::string said = load(COLORS, many, "");
    EXPECT_EQ(total_soft_label, 24);
    EXPECT_EQ(said, std::string(POSITION_FILE) +
                        ":25: there are 24 positions already; line skipped\n" + POSITION_FILE +
                        ":26: there are 24 positions already; line skipped\n");
}

TEST(LabelDrawing, ShowsExactlyTheCharactersThatWereWritten) {
    for (const auto& row : table("shown.txt")) {
        load(COLORS, POSITIONS, "ONE " + row[0] + " 1 RED WHITE\n");
        show_label(0, 1);
        const std::string blanks(9 - row[1].size(), ' ');
        EXPECT_EQ(console_got(), "\x1B[3;2H\x1B[1;31m" + row[1] + blanks + "\x1B[0m");
    }
}

TEST(LabelDrawing, NotesChooseTheColour) {
    load(COLORS, POSITIONS + "7 7 THREE\n",
         "ONE a 1 RED GREEN\nTWO b 2 WHITE GREEN\nTHREE c 1 RED RED\n");
    const std::string red = "\x1B[1;31m";
    const std::string green = "\x1B[1;32m";
    const std::string white = "\x1B[0;37m";
    struct {
        byte status, note, velocity;
        std::string color;  // none: not drawn
        int current, previous;
    } const cases[] = {
        {0x90, 1, 127, red, 0, 0},  {0x90, 1, 0, green, 0, 0},  {0x80, 1, 63, red, 0, 0},
        {0x80, 1, 0, green, 0, 0},  {0x90, 1, 0x45, red, 5, 0}, {0x80, 1, 0x40, red, 0, 5},
        {0x90, 1, 126, red, 62, 0}, {0x90, 2, 1, white, 0, 0},  {0x90, 2, 0x41, green, 1, 0},
        {0x90, 9, 127, "", 0, 0},   {0x90, 0, 127, "", 0, 0},
    };
    for (const auto& c : cases) {
        const std::string before = console_got();
        EXPECT_EQ(sl_check_midi_input(c.status, c.note, c.velocity), c.color.empty() ? 0 : 1);
        if (c.color.empty()) {
            EXPECT_EQ(console_got(), before);
            continue;
        }
        const t_soft_label& label = soft_label_array[c.note - 1];
        EXPECT_NE(console_got().find(c.color + label.label_name), std::string::npos)
            << int{c.note} << ' ' << int{c.velocity};
        EXPECT_EQ(label.cur_label_idx, c.current);
        EXPECT_EQ(label.pre_label_idx, c.previous);
    }
    EXPECT_EQ(soft_label_array[2].cur_label_idx, 0) << "only the first label of a note responds";
}

TEST(LabelDrawing, FixedSequences) {
    const char* const sequences[] = {"0m", "2;31m", "1;31m", "1;30m", "2;31m", "7;30m", "8;31m"};
    for (int code = -1; code < 6; ++code) {
        EXPECT_EQ(color_code(static_cast<byte>(code)), std::string("\\033[") + sequences[code + 1]);
    }
    EXPECT_STREQ(color_code(6), color_code(COLOR_OFF));
}

// `ps` prints these lines, one a call.
std::string taken_over(const std::string& processes, const std::string& splash) {
    write_resource("processes", processes);
    write_resource("../commands/ps",
                   "#!/bin/sh\necho ps >>../called\nhead -n 1 ../resources/processes\n"
                   "sed -i 1d ../resources/processes\n");
    const size_t before = commands_called().size();
    testing::internal::CaptureStdout();
    screen_init();
    EXPECT_EQ(board_got(), "90 00 05 90 00 00");
    EXPECT_EQ(console_got(), "\x1B[2J\n");
    std::string called = commands_called().substr(before);
    const std::string begin = "killall [mixhost]\nkillall [Xfbdev]\nps\n";
    const std::string end = "fbset [-depth] [16]\nfbsplash [-s] [" +
                            std::filesystem::canonical("../resources").string() + "/" + splash +
                            "]\n";
    EXPECT_TRUE(called.starts_with(begin) && called.ends_with(end)) << called;
    return called.substr(begin.size(), called.size() - begin.size() - end.size()) +
           testing::internal::GetCapturedStdout();
}

TEST(Screen, IsTakenOverAndEveryLabelDrawnOnce) {
    EXPECT_FALSE(soft_label_enabled());
    const std::string again = "killall [Xfbdev]\nusleep 1000000\nps\n";
    const std::string line = "  99 root     12345 S    Xfbdev";  // 31 characters, as many as count
    const std::string got = "Check Xfbdev get " + line + " \n";
    const std::string set_up = "set up soft-label screen\n";
    const char* const wide = "orv_midi_screen_wide.ppm";
    EXPECT_EQ(taken_over("", wide), set_up);
    EXPECT_EQ(taken_over("Xorg\n", wide), set_up);
    EXPECT_EQ(taken_over(line + "\n" + line + " -a\n" + line + "\n" + line.substr(1) + "\n", wide),
              again + again + again + got + got + got + "Check Xfbdev get " + line.substr(1) +
                  " \n" + set_up);
    EXPECT_EQ(taken_over(line + "\n", wide), again + got + set_up) << "remembered from before";

    load(COLORS, POSITIONS + "7 7 IDLE\n", "ONE a 1 RED GREEN\nTWO b 2 WHITE RED\n");
    EXPECT_EQ(taken_over("", "orv_midi_screen.ppm"), set_up);
    total_color_list = total_soft_label = total_valid_soft_label = 0;
    dbg_set_msg_level(DBG_RED);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    soft_label_init();
    std::istringstream lines(testing::internal::GetCapturedStderr());
    std::string drawn;
    for (std::string said; std::getline(lines, said);) {
        drawn += said.starts_with("cmd ") ? said.substr(14, said.find("\" >") - 14) + "\n" : "";
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), set_up);
    EXPECT_EQ(drawn,
              "\\033[3;2H\\033[1;32mA        \\033[0m\n"
              "\\033[5;12H\\033[1;31mB        \\033[0m\n"
              "\\033[7;7H\\033[0;37m\\033[0m\n");
    EXPECT_TRUE(soft_label_enabled());
    set_soft_label_ctl(0);
    EXPECT_FALSE(soft_label_enabled());
}

TEST(Screen, ThePathOfTheImageHasQuotesOnlyWhereTheShellNeedsThem) {
    const struct {
        const char* directory;
        const char* written;  // null: as it is
    } cases[] = {
        {"mixer-2.0_a,b:c@d+e\xC3\xA9", nullptr},
        {"my mixer", "my mixer"},
        {"tab\t", "tab\t"},
        {"it's", "it's"},
        {"a;b", "a;b"},
        {"[a]*", "[a]*"},
        {"$HOME", "\\$HOME"},
        {"a\\b\"c`d", "a\\\\b\\\"c\\`d"},
    };
    const std::string home = std::filesystem::canonical("..").string() + "/";
    for (const auto& [directory, written] : cases) {
        std::filesystem::create_directories(home + directory + "/resources");
        std::filesystem::create_directories(home + directory + "/bin");
        std::filesystem::current_path(home + directory + "/bin");
        testing::internal::CaptureStdout();
        screen_init();
        testing::internal::GetCapturedStdout();
        std::filesystem::current_path(home + "bin");
        const bool plain = written == nullptr && home.find(' ') == std::string::npos;
        const std::string quote = plain ? "" : "\"";
        const std::string image = "/resources/orv_midi_screen_wide.ppm";
        EXPECT_TRUE(read_resource("../" + std::string(directory) + "/written")
                        .ends_with("\nfbsplash -s " + quote + home +
                                   (written != nullptr ? written : directory) + image + quote +
                                   "\n"))
            << directory;
        EXPECT_TRUE(
            commands_called().ends_with("fbsplash [-s] [" + home + directory + image + "]\n"))
            << directory;
    }
}

}  // namespace
