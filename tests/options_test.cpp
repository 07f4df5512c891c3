// The program itself: options that end it, and what it is started with.
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "play.h"
#include "utility.h"

namespace {

// What the shell starts: the program beside these tests, or the package's, which has another C
// library.
const char* const PACKAGED = getenv("CTLBRIDGE");
const std::string PROGRAM = PACKAGED != nullptr ? PACKAGED : CTLBRIDGE;
const bool EMULATED = PROGRAM[0] != ' ';

struct Ended {
    int status;
    std::string said;
};

Ended run(const std::string& arguments, const std::string& before = "") {
    FILE* const output = popen((before + PROGRAM + " " + arguments + " 2>&1").c_str(), "r");
    Ended ended;
    for (int c = fgetc(output); c != EOF; c = fgetc(output)) {
        ended.said += static_cast<char>(c);
    }
    const int status = pclose(output);
    ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return ended;
}

TEST(Options, ThoseThatEndTheProgram) {
    write_resource("orvik.sys.cfg", "product_name=A Controller with 31 characters!\n");
    const std::string usage =
        "\nctlbridge [-m midi-channel] [-d level] [-v] [-c] [-s]\n\n"
        "    -m\t\t\tset midi channel - default is 0\n"
        "    -d\t\t\tset debug level - default is 20, smaller the level, more detailed the "
        "output\n"
        "    -v\t\t\tverbose mode - print what is happening at each step\n"
        "    -c\t\t\tcheck ctl-bridge version, then exit\n"
        "    -s\t\t\tsupport soft label\n\ncompiled ";
    const std::map<std::string, std::string> ends = {
        {"usage", usage},
        {"version", "A Controller with 31 characters ctl-bridge compiled "},
        {"starts", "rm: "}};
    for (const auto& row : table("options.txt")) {
        const Ended ended = run(row[0]);
        EXPECT_EQ(ended.status, row[2] == "starts" ? 0 : 1) << row[0];
        // getopt's complaint stands before the usage text.
        const size_t start = row[2] == "usage" ? ended.said.find('\n') + 1 : 0;
        EXPECT_TRUE(ended.said.substr(start).starts_with(row[1] + ends.at(row[2])))
            << row[0] << ended.said;
    }
    EXPECT_EQ(commands_called(), "") << "the gadget was loaded";
}

TEST(Options, ComplaintsAreThoseOfTheManual) {
    const std::string manual = read_file(TESTS "/../docs/ctlbridge.1.md");
    const struct {
        const char* option;
        std::string packaged, complaint;
    } cases[] = {
        {"-X", ": unrecognized option: ", ": invalid option -- 'X'"},
        {"-m", ": option requires an argument: ", ": option requires an argument -- 'm'"},
    };
    for (const auto& [option, packaged, complaint] : cases) {
        EXPECT_NE(manual.find("COMMAND" + packaged + "X`"), std::string::npos) << packaged;
        const std::string said = run(option).said;
        const std::string wanted = PACKAGED != nullptr ? packaged + option[1] : complaint;
        EXPECT_TRUE(said.substr(0, said.find('\n')).ends_with(wanted)) << said;
    }
    EXPECT_NE(manual.find("where it differs, this page"), std::string::npos)
        << "the usage text does";
}

TEST(Workers, ThatCannotBeStartedAreNamed) {
    if (EMULATED) {
        return;  // the emulator makes their stacks
    }
    write_resource("orvik.midictl.cfg", "");
    const std::string said = run("", "ulimit -s 200000000000; ").said;  // kB, for each stack
    for (const std::string name : {"board", "host"}) {
        EXPECT_NE(said.find("cannot start the " + name + " worker: "), std::string::npos) << said;
    }
}

// A daemon that runs until the end of the scope, or of the test.
class Daemon {
  public:
    explicit Daemon(const std::string& arguments) : pid_(fork()) {
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            int broken[2];
            static_cast<void>(pipe(broken));
            close(broken[0]);
            dup2(broken[1], BROKEN);
            execl("/bin/sh", "sh", "-c", ("exec " + PROGRAM + " -d 30 " + arguments).c_str(),
                  nullptr);
            _exit(127);
        }
    }
    ~Daemon() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;
    pid_t pid() const { return pid_; }

