// check_field_num.sh as the controller runs it: by BusyBox, whose awk, rm, mv and cat it finds.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

namespace fs = std::filesystem;

namespace {

struct Source {
    const char* what;
    std::string content;
    std::optional<std::string> copy;
    std::string message;
};

// Two fields are wanted.
const Source SOURCES[] = {
    {"comments and empty lines", "# A\n\n B 2\nC 3\n\n", "\n\n\nC 3\n", ""},
    {"a byte order mark", "\xEF\xBB\xBF# A\nB 2\n\xEF\xBB\xBFX 3\n", "\nB 2\n\xEF\xBB\xBFX 3\n",
     ""},
    {"CR LF, no last newline", "# A\r\n\r\nB 2\r\nC 3", "\n\nB 2\nC 3\n", ""},
    {"classed after carriage returns", "\r# A\n\r\rB 2\n", "\nB 2\n", ""},
    {"a tab begins a data line", "\tA\t\t1\n", "\tA\t\t1\n", ""},
    {"no data lines", "# only\n", "", ""},
    {"end byte where a line begins", "A 1\n\xff\nB\n", "A 1\n", ""},
    {"end byte in a comment", "A 1\n# \xff\nB\n", "A 1\n", ""},
    {"end byte in a field", "A \xff\nB 2\n", "A \xff\nB 2\n", ""},
    {"shell characters stay", "`id` $(id)\n\\033\\n \"'*\n", "`id` $(id)\n\\033\\n \"'*\n", ""},
    {"bad lines", "#\nA\n\nB 2 3\n", {}, ":2: fields found: 1, wanted: 2\na.txt:4: fields"},
    {"comment after fields", "A 1 # b\n", {}, ":1: fields found: 4, wanted: 2 (a comment"},
    {"line of a tab", "A 1\r\n\t\r\n", {}, ":2: fields found: 0, wanted: 2\na.txt: not used"},
};

std::string content_of(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

class CheckScript : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = testing::TempDir() + "check_script.XXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        dir_ = name;
        fs::create_directory(work_ = dir_ / "work");
        for (const char* const applet : {"sh", "awk", "rm", "mv", "cat"}) {
            fs::create_symlink("/bin/busybox", dir_ / applet);
        }
    }
    void TearDown() override { fs::remove_all(dir_); }

    // Runs the script in the working directory, with arguments in shell notation.
    int run(const std::string& arguments) {
        const std::string command = "cd '" + work_.string() + "'; LC_ALL=C.UTF-8 PATH='" +
                                    dir_.string() + "' sh '" RESOURCES_DIR "/check_field_num.sh' " +
                                    arguments + " 2>../messages";
        const int status = std::system(command.c_str());
        messages_ = content_of(dir_ / "messages");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    void write(const std::string& name, const std::string& content) {
        std::ofstream(work_ / name, std::ios::binary) << content;
    }

    fs::path dir_, work_;
    std::string messages_;
};

TEST_F(CheckScript, CopiesASourceOrNamesItsBadLines) {
    for (const Source& source : SOURCES) {
        SCOPED_TRACE(source.what);
        fs::remove(work_ / "a.txt.ok");
        write("a.txt", source.content);
        EXPECT_EQ(run("a.txt 2"), source.copy ? 0 : 1);
        EXPECT_EQ(fs::exists(work_ / "a.txt.ok"), source.copy.has_value());
        EXPECT_EQ(content_of(work_ / "a.txt.ok"), source.copy.value_or(""));
        EXPECT_EQ(messages_.empty(), source.copy.has_value()) << messages_;
        EXPECT_NE(messages_.find(source.message), std::string::npos) << messages_;
    }
}

TEST_F(CheckScript, LeavesNoOldCopyOfABadSource) {
    write("a.txt", "A\n");
    write("a.txt.ok", "A 1\n");
    write("a.txt.ok.new", "A");
    EXPECT_EQ(run("a.txt 2"), 1);
    EXPECT_FALSE(fs::exists(work_ / "a.txt.ok") || fs::exists(work_ / "a.txt.ok.new"));
}

TEST_F(CheckScript, TakesAnyFileName) {
    for (const std::string name : {"a  b.txt", "-v=1.txt", "$x.txt"}) {
        write(name, "A x 1 R W\n");
        EXPECT_EQ(run("'" + name + "' 5"), 0) << messages_;
        EXPECT_EQ(content_of(work_ / (name + ".ok")), "A x 1 R W\n");
    }
}

TEST_F(CheckScript, SaysWhyItCannotRun) {
    const char* const calls[][2] = {
        {"a.txt", "usage: "},
        {"a.txt 2 3", "usage: "},
        {"a.txt 0", "usage: "},
        {"absent.txt 2", "absent.txt: not a file"},
        {"/proc/sys/kernel/ostype 1", "ostype: cannot write"},
    };
    for (const auto& [arguments, message] : calls) {
        EXPECT_NE(run(arguments), 0) << arguments;
        EXPECT_NE(messages_.find(message), std::string::npos) << messages_;
    }
}

}  // namespace
