// check_field_num.sh as the controller runs it: by BusyBox, whose awk, rm, mv and cat it finds.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "table.h"

namespace fs = std::filesystem;

namespace {

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
    for (const auto& row : table("sources.txt")) {
        SCOPED_TRACE(row[0]);
        const bool good = row[1] != "-";
        fs::remove(work_ / "a.txt.ok");
        write("a.txt", row[0]);
        EXPECT_EQ(run("a.txt 2"), good ? 0 : 1);
        EXPECT_EQ(fs::exists(work_ / "a.txt.ok"), good);
        EXPECT_EQ(content_of(work_ / "a.txt.ok"), good ? row[1] : "");
        EXPECT_EQ(messages_.empty(), good) << messages_;
        EXPECT_NE(messages_.find(row[2]), std::string::npos) << messages_;
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
