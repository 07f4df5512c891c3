// check_field_num.sh as the controller runs it: by BusyBox, whose awk, rm, mv and cat it finds.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct Source {
    const char* what;
    std::string content;
    std::optional<std::string> copy;
    std::string message;
};

// What the script makes of a file: the copy, if there is one, and all that it says.
struct Outcome {
    std::optional<std::string> copy;
    std::string messages;
};

std::vector<std::string> words_of(const std::string& line) {
    std::vector<std::string> words;
    size_t end = 0;
    for (size_t at; (at = line.find_first_not_of(" \t\v\f", end)) != std::string::npos;) {
        end = std::min(line.find_first_of(" \t\v\f", at), line.size());
        words.push_back(line.substr(at, end - at));
    }
    return words;
}

Outcome expected_of(const std::string& content, size_t wanted) {
    std::string copy, bad;
    std::istringstream in(content);
    int number = 1;
    for (std::string line; std::getline(in, line); ++number) {
        if (number == 1 && line.starts_with("\xEF\xBB\xBF")) {
            line.erase(0, 3);
        }
        line.erase(0, line.find_first_not_of('\r'));
        line.erase(line.find_last_not_of('\r') + 1);
        std::replace(line.begin(), line.end(), '\r', ' ');
        const bool comment = line[0] == '#' || line[0] == ' ';
        if (line[0] == '\xFF' || (comment && line.find('\xFF') != std::string::npos)) {
            break;
        }
        if (line.empty() || comment) {
            copy += "\n";
            continue;
        }
        const std::vector<std::string> words = words_of(line);
        if (words.size() == wanted) {
            copy += line + "\n";
            continue;
        }
        bool hint = false;
        for (size_t i = 1; i < words.size(); ++i) {
            hint |= words[i][0] == '#';
        }
        bad += "a.txt:" + std::to_string(number) +
               ": fields found: " + std::to_string(words.size()) +
               ", wanted: " + std::to_string(wanted) +
               (hint ? " (a comment needs a line of its own)\n" : "\n");
    }
    if (!bad.empty()) {
        return {std::nullopt, bad + "a.txt: not used, there is no a.txt.ok\n"};
    }
    copy.erase(copy.find_last_not_of('\n') + 1);
    return {copy.empty() ? "" : copy + "\n", ""};
}

// Files as people and broken tools make them; half of them have no bad line.
class Writer {
  public:
    explicit Writer(unsigned seed) : random_(seed) {}

    std::string file(size_t fields) {
        const bool bad_lines = below(2) == 0;
        std::string content = below(8) == 0 ? "\xEF\xBB\xBF" : "";
        for (size_t lines = below(12); lines > 0; --lines) {
            const size_t kind = below(bad_lines ? 10 : 7);
            content += kind < 4   ? line(fields)
                       : kind < 6 ? one_of({"#", " ", "\r# ", ""}) + line(below(4))
                       : kind < 7 ? one_of({"", "\r", "\r\r", "\xFF", "# \xFF"})
                                  : line(below(2 * fields + 1));
            content += one_of({"\n", "\n", "\r\n", "\r\r\n"});
        }
        return below(4) == 0 ? content + line(fields) : content;
    }

  private:
    size_t below(size_t end) { return random_() % end; }

    std::string one_of(const std::vector<std::string>& choices) {
        return choices[below(choices.size())];
    }

    std::string word() {
        const size_t kind = below(20);
        std::string bytes(kind == 0 ? 1 + below(3000) : 1 + below(8), 'w');
        if (kind < 4) {  // any bytes but those that end a text or a line
            std::generate(bytes.begin(), bytes.end(),
                          [&] { return static_cast<char>(below(255) + 1); });
            std::replace(bytes.begin(), bytes.end(), '\n', '$');
        }
        return kind < 8 ? bytes
                        : one_of({"A", "-1", "300", "a_b", "$(id)", "`id`", "\\n", "'\"", "#"});
    }

    std::string line(size_t fields) {
        std::string text = below(8) == 0 ? "\t" : "";
        for (size_t i = 0; i < fields; ++i) {
            text += (i > 0 ? one_of({" ", " ", "\t", "  ", " \v", "\f", "\r"}) : "") + word();
        }
        return text + (below(8) == 0 ? one_of({" ", "\t", " # b"}) : "");
    }

    std::mt19937 random_;
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

// CTLBRIDGE_CHECK_FILES in the environment: how many files.
TEST_F(CheckScript, TreatsAnyFileAsItsRulesSay) {
    const char* const count = std::getenv("CTLBRIDGE_CHECK_FILES");
    for (int i = 0; i < (count != nullptr ? std::atoi(count) : 200); ++i) {
        const size_t fields = i % 2 == 0 ? 2 : 5;
        const std::string content = Writer(static_cast<unsigned>(i)).file(fields);
        SCOPED_TRACE("file " + std::to_string(i) + ": " + testing::PrintToString(content));
        const Outcome expected = expected_of(content, fields);
        fs::remove(work_ / "a.txt.ok");
        write("a.txt", content);
        ASSERT_EQ(run("a.txt " + std::to_string(fields)), expected.copy ? 0 : 1);
        ASSERT_EQ(fs::exists(work_ / "a.txt.ok"), expected.copy.has_value());
        ASSERT_EQ(content_of(work_ / "a.txt.ok"), expected.copy.value_or(""));
        ASSERT_EQ(messages_, expected.messages);
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
