// ctlmap: checks the controller's configuration, draws it, and writes it for other programs.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "chart.h"
#include "check.h"
#include "export.h"
#include "findings.h"
#include "model.h"

namespace ctlmap {
namespace {

constexpr int CLEAN = 0;
constexpr int FOUND = 1;
constexpr int COULD_NOT_RUN = 2;

struct options {
    const char* dirs[2];
    int dir_count;
    bool werror, quiet, json, markdown;
    const char* output;
    const char* format;
};

model loaded;
findings found;

int misused(const char* what);

int run_check(const options& with) {
    if (!load(with.dirs[0], &loaded)) {
        return COULD_NOT_RUN;
    }
    check(loaded, &found);
    if (with.werror) {
        for (finding& item : found.items) {
            item.level = item.level == WARNING ? ERROR : item.level;
        }
    }
    if (with.json) {
        print_json(found, loaded.dir, stdout);
    } else {
        print(found, loaded.dir, with.quiet, stdout);
    }
    return found.of(ERROR) > 0 || found.of(WARNING) > 0 ? FOUND : CLEAN;
}

// To the file that is named, or to standard output.
int run_chart(const options& with) {
    if (!load(with.dirs[0], &loaded)) {
        return COULD_NOT_RUN;
    }
    check(loaded, &found);
    if (!loaded.base_found) {
        fprintf(stderr, "ctlmap: %s/%s is missing, so there is nothing to draw\n", loaded.dir,
                BASE_FILE);
        return COULD_NOT_RUN;
    }
    FILE* const out = with.output != nullptr ? fopen(with.output, "we") : stdout;
    if (out != nullptr && with.markdown) {
        write_markdown(loaded, out);
    } else if (out != nullptr) {
        write_page(loaded, found, out);
    }
    if (out == nullptr || ferror(out) != 0 || (out == stdout ? fflush(out) : fclose(out)) != 0) {
        fprintf(stderr, "ctlmap: cannot write %s: %s\n",
                with.output != nullptr ? with.output : "standard output", strerror(errno));
        return COULD_NOT_RUN;
    }
    return CLEAN;
}

int run_rules([[maybe_unused]] const options& with) {
    print_rules(stdout);
    return CLEAN;
}

struct format {
    const char* name;
    void (*write)(const mapping& what, FILE* out);
};
constexpr format FORMATS[] = {{"json", export_json}, {"csv", export_csv}};

int run_export(const options& with) {
    const char* const name = with.format != nullptr ? with.format : FORMATS[0].name;
    for (const format& known : FORMATS) {
        if (strcmp(known.name, name) == 0) {
            static mapping exported;
            if (!load_mapping(with.dirs[0], &loaded, &exported)) {
                return COULD_NOT_RUN;
            }
            known.write(exported, stdout);
            return CLEAN;
        }
    }
    return misused(name);
}

int run_diff(const options& with) {
    static mapping before, after;
    if (!load_mapping_apart(with.dirs[0], &loaded, &before) ||
        !load_mapping_apart(with.dirs[1], &loaded, &after)) {
        return COULD_NOT_RUN;
    }
    return print_differences(before, after, stdout) > 0 ? FOUND : CLEAN;
}

struct command {
    const char* name;
    const char* usage;
    int least_dirs, most_dirs;
    int (*run)(const options& with);
};
constexpr command COMMANDS[] = {
    {"check", "check [DIR] [--werror] [--quiet] [--json]", 0, 1, run_check},
    {"chart", "chart [DIR] [-o FILE] [--markdown]", 0, 1, run_chart},
    {"export", "export [DIR] [--format json|csv]", 0, 1, run_export},
    {"diff", "diff DIR DIR", 2, 2, run_diff},
    {"rules", "rules", 0, 0, run_rules},
};

int misused(const char* what) {
    fprintf(stderr, "ctlmap: \"%s\" is not understood\n", what);
    const char* start = "usage:";
    for (const command& known : COMMANDS) {
        fprintf(stderr, "%s ctlmap %s\n", start, known.usage);
        start = "      ";
    }
    return COULD_NOT_RUN;
}

// The directory "resources" beside that of this program.
bool find_resources(char* path, size_t size) {
    const ssize_t len = readlink("/proc/self/exe", path, size - 1);
    if (len < 0) {
        return false;
    }
    path[len] = '\0';
    for (int i = 0; i < 2; ++i) {
        *strrchr(path, '/') = '\0';
    }
    strncat(path, "/resources", size - strlen(path) - 1);
    return true;
}

struct flag {
    const char* name;
    bool options::*is_set;
    const char* options::*value;
};
constexpr flag FLAGS[] = {
    {"--werror", &options::werror, nullptr}, {"--quiet", &options::quiet, nullptr},
    {"--json", &options::json, nullptr},     {"--markdown", &options::markdown, nullptr},
    {"-o", nullptr, &options::output},       {"--format", nullptr, &options::format},
};

// Takes one word of the command line, and the next one if it belongs to it. Returns how many; 0: it
// means nothing. A flag belongs to the commands whose usage names it.
int take_word(char** words, const command& of, options* to) {
    const std::string_view word = words[0];
    for (const flag& known : FLAGS) {
        if (word != known.name || strstr(of.usage, known.name) == nullptr) {
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

int run(char** words) {
    const char* const name = words[0] != nullptr ? words[0] : "";
    for (const command& known : COMMANDS) {
        if (strcmp(known.name, name) != 0) {
            continue;
        }
        options with = {};
        for (int i = 1; words[i] != nullptr;) {
            const int taken = take_word(words + i, known, &with);
            if (taken == 0) {
                return misused(words[i]);
            }
            i += taken;
        }
        if (with.dir_count < known.least_dirs) {
            return misused(name);
        }
        static char beside[PATH_MAX];
        if (with.dir_count == 0 && find_resources(beside, sizeof beside)) {
            with.dirs[with.dir_count++] = beside;
        }
        return known.run(with);
    }
    return misused(name);
}

}  // namespace
}  // namespace ctlmap

int main([[maybe_unused]] int argc, char** argv) {
    const int status = ctlmap::run(argv + 1);
    if (fflush(stdout) != 0) {
        perror("ctlmap: standard output");
        return ctlmap::COULD_NOT_RUN;
    }
    return status;
}
