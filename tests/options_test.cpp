// The program itself: options that end it.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "modules/ptys.h"

namespace {

struct Ended {
    int status;
    std::string said;
};

Ended run(const std::string& arguments) {
    FILE* const output = popen((CTLBRIDGE " " + arguments + " 2>&1").c_str(), "r");
    Ended ended;
    for (int c = fgetc(output); c != EOF; c = fgetc(output)) {
        ended.said += static_cast<char>(c);
    }
    const int status = pclose(output);
    ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return ended;
}

TEST(Options, ThoseThatEndTheProgram) {
    write_resource("orvik.sys.cfg", "product_name=A Controller\n");
    const std::string usage =
        "\nctlbridge [-m midi-channel] [-d level] [-v] [-c] [-s]\n\n"
        "    -m\t\t\tset midi channel - default is 0\n"
        "    -d\t\t\tset debug level - default is 20, smaller the level, more detailed the "
        "output\n"
        "    -v\t\t\tverbose mode - print what is happening at each step\n"
        "    -c\t\t\tcheck ctl-bridge version, then exit\n"
        "    -s\t\t\tsupport soft label\n\ncompiled ";
    const std::string version = "A Controller ctl-bridge compiled ";
    struct {
        const char* arguments;
        std::string said;
    } const cases[] = {
        {"-c", version},
        {"-d 5 -c -x", " set level to 5 \n" + version},
        {"-v -t 9 word -m 3 -s -c", " set level to 100 \n" + version},
        {"-t", usage},
        {"-x", usage},
        {"-d", usage},
    };
    for (const auto& c : cases) {
        const Ended ended = run(c.arguments);
        EXPECT_EQ(ended.status, 1) << c.arguments;
        EXPECT_NE(ended.said.find(c.said), std::string::npos) << c.arguments << '\n' << ended.said;
    }
    EXPECT_EQ(commands_called(), "") << "the gadget was loaded";
}

TEST(Options, WithoutMappingTheProgramEndsWithStatusZero) {
    const Ended ended = run("");
    EXPECT_EQ(ended.status, 0);
    EXPECT_NE(ended.said.find("error in open ../resources/orvik.midictl.cfg\n"), std::string::npos);
    write_resource("orvik.sys.cfg", "");
    EXPECT_EQ(run("-c").said.substr(0, 20), " ctl-bridge compiled") << "no product_name";
}

}  // namespace