    static constexpr int BROKEN = 9;  // the shell's number of a pipe that nobody reads

  private:
    pid_t pid_;
};

template <typename Condition>
bool eventually(const Condition& condition) {
    for (int tries = 0; tries < 2000; ++tries) {
        if (condition()) {
            return true;
        }
        poll(nullptr, 0, 10);
    }
    return false;
}

// Releases a button, each time in another way, until the host hears of it, and of nothing else:
// what comes before both ports are open is lost.
bool gets_through(const std::string& status) {
    const std::string answer = status + " 3d 0";
    int velocity = 1;
    std::string got;
    bool alone = true;
    const bool came = eventually([&] {
        velocity = 3 - velocity;
        board_sends("80 02 0" + std::to_string(velocity));
        got = host_got();
        for (size_t i = 0; i < got.size(); i += answer.size() + 2) {
            alone = alone && got.compare(i, answer.size(), answer) == 0;
        }
        return !got.empty();
    });
    return came && alone;
}

TEST(Streams, ThatAreClosedOrBrokenCostNothing) {
    write_resource("orvik.midictl.cfg", "22 2 61 1 0 0 2 CUE\n");
    write_resource("orvik.sys.cfg", "");
    for (const char* streams : {"<&- >&- 2>&-", ">&-", "2>&-", ">&9 2>&9"}) {
        if (EMULATED && strchr(streams, '-') != nullptr) {
            continue;  // the emulator takes closed descriptors for itself
        }
        board_got();
        host_got();
        const Daemon daemon(std::string("-m 3 ") + streams);
        ASSERT_TRUE(gets_through("83")) << streams;
        EXPECT_TRUE(board_got().starts_with("90 00 05 90 00 00 90 38 ")) << streams;
        EXPECT_TRUE(gets_through("83")) << streams;
        EXPECT_NE(commands_called().find("modprobe [g_midi]"), std::string::npos);
    }
}

TEST(SerialLine, BelongsToTheFirstDaemon) {
    write_resource("orvik.midictl.cfg", "22 2 61 1 0 0 2 CUE\n");
    write_resource("orvik.sys.cfg", "");
    for (const char* file : {"orvik.midictl.cfg0.txt", "orvik.miditxt.cfg0.txt", "orvik.color.cfg",
                             "orvik.softlabelpos.cfg"}) {
        write_resource(file, "");
    }
    const Daemon first("</dev/tty0 >../resources/first 2>&1");
    ASSERT_TRUE(gets_through("80")) << read_resource("first") << board_got();
    const std::string main_thread = std::to_string(first.pid());  // has ended: it tells nobody
    utl_run(("ls -l /proc/" + main_thread + "/task/*/fd >../resources/open 2>&1").c_str());
    const std::string open = read_resource("open");
    EXPECT_NE(open.find("/dev/pts/"), std::string::npos) << open;
    EXPECT_EQ(open.find("orvik"), std::string::npos) << "a file is left open: " << open;
    EXPECT_EQ(read_resource("first").find("cannot start"), std::string::npos);
    const Daemon second("-m 1 >../resources/second 2>&1");
    const std::string refusal =
        "/dev/ttymxc1 is in use by process " + main_thread + ": stop that one first\n";
    ASSERT_TRUE(eventually([&] {
        return read_resource("second").find(refusal) != std::string::npos;
    })) << read_resource("second");
    host_got();
    for (int press = 0; press < 40; ++press) {
        const std::string status = press % 2 == 0 ? "90" : "80";
        board_sends(status + " 02 40");
        ASSERT_TRUE(eventually([&] { return host_got().starts_with(status + " 3d "); })) << press;
    }
}

}  // namespace
