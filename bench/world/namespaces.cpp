#include "world/namespaces.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "world/checked.h"
#include "world/platform.h"
#include "world/process.h"

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

constexpr const char* COMMANDS = "/bin/";
constexpr const char* EMULATOR = "/opt/bench/emulator";
constexpr const char* BUSYBOXES[] = {"/bin/busybox", "/usr/bin/busybox"};
constexpr const char* APPLETS[] = {"[",       "awk",    "basename", "cat",   "chmod", "cut",
                                   "dirname", "echo",   "grep",     "head",  "kill",  "mkdir",
                                   "mv",      "printf", "ps",       "rm",    "sed",   "sh",
                                   "sleep",   "tail",   "test",     "touch", "tr",    "wc"};
constexpr const char* SHELLS_OWN[] = {"[", "echo", "kill", "printf", "test"};
constexpr const char* DIRECTORIES[] = {"/dev/snd", "/etc", "/run", "/tmp", HOME, RESOURCES};
constexpr const char* LIBRARIES[] = {"/lib",     "/lib32",     "/lib64",     "/libx32",
                                     "/usr/lib", "/usr/lib32", "/usr/lib64", "/usr/libx32"};
constexpr const char* PASSED_ON[] = {"ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS",
                                     "UBSAN_OPTIONS"};

template <typename Range>
bool contains(const Range& range, const std::string& wanted) {
    return std::find(std::begin(range), std::end(range), wanted) != std::end(range);
}

// --- Lines ---

Pty open_pty(bool raw) {
    Pty pty;
    pty.master.reset(check(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC),
                           "opening a pseudo-terminal"));
    check(unlockpt(pty.master.get()), "unlockpt");
    pty.slave.reset(
        check(ioctl(pty.master.get(), TIOCGPTPEER, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC),
              "opening the other end of a pseudo-terminal"));
    termios settings;
    check(tcgetattr(pty.slave.get(), &settings), "tcgetattr");
    if (raw) {
        cfmakeraw(&settings);
    }
    check(tcsetattr(pty.slave.get(), TCSANOW, &settings), "tcsetattr");
    return pty;
}

std::string slave_path(const Pty& pty) {
    std::array<char, PATH_MAX> path;
    if (ptsname_r(pty.master.get(), path.data(), path.size()) != 0) {
        fail("naming a pseudo-terminal");
    }
    return path.data();
}

// --- The words of bubblewrap ---

class Wrap {
  public:
    void add(const std::vector<std::string>& words) {
        words_.insert(words_.end(), words.begin(), words.end());
    }
    void add_program(const std::string& source, const std::string& path) {
        check(access(source.c_str(), R_OK | X_OK), "cannot run " + source);
        add({"--ro-bind", fs::canonical(source), path});
    }
    // Read out here: inside, a root of another user's files may read less.
    void add_file(const std::string& path, const Contents::File& file) {
        fds_.emplace_back(check(memfd_create("file", MFD_CLOEXEC), "memfd_create"));
        const int fd = fds_.back().get();
        check(pwrite(fd, file.content.data(), file.content.size(), 0), "writing " + path);
        add({"--perms", octal(file.mode), "--file", std::to_string(fd), path});
    }
    static std::string octal(mode_t mode) {
        std::array<char, 16> digits;
        std::snprintf(digits.data(), digits.size(), "%o", mode);
        return digits.data();
    }

    const std::vector<std::string>& words() const { return words_; }
    std::vector<int> descriptors() const {
        std::vector<int> numbers;
        for (const Fd& fd : fds_) {
            numbers.push_back(fd.get());
        }
        return numbers;
    }

  private:
    std::vector<std::string> words_ = {"bwrap"};
    std::vector<Fd> fds_;
};

void add_shell(Wrap& wrap, const WorldConfig& config) {
    const auto* const busybox =
        std::find_if(std::begin(BUSYBOXES), std::end(BUSYBOXES),
                     [](const char* path) { return access(path, X_OK) == 0; });
    if (busybox == std::end(BUSYBOXES)) {
        throw std::runtime_error("there is no BusyBox: install the Debian package busybox");
    }
    std::map<std::string, std::string> links;
    for (const char* const applet : APPLETS) {
        links[COMMANDS + std::string(applet)] = PLATFORM_BUSYBOX;
    }
    for (const std::string& path : platform_paths()) {
        links[path] = PLATFORM_PROGRAM;
    }
    for (const std::string& command : config.missing_commands) {
        links.erase(COMMANDS + command);
    }
    wrap.add_program(*busybox, PLATFORM_BUSYBOX);
    wrap.add_program(this_program(), PLATFORM_PROGRAM);
    for (const auto& [path, target] : links) {
        wrap.add({"--symlink", target, path});
    }
}

void add_libraries(Wrap& wrap) {
    for (const char* const path : LIBRARIES) {
        if (fs::is_symlink(path)) {
            wrap.add({"--symlink", fs::read_symlink(path), path});
        } else {
            wrap.add({"--ro-bind-try", path, path});
        }
    }
    wrap.add({"--ro-bind-try", "/etc/ld.so.cache", "/etc/ld.so.cache"});
}

void add_resources(Wrap& wrap, const Contents& resources) {
    for (const std::string& path : resources.directories) {
        wrap.add({"--dir", path});
    }
    for (const auto& [path, file] : resources.files) {
        wrap.add_file(path, file);
    }
    wrap.add({"--chmod", Wrap::octal(resources.directory_mode), RESOURCES});
}

