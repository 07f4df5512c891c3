#include "panel/monitor.h"

#include <gtest/gtest.h>

namespace bench {
namespace {

std::string joined(const Scroll& lines, int height, const std::string& filter = "") {
    std::string text;
    for (const MonitorLine* const line : lines.view(height, filter)) {
        text += (text.empty() ? "" : " ") + line->text;
    }
    return text;
}

TEST(Scroll, StaysWhereItIsUntilItFollows) {
    Scroll lines;
    const auto add = [&](const std::string& names) {
        for (const char name : names) {
            lines.add({std::string(1, name), {}});
        }
    };
    add("aBcDe");
    EXPECT_EQ(joined(lines, 3), "c D e");
    EXPECT_EQ(joined(lines, 3, "d"), "D");
    lines.stay();
    add("fg");
    EXPECT_EQ(joined(lines, 2), "D e");
    lines.back(2, "");
    EXPECT_EQ(joined(lines, 2), "B c");
    lines.back(-1, "");
    EXPECT_EQ(joined(lines, 2), "c D");
    lines.back(1, "b");
    EXPECT_EQ(joined(lines, 2), "a");
    lines.back(9, "");
    EXPECT_EQ(joined(lines, 2), "a");
    for (int i = 0; i < 2; ++i) {  // also where it follows already
        lines.follow();
        EXPECT_TRUE(lines.following());
        EXPECT_EQ(joined(lines, 2), "f g");
    }
    lines.back(-1, "");
    EXPECT_TRUE(lines.following());
}

TEST(Scroll, GivesUpTheOldestLines) {
    Scroll lines;
    lines.add({"first", {}});
    lines.stay();
    for (int i = 0; i < 30000; ++i) {
        lines.add({"more", {}});
    }
    EXPECT_EQ(joined(lines, 1), "");
    EXPECT_EQ(joined(lines, 1, "first"), "");
}

}  // namespace
}  // namespace bench
