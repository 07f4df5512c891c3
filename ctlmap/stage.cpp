#include "stage.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "target_cfg.h"

namespace ctlmap {
namespace {

constexpr const char* RESOURCES = "/resources";
constexpr const char* WORKING_DIRECTORY = "/bin";

int saved_output = -1;
int saved_error = -1;

bool refuse(const char* what) {
    fprintf(stderr, "ctlmap: %s: %s\n", what, strerror(errno));
    return false;
}

// What the daemon would make anew. A link to it would be written through.
bool is_made_at_start(std::string_view name) {
    constexpr std::string_view made[] = {CFG_PRESET_0 CFG_CHECKED, CFG_LABELS CFG_CHECKED};
    for (const std::string_view copy : made) {
        if (name.starts_with(copy.substr(strlen(CFG_RESOURCES)))) {
            return true;
        }
    }
    return false;
}

// Calls `visit` for each entry of a directory, with the names of the directories.
bool for_each(const char* from, const char* to, bool (*visit)(const char*, const char*)) {
    DIR* const dir = opendir(from);
    if (dir == nullptr) {
        return refuse(from);
    }
    bool good = true;
    for (const dirent* entry = readdir(dir); entry != nullptr && good; entry = readdir(dir)) {
        const std::string_view name = entry->d_name;
        char source[PATH_MAX];
        char target[PATH_MAX];
        if (name == "." || name == "..") {
            continue;
        }
        const int source_len = snprintf(source, sizeof source, "%s/%s", from, entry->d_name);
        const int target_len = snprintf(target, sizeof target, "%s/%s", to, entry->d_name);
        if (source_len < PATH_MAX && target_len < PATH_MAX) {
            good = visit(source, target);
        }
    }
    closedir(dir);
    return good;
}

bool link_entry(const char* source, const char* target) {
    return is_made_at_start(strrchr(source, '/') + 1) || symlink(source, target) == 0 ||
           refuse(target);
}

bool remove_entry([[maybe_unused]] const char* source, const char* target) {
    return unlink(target) == 0 || refuse(target);
}

struct sub_path {
    char text[PATH_MAX + 16];

    sub_path(const stage& of, const char* name) {
        snprintf(text, sizeof text, "%s%s", of.path, name);
    }
};

// Until now; from then on they are `output`.
void collect_streams(FILE* output) {
    fflush(nullptr);
    saved_output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    saved_error = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    dup2(fileno(output), STDOUT_FILENO);
    dup2(fileno(output), STDERR_FILENO);
}

void restore_streams() {
    fflush(nullptr);
    dup2(saved_output, STDOUT_FILENO);
    dup2(saved_error, STDERR_FILENO);
    close(saved_output);
    close(saved_error);
}

constexpr int SIGNALS[] = {SIGHUP, SIGINT, SIGTERM};
char to_remove[PATH_MAX];  // by the signal handler

// The shell's own rm, since a handler must not read a directory. The signal ends the program after.
void remove_and_end(int signal) {
    const pid_t child = fork();
    if (child == 0) {
        execl("/bin/sh", "sh", "-c", "rm -rf \"$0\"", to_remove, nullptr);
        _exit(EXIT_FAILURE);
    }
    waitpid(child, nullptr, 0);
    raise(signal);
}

void handle_signals(const stage& at) {
    snprintf(to_remove, sizeof to_remove, "%s", at.path);
    struct sigaction action = {};
    action.sa_handler = remove_and_end;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : SIGNALS) {
        sigaction(signal, &action, nullptr);
    }
}

void remove_all(const stage& what) {
    const sub_path resources(what, RESOURCES);
    for_each(resources.text, resources.text, remove_entry);
    rmdir(resources.text);
    rmdir(sub_path(what, WORKING_DIRECTORY).text);
    rmdir(what.path);
    for (const int signal : SIGNALS) {
        std::signal(signal, SIG_DFL);
    }
}

}  // namespace

bool enter(stage* what, const char* resources) {
    char full_path[PATH_MAX];
    if (realpath(resources, full_path) == nullptr) {
        return refuse(resources);
    }
    const char* const base = getenv("TMPDIR");
    snprintf(what->path, sizeof what->path, "%s/ctlmap.XXXXXX", base != nullptr ? base : "/tmp");
    what->home = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (what->home < 0 || mkdtemp(what->path) == nullptr) {
        refuse(what->path);
        fprintf(stderr, "ctlmap: TMPDIR may name another directory, of a file system with room\n");
        return false;
    }
    handle_signals(*what);
    const sub_path links(*what, RESOURCES);
    const sub_path working(*what, WORKING_DIRECTORY);
    const sub_path output(*what, "/output");
    what->output = fopen(output.text, "w+e");
    unlink(output.text);
    const bool made = what->output != nullptr && mkdir(links.text, S_IRWXU) == 0 &&
                      mkdir(working.text, S_IRWXU) == 0;
    if (!(made || refuse(what->path)) || !for_each(full_path, links.text, link_entry) ||
        !(chdir(working.text) == 0 || refuse(working.text))) {
        remove_all(*what);
        return false;
    }
    setenv("LC_ALL", "C", 1);  // so that grep takes no text for binary, as on the controller
    collect_streams(what->output);
    return true;
}

void leave(stage* what) {
    restore_streams();
    if (fchdir(what->home) != 0) {
        refuse("the working directory");
    }
    close(what->home);
    remove_all(*what);
    rewind(what->output);
}

}  // namespace ctlmap
