// Runs inside the emulated machine, for what is outside of it: the control board has its serial
// line of its own accord; this starts the daemon, is the host computer's program at the other end
// of the USB cable, reads the screen, and tells of all that over serial lines of its own.
//
//     inside START IGNORES LINGERS [OPTION...]   START: plainly | old | script
//     inside --old COMMAND...   runs it on a kernel that knows no system call after 2.6.31
//
// Under the name of a command of the platform it tells of the call and then is that command.
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <utility>
#include <vector>

#include "machine/frames.h"
#include "world/checked.h"
#include "world/handles.h"
#include "world/places.h"
#include "world/platform.h"

namespace bench {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr const char* HOST_LINE = "/dev/ttymxc2";
constexpr const char* FRAMES_LINE = "/dev/ttymxc3";
constexpr const char* HOST_MIDI = "/dev/snd/midiC2D0";
constexpr const char* SCREEN = "/dev/vcsa1";
constexpr const char* DAEMON_LOG = "/var/log/ctlbridge.log";
constexpr std::chrono::milliseconds TICK(50);
constexpr int TICKS_TO_LOOK = 20;   // for a daemon that others start
constexpr int TICKS_TO_SETTLE = 2;  // of a worker that has just opened its device
constexpr std::size_t PIECE = 2048;

bool is_one_of(const std::string& name, const std::vector<std::string>& names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// --- An old kernel ---

constexpr unsigned FIRST_NEWER = 365;        // than 2.6.31, whose last is perf_event_open
constexpr unsigned ARCHITECTURES = 0xF0000;  // the processor's own calls, as old as it

// From here on newer calls answer that there is no such call.
void become_old() {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, FIRST_NEWER, 0, 2),
        BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, ARCHITECTURES, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter = {static_cast<unsigned short>(std::size(program)), program};
    check(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), "no new privileges");
    check(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), "filtering system calls");
    char byte;
    if (syscall(SYS_getrandom, &byte, 1, 0) != -1 || errno != ENOSYS) {
        throw std::runtime_error("new system calls still answer");
    }
}

int run_old(char** words) {
    become_old();
    execvp(words[0], words);
    perror(words[0]);
    return EXIT_FAILURE;
}

// --- Lines and devices ---

Fd open_line(const char* path) {
    Fd line(check(open(path, O_RDWR | O_NOCTTY | O_CLOEXEC), path));
    termios settings;
    check(tcgetattr(line.get(), &settings), path);
    cfmakeraw(&settings);
    cfsetspeed(&settings, B115200);
    check(tcsetattr(line.get(), TCSANOW, &settings), path);
    return line;
}

void write_all(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t size = write(fd, bytes.data(), bytes.size());
        if (size < 0 && errno != EINTR && errno != EAGAIN) {
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    }
}

std::string read_some(int fd) {
    std::string piece(PIECE, '\0');
    const ssize_t size = read(fd, piece.data(), piece.size());
    piece.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return piece;
}

// --- The screen ---

constexpr int BACKGROUND_SHIFT = 4;
constexpr char OWN_COLORS = 7;

std::string console_color(int attribute) {
    constexpr int OF_CONSOLE[] = {0, 4, 2, 6, 1, 5, 3, 7};  // the text mode's colours
    const int text = attribute & 0xF, ground = attribute >> BACKGROUND_SHIFT & 0xF;
    const auto code = [&](int color, int dim, int bright) {
        return std::to_string((color < 8 ? dim : bright) + OF_CONSOLE[color & 7]);
    };
    return "\033[0;" + code(text, 30, 90) + ";" + code(ground, 40, 100) + "m";
}

// Rows that differ from those of last time, as a console is told to write them.
class ScreenReader {
  public:
    ScreenReader() : file_(check(open(SCREEN, O_RDONLY | O_CLOEXEC), SCREEN)) {}
    int fd() const { return file_.get(); }

    std::string news() {
        std::array<std::uint8_t, 4> head;  // rows, columns, place of the cursor
        if (pread(file_.get(), head.data(), head.size(), 0) < 4) {
            return {};
        }
        const std::size_t width = 2UL * head[1];
        std::string cells(head[0] * width, '\0');
        if (pread(file_.get(), cells.data(), cells.size(), head.size()) !=
            static_cast<ssize_t>(cells.size())) {
            return {};
        }
        while (last_.size() < cells.size()) {  // a fresh console
            last_ += {' ', OWN_COLORS};
        }
        std::string text;
        for (std::size_t row = 0; row < head[0]; ++row) {
            const std::string line = cells.substr(row * width, width);
            if (line != last_.substr(row * width, width)) {
                text += row_text(row, line);
            }
        }
        last_ = cells;
        return text;
    }

