#include "modules/fuzz_platform.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <regex>
#include <utility>

#include "modules/ptys.h"
#include "shell.h"

namespace fs = std::filesystem;

namespace fuzz {

Line board;
Line host;
std::int64_t time_ms = 1000;
bool shell_runs = false;
std::vector<std::string> commands;

namespace {

int board_fd = -1;
int host_fd = -1;
bool input_runs = false;  // else the shell is the fuzzer's
std::string said;
std::string answered;

Line* line_of(int fd) {
    if (fd < 0 || (fd != board_fd && fd != host_fd)) {
        return nullptr;
    }
    return fd == board_fd ? &board : &host;
}

ssize_t take_in(void*, const char* text, size_t size) {
    said.append(text, size);
    return static_cast<ssize_t>(size);
}

ssize_t pass_over(void*, const char*, size_t size) {
    return static_cast<ssize_t>(size);
}

ssize_t give_out(void*, char* to, size_t size) {
    const size_t count = answered.copy(to, size);
    answered.erase(0, count);
    return static_cast<ssize_t>(count);
}

FILE* stream_of(const cookie_io_functions_t& functions, const char* mode) {
    FILE* const stream = fopencookie(nullptr, mode, functions);
    if (stream == nullptr) {
        fail("no stream: errno %d", errno);
    }
    return stream;
}

std::string absolute(const std::string& argument) {
    static const std::regex path_flag(
        "(-(artifact_prefix|exact_artifact_path|dict|features_dir|"
        "merge_control_file|stop_file)=)(.*)");
    std::smatch parts;
    if (std::regex_match(argument, parts, path_flag)) {
        return parts[1].str() + fs::absolute(parts[3].str()).string();
    }
    return argument[0] == '-' ? argument : fs::absolute(argument).string();
}

// Every command that the daemon has, with the places that its data may fill.
const std::regex LOOKUP(
    R"(grep -i (\w[\w.+-]*) (\.\./resources/[\w.-]+) \| cut -d'([ =])' -f(\d))");
const std::regex OTHERS[] = {
    std::regex(R"x(echo -ne "\\033\[-?\d+;-?\d+H([^"$`\\]|\\[^])*" > /dev/tty0)x"),
    std::regex(R"x(modprobe g_midi idVendor=[\w.+-]* idProduct=[\w.+-]* )x"
               R"x(iManufacturer="([^"$`\\]|\\[$`\\])*" iProduct="([^"$`\\]|\\[$`\\])*")x"),
    std::regex(R"x(echo -ne "\\x90\\x00\\x5a" > /dev/ttymxc1)x"),
    std::regex("poweroff"),
};

void note_command(const std::string& command) {
    const auto fits = [&](const std::regex& form) { return std::regex_match(command, form); };
    if (!fits(LOOKUP) && std::none_of(std::begin(OTHERS), std::end(OTHERS), fits)) {
        fail("a command that the shell would interpret: %s", command.c_str());
    }
    commands.push_back(command);
}

// What a look-up prints first.
std::string answer(const std::string& command) {
    std::smatch parts;
    if (!std::regex_match(command, parts, LOOKUP)) {
        return "";
    }
    const std::string text = read_file(parts[2].str());
    const engine::found_line line = engine::look_up(text, parts[1].str());
    const int field = std::stoi(parts[4].str());
    return line.number == 0
               ? ""
               : std::string(engine::cut_field(line.text, parts[3].str()[0], field)) + "\n";
}

}  // namespace

void set_up(int* argc, char*** argv) {
    static std::vector<std::string> arguments;
    static std::vector<char*> pointers;
    const fs::path self = fs::read_symlink("/proc/self/exe");
    if (fs::path((*argv)[0]) != self) {  // the fuzzer starts itself again by this name
        (*argv)[0] = const_cast<char*>(self.c_str());
        execv(self.c_str(), *argv);
        fail("cannot start %s: errno %d", self.c_str(), errno);
    }
    arguments = {self, "-artifact_prefix=" + fs::current_path().string() + "/"};
    std::transform(*argv + 1, *argv + *argc, std::back_inserter(arguments), absolute);
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers[0] = (*argv)[0];
    *argc = static_cast<int>(pointers.size());
    pointers.push_back(nullptr);
    *argv = pointers.data();

    make_platform();
    if (mount("tmpfs", "../resources", "tmpfs", 0, nullptr) != 0) {  // files are written often
        fail("no private resources directory: errno %d", errno);
    }
    atexit([] { umount2("../resources", MNT_DETACH); });
    for (const char* applet : {"grep", "cut"}) {  // BusyBox's, as on the controller
        fs::create_symlink("/bin/busybox", std::string("../commands/") + applet);
    }
    stdout = stream_of({nullptr, pass_over, nullptr, nullptr}, "w");
    stderr = stream_of({nullptr, take_in, nullptr, nullptr}, "w");
}

Input::Input() {
    input_runs = true;
    commands.clear();
    said.clear();
}

Input::~Input() {
    fflush(stderr);
    input_runs = false;
}

std::string diagnostics() {
    fflush(stderr);
    return std::exchange(said, "");
}

void fail(const char* format, ...) {
    va_list args;
    va_start(args, format);
    dprintf(STDERR_FILENO, "\nFAILED: ");
    vdprintf(STDERR_FILENO, format, args);
    dprintf(STDERR_FILENO, "\n");
    va_end(args);
    abort();
}

}  // namespace fuzz

// NOLINTBEGIN(bugprone-reserved-identifier): the sanitizer and the linker ask for these names
extern "C" {

// Freed memory is not kept long: an input is short, and there are many.
const char* __asan_default_options() {
    return "quarantine_size_mb=16";
}

// The linker leads the calls of these names here (--wrap).

int __real_clock_gettime(clockid_t clock, timespec* now);
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int fd, void* to, size_t size);
ssize_t __real_write(int fd, const void* from, size_t size);
FILE* __real_popen(const char* command, const char* mode);
int __real_pclose(FILE* stream);
int __real_system(const char* command);

int __wrap_open(const char* path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
    va_end(args);
    const int fd = __real_open(path, flags, mode);
    if (strcmp(path, "/dev/ttymxc1") == 0) {
        fuzz::board_fd = fd;
    } else if (strcmp(path, "/dev/snd/midiC1D0") == 0) {
        fuzz::host_fd = fd;
    }
    return fd;
}

ssize_t __wrap_read(int fd, void* to, size_t size) {
    fuzz::Line* const line = fuzz::line_of(fd);
    if (line == nullptr) {
        return __real_read(fd, to, size);
    }
    const size_t count = line->waiting.copy(static_cast<char*>(to), size);
    line->waiting.erase(0, count);
    errno = EAGAIN;
    return count > 0 ? static_cast<ssize_t>(count) : -1;
}

ssize_t __wrap_write(int fd, const void* from, size_t size) {
    fuzz::Line* const line = fuzz::line_of(fd);
    if (line == nullptr) {
        return __real_write(fd, from, size);
    }
    line->written.emplace_back(static_cast<const char*>(from), size);
    return static_cast<ssize_t>(size);
}

int __wrap_usleep(useconds_t) {
    return 0;
}

int __wrap_clock_gettime(clockid_t clock, timespec* now) {
    if (clock != CLOCK_PROCESS_CPUTIME_ID && clock != CLOCK_MONOTONIC) {
        return __real_clock_gettime(clock, now);
    }
    *now = {fuzz::time_ms / 1000, fuzz::time_ms % 1000 * 1'000'000};
    return 0;
}

int __wrap_system(const char* command) {
    if (!fuzz::input_runs) {
        return __real_system(command);
    }
    fuzz::note_command(command);
    return fuzz::shell_runs ? __real_system(command) : 0;
}

FILE* __wrap_popen(const char* command, const char* mode) {
    if (!fuzz::input_runs) {
        return __real_popen(command, mode);
    }
    fuzz::note_command(command);
    if (fuzz::shell_runs) {
        return __real_popen(command, mode);
    }
    fuzz::answered = fuzz::answer(command);
    return fuzz::stream_of({fuzz::give_out, nullptr, nullptr, nullptr}, "r");
}

int __wrap_pclose(FILE* stream) {
    return !fuzz::input_runs || fuzz::shell_runs ? __real_pclose(stream) : fclose(stream);
}
}
// NOLINTEND(bugprone-reserved-identifier)
