#include "world/namespaces.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "world/checked.h"
#include "world/inside.h"

namespace bench {

using Clock = std::chrono::steady_clock;

constexpr std::size_t EVENTS_SIZE = 4096;
constexpr std::chrono::milliseconds SETTLING(20);  // of a worker that has just opened its device

// Sees when somebody opens the far end of a pseudo-terminal. The far end is kept open here, so that
// it is not hung up before.
class OpenWatch {
  public:
    explicit OpenWatch(int master) {
        peer_ = ioctl(master, TIOCGPTPEER, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        notify_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        const std::string path = "/proc/self/fd/" + std::to_string(peer_);
        working_ = peer_ >= 0 && inotify_add_watch(notify_, path.c_str(), IN_OPEN) >= 0;
    }
    ~OpenWatch() {
        close(peer_);
        close(notify_);
    }
    OpenWatch(const OpenWatch&) = delete;
    OpenWatch& operator=(const OpenWatch&) = delete;

    bool opened() {
        std::array<char, EVENTS_SIZE> events;
        if (!opened_at_ && (!working_ || read(notify_, events.data(), events.size()) > 0)) {
            opened_at_ = Clock::now();
        }
        return opened_at_ && Clock::now() - *opened_at_ >= SETTLING;
    }

  private:
    int peer_ = -1, notify_ = -1;
    bool working_ = false;
    std::optional<Clock::time_point> opened_at_;
};

namespace {

namespace fs = std::filesystem;

constexpr unsigned long NAMESPACES =
    CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWIPC | CLONE_NEWNET;  // and CLONE_NEWUSER

// Empty for a line that there is not.
std::string slave_path(const Pty& pty) {
    std::array<char, PATH_MAX> path{};
    if (pty.master && ptsname_r(pty.master.get(), path.data(), path.size()) != 0) {
        fail("naming a pseudo-terminal");
    }
    return path.data();
}

void make_raw(int fd) {
    termios settings;
    check(tcgetattr(fd, &settings), "tcgetattr");
    cfmakeraw(&settings);
    check(tcsetattr(fd, TCSANOW, &settings), "tcsetattr");
}

Pty open_pty() {
    Pty pty;
    pty.master.reset(check(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC),
                           "opening a pseudo-terminal"));
    check(unlockpt(pty.master.get()), "unlockpt");
    const std::string path = slave_path(pty);
    pty.slave.reset(
        check(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC), "opening " + path));
    return pty;
}

Pty open_raw_pty() {
    Pty pty = open_pty();
    make_raw(pty.slave.get());
    return pty;
}

struct Ends {
    Fd outer, inner;
};

Ends log_pipe() {
    std::array<int, 2> ends;
    check(pipe2(ends.data(), O_CLOEXEC), "pipe");
    check(fcntl(ends[0], F_SETFL, O_NONBLOCK), "fcntl");
    return {Fd(ends[0]), Fd(ends[1])};
}

Ends control_sockets() {
    std::array<int, 2> ends;
    check(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), "socketpair");
    return {Fd(ends[0]), Fd(ends[1])};
}

void await_start(int control) {
    const auto report = receive_report(control, true);
    if (!report) {
        throw std::runtime_error("the first process of the world died");
    }
    if (report->first == Report::Refused) {
        throw Refused(report->second);
    }
    if (report->first == Report::Failed) {
        throw std::runtime_error(report->second);
    }
}

struct Running {
    Fd log, platform, control;
    Child init;
};