  private:
    static std::string row_text(std::size_t row, const std::string& line) {
        std::string text = "\033[" + std::to_string(row + 1) + ";1H";
        int last = -1;
        for (std::size_t i = 0; i < line.size(); i += 2) {
            const int attribute = static_cast<std::uint8_t>(line[i + 1]);
            if (attribute != std::exchange(last, attribute)) {
                text += console_color(attribute);
            }
            text += line[i] < ' ' ? ' ' : line[i];
        }
        return text;
    }

    Fd file_;
    std::string last_;
};

// --- The daemon, where its init script starts it ---

// A shell that runs the script has no second thread.
pid_t daemon_by_name() {
    std::error_code error;
    for (const fs::directory_entry& process : fs::directory_iterator("/proc", error)) {
        std::ifstream file(process.path() / "comm");
        std::string name;
        if (std::getline(file, name) && name == "ctlbridge" &&
            std::distance(fs::directory_iterator(process.path() / "task", error), {}) > 1) {
            return std::stoi(process.path().filename().string());
        }
    }
    return -1;
}

// --- All of it ---

class Inside {
  public:
    Inside(const std::string& start, std::vector<std::string> options)
        : start_(start), options_(std::move(options)) {}
    void run();

  private:
    void tell(Frame kind, std::string_view text) {
        for (; text.size() > LONGEST_FRAME; text.remove_prefix(LONGEST_FRAME)) {
            write_all(frames_.get(), framed(kind, text));
        }
        write_all(frames_.get(), framed(kind, text));
    }
    void open_all();
    void start_daemon();
    void obey(Frame kind, const std::string& text);
    void reap();
    void pass_log();
    void tick();
    bool is_ready() const;

    std::string start_;
    std::vector<std::string> options_;
    Fd frames_, host_line_, host_midi_, platform_, caller_, log_out_, log_in_, children_;
    std::unique_ptr<ScreenReader> screen_;
    Deframer deframer_;
    pid_t daemon_ = -1;
    std::vector<pid_t> commands_;
    int ready_ticks_ = 0, ticks_ = 0;
};

void Inside::open_all() {
    frames_ = open_line(FRAMES_LINE);
    host_line_ = open_line(HOST_LINE);
    screen_ = std::make_unique<ScreenReader>();
    platform_.reset(
        check(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), PLATFORM_SOCKET));
    take_calls(platform_.get());
    std::array<int, 2> ends;
    check(pipe2(ends.data(), O_CLOEXEC), "pipe");
    log_out_.reset(ends[0]);
    log_in_.reset(ends[1]);
    check(fcntl(log_out_.get(), F_SETFL, O_NONBLOCK), "fcntl");
    sigset_t child;
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    sigprocmask(SIG_BLOCK, &child, nullptr);
    children_.reset(check(signalfd(-1, &child, SFD_NONBLOCK | SFD_CLOEXEC), "signalfd"));
}

void Inside::start_daemon() {
    if (start_ == "script") {
        spawn({"/usr/bin/tail", "-n", "+1", "-F", DAEMON_LOG}, log_in_.get());
        return;
    }
    const std::string command =
        std::string("cd ") + HOME + " && stty -F " + SERIAL_LINE + " raw -echo 115200 && exec " +
        (start_ == "old" ? "/opt/bench/inside --old " : "") + "./ctlbridge \"$@\"";
    std::vector<std::string> words = {"/bin/sh", "-c", command, "sh"};
    words.insert(words.end(), options_.begin(), options_.end());
    daemon_ = spawn(words, log_in_.get());
}

void Inside::obey(Frame kind, const std::string& text) {
    if (kind == Frame::Answer) {
        caller_.reset();
    } else if (kind == Frame::Run) {
        commands_.push_back(spawn({"/bin/sh", "-c", text}, log_in_.get()));
    }
}

void Inside::pass_log() {
    for (std::string text; !(text = read_some(log_out_.get())).empty();) {
        tell(Frame::Log, text);
    }
}

void Inside::reap() {
    signalfd_siginfo signal;
    while (read(children_.get(), &signal, sizeof signal) > 0) {
    }
    int status;
    for (pid_t pid; (pid = waitpid(-1, &status, WNOHANG)) > 0;) {
        const std::string result =
            std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
        pass_log();
        if (pid == daemon_) {  // not one that others have started
            tell(Frame::Exit, result);
        } else if (const auto command = std::find(commands_.begin(), commands_.end(), pid);
                   command != commands_.end()) {
            commands_.erase(command);
            tell(Frame::Done, result);
        }
    }
}

