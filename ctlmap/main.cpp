// ctlmap: checks the controller's configuration, and writes what it does for other programs.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <span>
#include <string_view>

#include "apart.h"
#include "check.h"
#include "export.h"
#include "print.h"

namespace ctlmap {
namespace {

using namespace engine;

constexpr int CLEAN = 0;
constexpr int FOUND = 1;
constexpr int COULD_NOT_RUN = 2;

struct options {
    const char* dirs[2];
    int dir_count;
    bool werror, quiet, json, help;
    const char* format;
};

// --- Commands ---

int run_check(const options& with) {
    static examined what;
    if (!read_files(with.dirs[0])) {
        return COULD_NOT_RUN;
    }
    examine(&what);
    if (with.werror) {
        raise_warnings();
    }
    if (with.json) {
        findings_json(with.dirs[0], stdout);
    } else {
        print_findings(with.dirs[0], with.quiet, stdout);
    }
    return count_findings(ERROR) + count_findings(WARNING) > 0 ? FOUND : CLEAN;
}

// False, with a message, when the daemon would not start.
bool is_usable(const char* dir, bool base_found) {
    if (!base_found) {
        fprintf(stderr, "ctlmap: %s/%s: missing, the daemon would not start\n", dir, BASE_FILE);
    }
    return base_found;
}

struct format {
    const char* name;
    void (*write)(const answers& what, FILE* out);
};
constexpr format FORMATS[] = {{"json", export_json}, {"csv", export_csv}};

int misused(const char* what);

int run_export(const options& with) {
    const char* const name = with.format != nullptr ? with.format : FORMATS[0].name;
    for (const format& known : FORMATS) {
        static examined what;
        if (strcmp(known.name, name) != 0) {
            continue;
        }
        if (!read_files(with.dirs[0])) {
            return COULD_NOT_RUN;
        }
        examine(&what);
        if (!is_usable(with.dirs[0], what.of.base_found)) {
            return COULD_NOT_RUN;
        }
        if (count_findings(ERROR) > 0) {
            fprintf(stderr, "ctlmap: %s: not all of it works, see ctlmap check\n", with.dirs[0]);
        }
        known.write(what.does, stdout);
        return CLEAN;
    }
    return misused(name);
}

int run_diff(const options& with) {
    const outcome* both[2];
    for (int i = 0; i < 2; ++i) {
        both[i] = examine_apart(with.dirs[i]);
        if (both[i] == nullptr || !is_usable(with.dirs[i], both[i]->base_found)) {
            return COULD_NOT_RUN;
        }
    }
    return print_differences(both[0]->does, both[1]->does, stdout) > 0 ? FOUND : CLEAN;
}

int run_rules([[maybe_unused]] const options& with) {
    print_rules(stdout);
    return CLEAN;
}

// --- The command line ---

struct flag {
    const char* name;
    bool options::*is_set;
    const char* options::*value;
    const char* use;
};
constexpr flag HELP = {"--help", &options::help, nullptr, "print this"};
constexpr flag CHECK_FLAGS[] = {
    {"--werror", &options::werror, nullptr, "count warnings as errors"},
    {"--quiet", &options::quiet, nullptr, "print errors and warnings only"},
    {"--json", &options::json, nullptr, "print a JSON object"},
    HELP};
constexpr flag EXPORT_FLAGS[] = {
    {"--format", nullptr, &options::format, "json (the default) or csv"}, HELP};
constexpr flag NO_FLAGS[] = {HELP};

struct command {
    const char* name;
    const char* operands;
    const char* use;
    std::span<const flag> flags;
    int least_dirs, most_dirs;
    int (*run)(const options& with);
};
constexpr command COMMANDS[] = {
    {"check", " [DIR]", "say what does not work in a configuration", CHECK_FLAGS, 0, 1, run_check},
    {"export", " [DIR]", "write what it does", EXPORT_FLAGS, 0, 1, run_export},
    {"diff", " DIR DIR", "say what the second one does differently", NO_FLAGS, 2, 2, run_diff},
    {"rules", "", "print what check looks for", NO_FLAGS, 0, 0, run_rules},
};

void print_usage(const command& of, FILE* out) {
    fprintf(out, "usage: ctlmap %s%s", of.name, of.operands);
    for (const flag& one : of.flags) {
        fprintf(out, " [%s%s]", one.name, one.value != nullptr ? " NAME" : "");
    }
    fprintf(out, ": %s\n", of.use);
    for (const flag& one : of.flags) {
        fprintf(out, "    %-10s %s\n", one.name, one.use);
    }
}

void print_all_usage(FILE* out) {
    for (const command& one : COMMANDS) {
        fprintf(out, "ctlmap %s%s: %s\n", one.name, one.operands, one.use);
    }
    fputs("ctlmap COMMAND --help, ctlmap --version\n", out);
}

int misused(const char* what) {
    fprintf(stderr, "ctlmap: \"%s\" is not understood\n", what);
    print_all_usage(stderr);
    return COULD_NOT_RUN;
}

// The directory "resources" beside that of this program.
bool find_resources(char* path, size_t size) {
    constexpr std::string_view NAME = "/resources";
    const ssize_t len = readlink("/proc/self/exe", path, size - NAME.size() - 1);
    if (len < 0) {
        fprintf(stderr, "ctlmap: cannot tell where this program is: %s\n", strerror(errno));
        return false;
    }
    path[len] = '\0';
    for (int i = 0; i < 2; ++i) {
        char* const slash = strrchr(path, '/');
        *(slash != nullptr ? slash : path) = '\0';
    }
    memcpy(path + strlen(path), NAME.data(), NAME.size() + 1);
    return true;
}

// Takes one word of the command line, and the next one if it belongs to it. Returns how many; 0: it
// means nothing.
int take_word(char** words, const command& of, options* to) {
    const std::string_view word = words[0];
    for (const flag& known : of.flags) {
        if (word != known.name) {
            continue;
        }
        if (known.is_set != nullptr) {
            to->*known.is_set = true;
            return 1;
        }
        to->*known.value = words[1];
        return words[1] != nullptr ? 2 : 0;
    }
    if (word.starts_with('-') || to->dir_count == of.most_dirs) {
        return 0;
    }
    to->dirs[to->dir_count++] = words[0];
    return 1;
}

int run_command(const command& known, char** words) {
    options with = {};
    for (int i = 0; words[i] != nullptr;) {
        const int taken = take_word(words + i, known, &with);
        if (taken == 0) {
            return misused(words[i]);
        }
        i += taken;
    }
    if (with.help) {
        print_usage(known, stdout);
        return CLEAN;
    }
    if (with.dir_count < known.least_dirs) {
        return misused(known.name);
    }
    static char beside[PATH_MAX];
    if (with.dir_count < known.most_dirs) {
        if (!find_resources(beside, sizeof beside)) {
            return COULD_NOT_RUN;
        }
        with.dirs[with.dir_count++] = beside;
    }
    return known.run(with);
}

int run(char** words) {
    const std::string_view name = words[0] != nullptr ? words[0] : "";
    if (name == "--help") {
        print_all_usage(stdout);
        return CLEAN;
    }
    if (name == "--version") {
        puts("ctlmap " CTLBRIDGE_VERSION);
        return CLEAN;
    }
    for (const command& known : COMMANDS) {
        if (name == known.name) {
            return run_command(known, words + 1);
        }
    }
    return misused(name.data());
}

}  // namespace
}  // namespace ctlmap

// Otherwise a file would get the number of a closed standard stream, and what is printed with it.
static void open_standard_streams() {
    int fd = STDIN_FILENO;
    while (fd >= STDIN_FILENO && fd <= STDERR_FILENO) {
        fd = open("/dev/null", O_RDONLY);  // what is printed must not seem to succeed
    }
    close(fd);
}

int main([[maybe_unused]] int argc, char** argv) {
    open_standard_streams();
    const int status = ctlmap::run(argv + 1);
    if (fflush(stdout) != 0 || ferror(stdout) != 0) {
        perror("ctlmap: standard output");
        return ctlmap::COULD_NOT_RUN;
    }
    return status;
}