Wrap wrap_for(const WorldConfig& config, bool own_users) {
    Wrap wrap;
    wrap.add({"--unshare-pid", "--unshare-ipc", "--as-pid-1", "--die-with-parent"});
    wrap.add({"--cap-drop", "ALL", "--clearenv", "--setenv", "PATH", "/bin"});
    wrap.add({"--setenv", "TERM", "linux", "--chdir", HOME});
    if (own_users) {
        wrap.add({"--unshare-user", "--uid", "0", "--gid", "0"});
    }
    for (const char* const name : PASSED_ON) {
        if (const char* const value = getenv(name)) {
            wrap.add({"--setenv", name, value});
        }
    }
    // User 0 may be the machine's own, who may write to what /proc has besides processes.
    wrap.add({"--proc", "/proc", "--remount-ro", "/proc", "--dev", "/dev"});
    for (const char* const path : DIRECTORIES) {
        wrap.add({"--dir", path});
    }
    add_libraries(wrap);
    add_shell(wrap, config);
    add_resources(wrap, resources_for(config));
    wrap.add_program(config.daemon, std::string(HOME) + "/ctlbridge");
    if (!config.emulator.empty()) {
        wrap.add_program(config.emulator, EMULATOR);
    }
    return wrap;
}

std::vector<std::string> init_words(const WorldConfig& config, int platform) {
    std::vector<std::string> words = {"--", PLATFORM_INIT, std::to_string(platform),
                                      std::to_string(config.xfbdev_ignores),
                                      std::to_string(config.xfbdev_lingers.count())};
    if (!config.emulator.empty()) {
        words.emplace_back(EMULATOR);
    }
    words.emplace_back("./ctlbridge");
    words.insert(words.end(), config.options.begin(), config.options.end());
    return words;
}

std::string refusal(const std::string& said) {
    const char* const advice =
        geteuid() == 0
            ? "root needs CAP_SYS_ADMIN for it, and in a container (--privileged) no filter that "
              "forbids namespaces and mounts"
            : "run as root, or allow it to users: sysctl kernel.unprivileged_userns_clone=1, "
              "user.max_user_namespaces=10000, kernel.apparmor_restrict_unprivileged_userns=0, "
              "as far as the machine has them";
    return "the machine refuses a virtual controller: " + said +
           "it takes the Debian package bubblewrap; " + advice;
}

}  // namespace

bool can_be_missing(const std::string& command) {
    return (contains(APPLETS, command) || contains(platform_paths(), COMMANDS + command)) &&
           !contains(SHELLS_OWN, command);
}

// Root goes on without a user namespace where none is to be had.
Namespaces::Namespaces(const WorldConfig& config) : console_(open_pty(false)) {
    if (config.serial) {
        serial_ = open_pty(true);
    }
    if (config.midi) {
        midi_ = open_pty(true);
        midi_opened_ = std::make_unique<OpenWatch>(midi_.master.get());
    }
    if (!start(config, true) && (geteuid() != 0 || !start(config, false))) {
        std::string said(EVENTS_SIZE, '\0');
        said.resize(static_cast<std::size_t>(
            std::max<ssize_t>(read(log_.get(), said.data(), said.size()), 0)));
        throw std::runtime_error(refusal(said));
    }
}

Namespaces::~Namespaces() = default;

// Returns false if it ends at once; the log then says why.
bool Namespaces::start(const WorldConfig& config, bool own_users) {
    std::array<int, 2> log, control;
    check(pipe2(log.data(), O_CLOEXEC), "pipe");
    log_.reset(log[0]);
    const Fd log_in(log[1]);
    check(fcntl(log_.get(), F_SETFL, O_NONBLOCK), "fcntl");
    check(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, control.data()), "socketpair");
    control_.reset(control[0]);
    Fd control_inside(control[1]);
    platform_.reset(
        check(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), "socket"));

    Wrap wrap = wrap_for(config, own_users);
    for (const auto& [pty, path] :
         {std::pair(&console_, TEXT_CONSOLE), std::pair(&serial_, SERIAL_LINE),
          std::pair(&midi_, MIDI_DEVICE)}) {
        if (pty->master) {
            wrap.add({"--dev-bind", slave_path(*pty), path});
        }
    }
    wrap.add(init_words(config, platform_.get()));
    std::vector<int> passed = wrap.descriptors();
    passed.push_back(platform_.get());
    wrap_ = start_beside(wrap.words(), passed, control_inside.get(), log_in.get());
    control_inside.reset();
    return receive_packet(control_.get(), true) == WORLD_STARTED;
}

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

// Bubblewrap's child is the first process of the world, and its child the daemon.
pid_t Namespaces::daemon_pid() const {
    std::map<pid_t, pid_t> parents;
    std::vector<pid_t> daemons;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc")) {
        std::ifstream file(entry.path() / "stat");
        pid_t pid, parent;
        std::string name;
        char state;
        if (file >> pid >> name >> state >> parent) {
            parents[pid] = parent;
            if (name == "(ctlbridge)" || name == "(emulator)") {
                daemons.push_back(pid);
            }
        }
    }
    const auto is_its = [&](pid_t pid) { return parents[parents[pid]] == wrap_.pid(); };
    const auto found = std::find_if(daemons.begin(), daemons.end(), is_its);
    return found == daemons.end() ? -1 : *found;
}

std::optional<int> Namespaces::exit_status() {
    if (exit_status_) {
        return exit_status_;
    }
    if (const auto status = receive_packet(control_.get(), false)) {
        exit_status_ = std::stoi(*status);
    } else if (errno == ECONNRESET) {  // somebody outside killed the whole world
        exit_status_ = 128 + SIGKILL;
    }
    return exit_status_;
}

}  // namespace bench