// Of the daemon's threads the first has ended, and has nothing open any more.
bool Inside::is_ready() const {
    std::vector<std::string> wanted = {SERIAL_LINE};
    if (fs::exists(MIDI_DEVICE)) {
        wanted.emplace_back(MIDI_DEVICE);
    }
    const fs::path tasks = fs::path("/proc") / std::to_string(daemon_) / "task";
    std::error_code error;
    for (const fs::directory_entry& thread : fs::directory_iterator(tasks, error)) {
        if (thread.path().filename() == std::to_string(daemon_)) {
            continue;
        }
        std::vector<std::string> open;
        for (const fs::directory_entry& file :
             fs::directory_iterator(thread.path() / "fd", error)) {
            open.push_back(fs::read_symlink(file.path(), error).string());
        }
        const auto is_open = [&](const std::string& device) { return is_one_of(device, open); };
        if (std::all_of(wanted.begin(), wanted.end(), is_open)) {
            return wanted.size() < 2 || host_midi_;
        }
    }
    return false;
}

void Inside::tick() {
    if (!host_midi_) {
        host_midi_.reset(open(HOST_MIDI, O_RDWR | O_NONBLOCK | O_CLOEXEC));
    }
    if (start_ == "script" && ++ticks_ % TICKS_TO_LOOK == 0) {
        daemon_ = daemon_by_name();
    }
    if (ready_ticks_ < TICKS_TO_SETTLE) {
        ready_ticks_ = is_ready() ? ready_ticks_ + 1 : 0;
        if (ready_ticks_ == TICKS_TO_SETTLE) {
            tell(Frame::Ready, {});
        }
    }
}

void Inside::run() {
    open_all();
    tell(Frame::Booted, {});
    start_daemon();
    enum Source { FRAMES, HOST_LINE_IN, MIDI_IN, CALLS, LOG, CHILDREN, SCREEN_NEWS, SOURCES };
    std::string to_host;  // what the host is to send, as far as its device has not taken it
    auto next_tick = Clock::now();
    for (;;) {
        const short midi_wants = static_cast<short>(POLLIN | (to_host.empty() ? 0 : POLLOUT));
        std::array<pollfd, SOURCES> polled = {{
            {frames_.get(), POLLIN, 0},
            {to_host.empty() ? host_line_.get() : -1, POLLIN, 0},
            {host_midi_.get(), midi_wants, 0},
            {caller_ ? -1 : platform_.get(), POLLIN, 0},
            {log_out_.get(), POLLIN, 0},
            {children_.get(), POLLIN, 0},
            {screen_->fd(), POLLPRI, 0},
        }};
        poll(polled.data(), polled.size(), static_cast<int>(TICK.count()));
        if (polled[FRAMES].revents != 0) {
            deframer_.feed(read_some(frames_.get()),
                           [this](Frame kind, const std::string& text) { obey(kind, text); });
        }
        if (polled[HOST_LINE_IN].revents != 0) {
            to_host = read_some(host_line_.get());
        }
        if ((polled[MIDI_IN].revents & POLLIN) != 0) {
            write_all(host_line_.get(), read_some(host_midi_.get()));
        }
        if (!host_midi_) {
            to_host.clear();  // no cable
        } else if (!to_host.empty()) {
            const ssize_t size = write(host_midi_.get(), to_host.data(), to_host.size());
            to_host.erase(0, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        }
        if ((polled[MIDI_IN].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
            host_midi_.reset();
        }
        if (polled[CALLS].revents != 0) {
            if (const auto call = receive_call(platform_.get(), caller_)) {
                pass_log();
                tell(Frame::Call, *call);
            }
        }
        if (polled[LOG].revents != 0) {
            pass_log();
        }
        if (polled[CHILDREN].revents != 0) {
            reap();
        }
        if ((polled[SCREEN_NEWS].revents & POLLPRI) != 0) {
            if (const std::string news = screen_->news(); !news.empty()) {
                tell(Frame::Screen, news);
            }
        }
        if (Clock::now() >= next_tick) {
            next_tick = Clock::now() + TICK;
            tick();
        }
    }
}

int run(int argc, char** argv) {
    const int status = platform_main(argc, argv, true);
    if (status != -1 || argc < 2) {
        return status;
    }
    if (argv[1] == std::string("--old") && argc > 2) {
        return run_old(argv + 2);
    }
    if (argc < 4) {
        return EXIT_FAILURE;
    }
    start_others(std::atoi(argv[2]), std::chrono::milliseconds(std::atoi(argv[3])));
    Inside(argv[1], {argv + 4, argv + argc}).run();
    return EXIT_SUCCESS;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    try {
        return bench::run(argc, argv);
    } catch (const std::exception& error) {
        fprintf(stderr, "inside: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
