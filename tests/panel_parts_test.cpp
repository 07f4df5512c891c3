// What the panel computes without a terminal.
#define NCURSES_NOMACROS
#include <curses.h>
#include <gtest/gtest.h>

#include "panel/line_edit.h"
#include "panel/room.h"

namespace bench {
namespace {

using Strings = std::vector<std::string>;

TEST(PanelText, FitsColumns) {
    EXPECT_EQ(wrapped("", 9, 2), Strings{""});
    EXPECT_EQ(wrapped("one two three four", 9, 2), (Strings{"one two", "  three", "  four"}));
    EXPECT_EQ(wrapped("▲▼▲▼▲▼▲▼ 123456", 5, 0), (Strings{"▲▼▲▼▲", "▼▲▼", "12345", "6"}));
    EXPECT_EQ(tightened("  1.5  a  b   c ", 9), "  1.5  a b c ");
    const struct {
        const char* name;
        int width;
        const char* result;
    } cases[] = {{"PITCH_FADER", 11, "PITCH_FADER"},
                 {"PITCH_FADER", 10, "PITCH_FADR"},
                 {"PITCH_FADER", 8, "PTCH_FDR"},
                 {"PITCH_FADER", 7, nullptr},
                 {"EQ_A", 3, nullptr},
                 {"", 0, ""}};
    for (const auto& [name, width, result] : cases) {
        EXPECT_EQ(abbreviated(name, width).value_or("-"), result == nullptr ? "-" : result) << name;
    }
    EXPECT_EQ(joined({"one", "two", "three"}, 9), "one  two");
}

TEST(PanelLayout, FitsTerminals) {
    const struct {
        int width, rows, wanted;
        Layout layout;
    } cases[] = {{80, 13, 17, {{3, 1, 3}, {0, 33, 47, 80}, 13}},
                 {100, 16, 17, {{3, 1, 3}, {0, 42, 58, 100}, 13}},
                 {120, 21, 17, {{3, 1, 3}, {0, 51, 69, 120}, 13}},
                 {139, 31, 17, {{3, 2, 3}, {0, 51, 88, 139}, 12}},
                 {120, 40, 60, {{1, 1, 1}, {0, 40, 80, 120}, 36}},
                 {80, 1, 17, {{3, 1, 3}, {0, 33, 47, 80}, 13}}};
    for (const auto& [width, rows, wanted, expected] : cases) {
        const Layout layout = fit_layout({36, 13, 36}, width, rows, wanted);
        EXPECT_EQ(layout.columns, expected.columns) << width;
        EXPECT_EQ(layout.borders, expected.borders) << width;
        EXPECT_EQ(layout.rows, expected.rows) << width;
    }
}

class PanelLine : public testing::Test {
  protected:
    void keys(const std::vector<int>& codes) {
        for (const int code : codes) {
            line_.key(code);
        }
    }
    LineEdit line_;
};

TEST_F(PanelLine, IsEditedAndRecalled) {
    for (const char* const text : {"first", "second", "second"}) {
        line_.open();
        keys({text, text + std::string_view(text).size()});
        line_.remember();
    }
    line_.open();
    keys({'a', 'b', KEY_LEFT, 'c', KEY_HOME, KEY_LEFT, KEY_DC, KEY_END, KEY_RIGHT, 'd'});
    EXPECT_EQ(line_.text(), "cbd");
    keys({KEY_UP, KEY_UP, KEY_UP});
    EXPECT_EQ(line_.text(), "first");
    keys({KEY_DOWN, KEY_BACKSPACE, '!'});
    EXPECT_EQ(line_.text(), "secon!");
    keys({KEY_DOWN, KEY_DOWN, ' ', 'e', ' ', 'W' & 0x1F});
    EXPECT_EQ(line_.text(), "cbd ");
    keys({'W' & 0x1F, KEY_BACKSPACE, KEY_DC});
    EXPECT_EQ(line_.text(), "");
}

TEST_F(PanelLine, IsCompleted) {
    const Strings steps = {"board press PLAY_A", "board press PLAY_B", "board turn FADER ",
                           "host send "};
    const struct {
        const char* typed;
        const char* completed;
        const char* choices;
    } cases[] = {{"", "", "board host "},
                 {"B", "board ", "press turn "},
                 {"board p", "board press PLAY_", "PLAY_A PLAY_B "},
                 {"board press play_b", "board press PLAY_B", ""},
                 {"board t", "board turn FADER ", ""},
                 {"x", "x", ""}};
    for (const auto& [typed, completed, choices] : cases) {
        line_.open();
        keys({typed, typed + std::string_view(typed).size()});
        EXPECT_EQ(line_.complete(steps), choices) << typed;
        EXPECT_EQ(line_.text(), completed) << typed;
    }
}

}  // namespace
}  // namespace bench