Running start(const WorldConfig& config, const Contents& contents, bool own_users) {
    const Ids ids = {geteuid(), getegid()};
    Ends log = log_pipe();
    Ends control = control_sockets();
    Fd platform(check(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), "socket"));
    const InitOrders orders = {.control = control.inner.get(),
                               .log = log.inner.get(),
                               .xfbdev_ignores = config.xfbdev_ignores,
                               .xfbdev_lingers = config.xfbdev_lingers,
                               .command = contents.command};
    const unsigned long flags = NAMESPACES | (own_users ? CLONE_NEWUSER : 0) | SIGCHLD;
    // As fork() does, which cannot be asked for namespaces.
    const long pid = syscall(SYS_clone, flags, nullptr, nullptr, nullptr, nullptr);
    if (pid == 0) {
        control.outer.reset();
        go_inside(contents, orders, platform.get(), own_users ? std::optional(ids) : std::nullopt);
    }
    Child init(check<Refused>(pid, "creating namespaces"));
    control.inner.reset();
    log.inner.reset();
    await_start(control.outer.get());
    return {std::move(log.outer), std::move(platform), std::move(control.outer), std::move(init)};
}

std::runtime_error refusal(const Refused& error) {
    const char* const advice =
        geteuid() == 0
            ? "root needs CAP_SYS_ADMIN for this, and in a container (--privileged) no filter that "
              "forbids namespaces and mounts"
            : "run as root, or allow it to users: sysctl kernel.unprivileged_userns_clone=1, "
              "user.max_user_namespaces=10000, kernel.apparmor_restrict_unprivileged_userns=0, "
              "as far as the machine has them";
    return std::runtime_error(std::string("the machine refuses a virtual controller: ") +
                              error.what() + "; " + advice);
}

// Root goes on without a user namespace where none is to be had. In one nobody gets a real-time
// class.
Running start(const WorldConfig& config, const Contents& contents) {
    try {
        return start(config, contents, !config.real_time);
    } catch (const Refused& error) {
        if (geteuid() != 0) {
            throw refusal(error);
        }
    }
    try {
        return start(config, contents, false);
    } catch (const Refused& error) {
        throw refusal(error);
    }
}

}  // namespace

Namespaces::Namespaces(const WorldConfig& config) : console_(open_pty()) {
    if (config.serial) {
        serial_ = open_raw_pty();
    }
    if (config.midi) {
        midi_ = open_raw_pty();
        midi_opened_ = std::make_unique<OpenWatch>(midi_.master.get());
    }
    const Devices devices = {slave_path(serial_), slave_path(midi_), slave_path(console_)};
    Running running = start(config, contents_for(config, devices));
    log_ = std::move(running.log);
    platform_ = std::move(running.platform);
    control_ = std::move(running.control);
    init_ = std::move(running.init);
}

Namespaces::~Namespaces() = default;

std::optional<std::string> Namespaces::next_platform_call() {
    return caller_ ? std::nullopt : receive_call(platform_.get(), caller_);
}

void Namespaces::answer_platform() {
    caller_.reset();
}

bool Namespaces::ready() {
    const int board = fd(End::Board);
    termios settings;
    // The daemon sets the speed when it has opened the line, and with it drops what came before.
    const bool serial =
        board < 0 || (tcgetattr(board, &settings) == 0 && cfgetospeed(&settings) == B115200);
    return serial && (!midi_opened_ || midi_opened_->opened());
}

void Namespaces::hang_up(End end) {
    if (end == End::Host) {
        midi_opened_.reset();
    }
    (end == End::Board ? serial_ : midi_) = Pty();
}

pid_t Namespaces::daemon_pid() const {
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc")) {
        std::ifstream file(entry.path() / "stat");
        pid_t pid;
        pid_t parent;
        std::string name;
        char state;
        if (file >> pid >> name >> state >> parent && parent == init_.pid() &&
            (name == "(ctlbridge)" || name == "(emulator)")) {
            return pid;
        }
    }
    return -1;
}

std::optional<int> Namespaces::exit_status() {
    if (exit_status_) {
        return exit_status_;
    }
    if (const auto report = receive_report(control_.get(), false)) {
        exit_status_ = std::stoi(report->second);
    } else if (errno == ECONNRESET) {  // somebody outside killed the whole world
        exit_status_ = 128 + SIGKILL;
    }
    return exit_status_;
}

}  // namespace bench
