// What engine/ does in place of the shell, against BusyBox doing it: look-ups, the check script,
// echo.
//
// usage: stand_in_test CHECK_SCRIPT COUNT
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "files.h"
#include "shell.h"

namespace {

namespace fs = std::filesystem;

std::mt19937 engine_of_chance(1);

size_t below(size_t end) {
    return engine_of_chance() % end;
}

// Up to `most` pieces out of a list that parts them by spaces; "SP" is a blank.
std::string random_text(const std::string& pieces, size_t most) {
    std::vector<std::string> all;
    std::istringstream words(pieces);
    for (std::string word; std::getline(words, word, ' ');) {
        all.push_back(word == "SP" ? " " : word == "NUL" ? std::string(1, '\0') : word);
    }
    std::string text;
    for (size_t i = below(most + 1); i > 0; --i) {
        text += all[below(all.size())];
    }
    return text;
}

void write(const std::string& name, const std::string& text) {
    std::ofstream(name, std::ios::binary) << text;
}

std::string read(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string random_file(const std::string& pieces) {
    std::string text;
    for (size_t i = below(8); i > 0; --i) {
        text += random_text(pieces, 9) + (below(6) == 0 ? "\r\n" : below(30) == 0 ? "" : "\n");
    }
    return text;
}

// A command that reads the file in$N and writes out$N, and what engine/ makes of it.
struct Case {
    std::string text, command, ours;
};

// Runs all in one shell, prints those that differ and returns how many do.
int compare(const char* what, size_t count, Case (*make)()) {
    std::vector<Case> cases;
    std::ofstream script("cases.sh", std::ios::binary);
    for (size_t i = 0; i < count; ++i) {
        cases.push_back(make());
        write("in" + std::to_string(i), cases[i].text);
        script << "N=" << i << "\n" << cases[i].command << "\n";
    }
    script.close();
    if (system("PATH=$PWD/bin LC_ALL=C bin/sh cases.sh 2>said") == -1) {
        abort();
    }
    int differences = 0;
    for (size_t i = 0; i < count; ++i) {
        const std::string real = read("out" + std::to_string(i));
        if (real != cases[i].ours && ++differences <= 5) {
            printf("%s: %s\n  of \"%s\"\n  BusyBox \"%s\"\n  here \"%s\"\n", what,
                   cases[i].command.c_str(), cases[i].text.c_str(), real.c_str(),
                   cases[i].ours.c_str());
        }
        fs::remove("out" + std::to_string(i));
    }
    printf("%s: %zu cases, %d differences\n", what, count, differences);
    return differences;
}

Case look_up() {
    const std::string text =
        random_file("a b A PLAY play_a PLAY_AB = = SP SP \t . + - 21 60 # \xE4 \xC4 \xFF NUL \r");
    const std::string word = "P" + random_text("L A Y _ a . + - 1", 2);
    const char separator = below(2) == 0 ? ' ' : '=';
    const int field = separator == ' ' ? 1 : 2;
    const engine::found_line line = engine::look_up(text, word);
    std::string ours(line.number == 0 ? "" : engine::cut_field(line.text, separator, field));
    ours += line.number == 0 ? "" : "\n";
    return {text,
            "grep -i " + word + " in$N | cut -d'" + separator + "' -f" + std::to_string(field) +
                " | head -n 1 >out$N",
            ours};
}

Case check_script() {
    std::string text = below(9) == 0 ? "\xEF\xBB\xBF" : "";
    text += random_file(below(3) == 0 ? "A B 12 # SP SP \t \r \v \f \xFF \xE4 - $(id) \\n ' \""
                                      : "A SP 12");
    const int fields = below(2) == 0 ? 2 : 5;
    engine::put_file("source", text);
    engine::put_file("check_field_num.sh", "#!/bin/sh");
    engine::remove_file("source.ok");
    engine::make_checked_copy("source", fields);
    std::string ours(engine::find_file("source.ok") != nullptr ? "made\n" : "not made\n");
    ours += engine::text_of("source.ok");
    return {text,
            "sh script in$N " + std::to_string(fields) +
                "; if [ -e in$N.ok ]; then echo made; cat in$N.ok; "
                "else echo not made; fi >out$N; rm -f in$N.ok",
            ours};
}

Case echo() {
    const std::string quoted = random_text(
        "\\033[1;31m \\000 \\e \\x1b \\x1B[0m \\0101 \\711 \\7 \\n \\\\ \\\" \\$ \\` \\q \\x \\8 "
        "\\c "
        "A b SP 1 ; [ m # \xE4",
        9);
    char bytes[256];
    const size_t size = engine::echo_bytes(quoted + "A", bytes, sizeof bytes);
    return {"", "echo -ne \"" + quoted + "A\" >out$N", {bytes, size}};
}

}  // namespace

int main(int argc, char** argv) {
    const size_t count = argc == 3 ? std::stoul(argv[2]) : 0;
    if (count == 0) {
        fprintf(stderr, "usage: stand_in_test CHECK_SCRIPT COUNT\n");
        return 2;
    }
    char home[] = "/tmp/stand-in-test-XXXXXX";
    const fs::path script = fs::absolute(argv[1]);
    if (mkdtemp(home) == nullptr || chdir(home) != 0) {
        perror("no directory");
        return 2;
    }
    fs::create_directory("bin");
    fs::copy(script, "script");
    for (const char* applet : {"awk", "cat", "cut", "grep", "head", "mv", "rm", "sh"}) {
        fs::create_symlink("/bin/busybox", std::string("bin/") + applet);
    }
    const int differences = compare("look-ups", count, look_up) +
                            compare("check script", count / 10, check_script) +
                            compare("echo", count, echo);
    fs::remove_all(home);
    return differences == 0 ? 0 : 1;
}
