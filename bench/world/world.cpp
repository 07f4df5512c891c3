#include "world/world.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "world/platform.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr const char* HOME = "/opt/ctlbridge/bin";
constexpr const char* DAEMON = "/opt/ctlbridge/bin/ctlbridge";
constexpr const char* RESOURCES = "/opt/ctlbridge/resources/";
constexpr const char* COMMANDS = "/bin/";
constexpr const char* EMULATOR = "/opt/bench/emulator";
constexpr const char* SERIAL = "/dev/ttymxc1";
constexpr const char* MIDI = "/dev/snd/midiC1D0";
constexpr const char* CONSOLE = "/dev/tty0";
constexpr mode_t PROGRAM = 0755;
constexpr mode_t PLAIN = 0644;

constexpr const char* BUSYBOXES[] = {"/bin/busybox", "/usr/bin/busybox"};
constexpr const char* APPLETS[] = {"[",       "awk",    "basename", "cat",   "chmod", "cut",
                                   "dirname", "echo",   "grep",     "head",  "kill",  "mkdir",
                                   "mv",      "printf", "ps",       "rm",    "sed",   "sh",
                                   "sleep",   "tail",   "test",     "touch", "tr",    "wc"};
constexpr const char* SHELLS_OWN[] = {"[", "echo", "kill", "printf", "test"};
constexpr const char* LIBRARIES[] = {"/lib",     "/lib32",     "/lib64",     "/libx32",
                                     "/usr/lib", "/usr/lib32", "/usr/lib64", "/usr/libx32"};
constexpr const char* LOADER_CACHE = "/etc/ld.so.cache";
constexpr const char* DIRECTORIES[] = {"/dev/pts", "/dev/snd", "/etc", "/proc",
                                       "/run",     "/tmp",     HOME,   RESOURCES};
constexpr const char* PASSED_ON[] = {"ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS",
                                     "UBSAN_OPTIONS"};

struct Mount {
    const char* type;
    const char* target;
    unsigned long flags;
    const char* options;
};

// Of /proc only the processes: the rest could be written to by a user of the number 0.
constexpr Mount MOUNTS[] = {
    {"proc", "./proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, "subset=pid"},
    {"devpts", "./dev/pts", MS_NOSUID | MS_NOEXEC, "newinstance,ptmxmode=0666,mode=0620"},
};

constexpr unsigned long NAMESPACES =
    CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWIPC | CLONE_NEWNET;  // and CLONE_NEWUSER
constexpr const char* EMPTY_PLACE = "/sys";  // every machine has it, and nothing is taken from it

// The machine allows no such world.
class Refused : public std::runtime_error {
    using runtime_error::runtime_error;
};

template <typename Error = std::runtime_error>
[[noreturn]] void fail(const std::string& doing) {
    throw Error(doing + ": " + strerror(errno));
}

template <typename Error = std::runtime_error>
int check(long result, const std::string& doing) {
    if (result < 0) {
        fail<Error>(doing);
    }
    return static_cast<int>(result);
}

std::string read_file(const std::string& path) {
    const Fd file(check(open(path.c_str(), O_RDONLY | O_CLOEXEC), "cannot read " + path));
    std::string content;
    std::array<char, 65536> piece;
    for (ssize_t size; (size = read(file.get(), piece.data(), piece.size())) != 0;) {
        check(size, "cannot read " + path);
        content.append(piece.data(), static_cast<std::size_t>(size));
    }
    return content;
}

void write_file(const std::string& path, std::string_view content) {
    const Fd file(
        check(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, PLAIN), "making " + path));
    while (!content.empty()) {
        const ssize_t size = write(file.get(), content.data(), content.size());
        content.remove_prefix(static_cast<std::size_t>(check(size, "writing " + path)));
    }
}

// ---- What is in a world. All paths but the sources are the world's own.

struct File {
    mode_t mode = PLAIN;
    std::string content;
};

struct Bind {
    std::string source, target;
};

struct Contents {
    std::map<std::string, File> files;
    std::vector<std::string> directories;
    mode_t resources_mode = PROGRAM;
    std::map<std::string, std::string> symlinks;  // path, what it points to
    std::vector<std::string> libraries;
    std::vector<Bind> devices;
    std::vector<std::string> command;  // the daemon's words
};

std::string resource_path(const std::string& name) {
    const fs::path path = fs::path(name).lexically_normal();
    if (path.is_absolute() || !path.has_filename() || *path.begin() == "..") {
        throw std::runtime_error("\"" + name + "\" is no name of a file below the resources");
    }
    return RESOURCES + path.string();
}

void add_resources(Contents& contents, const WorldConfig& config) {
    std::error_code error;
    fs::recursive_directory_iterator entries(config.resources, error);
    if (error) {
        throw std::runtime_error("cannot read the directory " + config.resources + ": " +
                                 error.message());
    }
    for (const fs::directory_entry& entry : entries) {
        if (entry.is_regular_file() && entry.path().extension() != ".ok") {
            const auto mode = static_cast<mode_t>(entry.status().permissions());
            const std::string name = entry.path().lexically_relative(config.resources).string();
            contents.files[RESOURCES + name] = {mode & 0777, read_file(entry.path().string())};
        }
    }
    for (const std::string& name : config.removed) {
        contents.files.erase(RESOURCES + name);
    }
    for (const auto& [name, content] : config.files) {
        contents.files[resource_path(name)].content = content;
    }
    for (const std::string& name : config.directories) {
        contents.directories.push_back(resource_path(name));
        contents.files.erase(contents.directories.back());
    }
    for (const auto& [name, mode] : config.modes) {
        if (const auto file = contents.files.find(resource_path(name));
            file != contents.files.end()) {
            file->second.mode = mode;
        } else if (name == ".") {
            contents.resources_mode = mode;
        } else {
            throw std::runtime_error("there is no file \"" + name + "\" to change the mode of");
        }
    }
}

void add_busybox(Contents& contents) {
    const auto* const found =
        std::find_if(std::begin(BUSYBOXES), std::end(BUSYBOXES),
                     [](const char* path) { return access(path, X_OK) == 0; });
    if (found == std::end(BUSYBOXES)) {
        throw std::runtime_error("there is no BusyBox: install the Debian package busybox");
    }
    contents.files[PLATFORM_BUSYBOX] = {PROGRAM, read_file(*found)};
    for (const char* const applet : APPLETS) {
        contents.symlinks[COMMANDS + std::string(applet)] = PLATFORM_BUSYBOX;
    }
}

void add_libraries(Contents& contents) {
    for (const char* const path : LIBRARIES) {
        if (fs::is_symlink(path)) {
            contents.symlinks[path] = fs::read_symlink(path).string();
        } else if (fs::is_directory(path)) {
            contents.libraries.emplace_back(path);
        }
    }
    if (fs::exists(LOADER_CACHE)) {
        contents.files[LOADER_CACHE] = {PLAIN, read_file(LOADER_CACHE)};
    }
}

std::string slave_path(const Pty& pty) {
    std::array<char, PATH_MAX> path;
    if (ptsname_r(pty.master.get(), path.data(), path.size()) != 0) {
        fail("naming a pseudo-terminal");
    }
    return path.data();
}

void add_devices(Contents& contents, const Pty& serial, const Pty& midi, const Pty& console) {
    contents.devices = {{"/dev/null", "/dev/null"}, {"/dev/zero", "/dev/zero"}};
    contents.devices.push_back({slave_path(console), CONSOLE});
    if (serial.master) {
        contents.devices.push_back({slave_path(serial), SERIAL});
    }
    if (midi.master) {
        contents.devices.push_back({slave_path(midi), MIDI});
    }
    contents.symlinks["/dev/ptmx"] = "pts/ptmx";
}

void add_daemon(Contents& contents, const WorldConfig& config) {
    contents.files[DAEMON] = {PROGRAM, read_file(config.daemon)};
    if (!config.emulator.empty()) {
        contents.files[EMULATOR] = {PROGRAM, read_file(config.emulator)};
        contents.command = {EMULATOR};
    }
    contents.command.emplace_back("./ctlbridge");
    contents.command.insert(contents.command.end(), config.options.begin(), config.options.end());
}

// Everything is read out here: inside, a root of another user's files may read less.
Contents contents_for(const WorldConfig& config) {
    Contents contents;
    add_resources(contents, config);
    add_busybox(contents);
    add_libraries(contents);
    add_daemon(contents, config);
    contents.files[PLATFORM_PROGRAM] = {PROGRAM, read_file("/proc/self/exe")};
    for (const std::string& path : platform_paths()) {
        contents.symlinks[path] = PLATFORM_PROGRAM;
    }
    for (const std::string& command : config.missing_commands) {
        contents.symlinks.erase(COMMANDS + command);
    }
    return contents;
}

// ---- Inside: a copy of this process makes itself the first process of the world.

void map_own_ids(uid_t uid, gid_t gid) {
    const auto write_map = [](const char* file, const std::string& map) {
        const Fd fd(
            check<Refused>(open(file, O_WRONLY | O_CLOEXEC), std::string("opening ") + file));
        check<Refused>(write(fd.get(), map.data(), map.size()), std::string("writing ") + file);
    };
    write_map("/proc/self/setgroups", "deny");
    write_map("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    write_map("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

// Of a path in the world, while the root is still being built in the working directory.
std::string built(const std::string& path) {
    return "." + path;
}

void bind_mount(const std::string& source, const std::string& target, std::uint64_t attributes) {
    const std::string path = built(target);
    check<Refused>(mount(source.c_str(), path.c_str(), nullptr, MS_BIND | MS_REC, nullptr),
                   "mounting " + source);
    mount_attr settings{};
    settings.attr_set = attributes;
    check<Refused>(mount_setattr(AT_FDCWD, path.c_str(), AT_RECURSIVE, &settings, sizeof settings),
                   "protecting " + source);
}

void write_files(const Contents& contents) {
    for (const char* const directory : DIRECTORIES) {
        fs::create_directories(built(directory));
    }
    for (const auto& [path, file] : contents.files) {
        fs::create_directories(fs::path(built(path)).parent_path());
        write_file(built(path), file.content);
        check(chmod(built(path).c_str(), file.mode), "chmod " + path);
    }
    for (const auto& [path, target] : contents.symlinks) {
        fs::create_directories(fs::path(built(path)).parent_path());
        fs::create_symlink(target, built(path));
    }
    for (const std::string& path : contents.directories) {
        fs::create_directories(built(path));
    }
    check(chmod(built(RESOURCES).c_str(), contents.resources_mode), "chmod resources");
}

void build_root(const Contents& contents) {
    check<Refused>(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr),
                   "parting the mounts");
    check<Refused>(mount("tmpfs", EMPTY_PLACE, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755"),
                   "mounting a tmpfs");
    check(chdir(EMPTY_PLACE), "chdir");
    write_files(contents);
    for (const std::string& library : contents.libraries) {
        fs::create_directories(built(library));
        bind_mount(library, library, MOUNT_ATTR_RDONLY | MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV);
    }
    for (const Bind& device : contents.devices) {
        write_file(built(device.target), "");
        bind_mount(device.source, device.target, MOUNT_ATTR_NOSUID | MOUNT_ATTR_NOEXEC);
    }
    for (const Mount& entry : MOUNTS) {
        check<Refused>(mount(entry.type, entry.target, entry.type, entry.flags, entry.options),
                       std::string("mounting a ") + entry.type);
    }
}

void enter_root() {
    check<Refused>(syscall(SYS_pivot_root, ".", "."), "changing the root");
    check<Refused>(umount2(".", MNT_DETACH), "unmounting the old root");
    check(chdir(HOME), HOME);
}

void name_socket(int socket_fd) {
    const sockaddr_un address = platform_address();
    check(bind(socket_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address),
          PLATFORM_SOCKET);
}

// Number 0 inside may be the machine's own root: it keeps no power but that of the number.
void drop_capabilities() {
    for (int capability = 0; prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) == 0; ++capability) {
    }
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> none{};
    check(syscall(SYS_capset, &header, none.data()), "dropping capabilities");
    check(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), "dropping capabilities");
}

std::vector<std::string> environment() {
    std::vector<std::string> result = {"PATH=/bin", "TERM=linux"};
    for (const char* const name : PASSED_ON) {
        if (const char* const value = getenv(name)) {
            result.push_back(std::string(name) + "=" + value);
        }
    }
    return result;
}

[[noreturn]] void become_init(InitOrders orders) {
    const Fd null(check(open("/dev/null", O_RDWR | O_CLOEXEC), "/dev/null"));
    check(close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC), "close_range");
    // The copies are passed on, and are no standard descriptors.
    orders.control = check(fcntl(orders.control, F_DUPFD, STDERR_FILENO + 1), "fcntl");
    orders.log = check(fcntl(orders.log, F_DUPFD, STDERR_FILENO + 1), "fcntl");
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        check(dup2(null.get(), standard), "dup2");
    }
    std::vector<std::string> words = init_words(orders);
    std::vector<std::string> variables = environment();
    execve(PLATFORM_INIT, pointers_to(words).data(), pointers_to(variables).data());
    fail(std::string("starting ") + PLATFORM_INIT);
}

// Ends with the outside, however that ends. A parent that was gone before the signal was asked for
// has closed its end of the control socket.
void stay_with_parent(int control) {
    check(prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0), "prctl");
    pollfd polled = {control, POLLIN, 0};
    if (poll(&polled, 1, 0) != 0) {
        _exit(EXIT_FAILURE);
    }
}

struct Ids {
    uid_t uid;
    gid_t gid;
};

[[noreturn]] void go_inside(const Contents& contents, const InitOrders& orders, int platform,
                            std::optional<Ids> to_map) {
    try {
        stay_with_parent(orders.control);
        setsid();  // away from the terminal, its interrupts and its hang-ups
        umask(022);
        if (to_map) {
            map_own_ids(to_map->uid, to_map->gid);
        }
        build_root(contents);
        enter_root();
        name_socket(platform);
        drop_capabilities();
        become_init(orders);
    } catch (const Refused& error) {
        send_report(orders.control, Report::Refused, error.what());
    } catch (const std::exception& error) {
        send_report(orders.control, Report::Failed, error.what());
    }
    _exit(EXIT_FAILURE);
}

// ---- Outside.

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
    Fd platform(check(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), "socket"));
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

// Root goes on without a user namespace where none is to be had.
Running start(const WorldConfig& config, const Contents& contents) {
    try {
        return start(config, contents, true);
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

bool can_be_missing(const std::string& command) {
    const auto is_it = [&](const std::string& path) { return path == COMMANDS + command; };
    const std::vector<std::string> platform = platform_paths();
    const bool known =
        std::find(std::begin(APPLETS), std::end(APPLETS), command) != std::end(APPLETS) ||
        std::any_of(platform.begin(), platform.end(), is_it);
    return known &&
           std::find(std::begin(SHELLS_OWN), std::end(SHELLS_OWN), command) == std::end(SHELLS_OWN);
}

World::World(const WorldConfig& config) : console_(open_pty()) {
    if (config.serial) {
        serial_ = open_raw_pty();
    }
    if (config.midi) {
        midi_ = open_raw_pty();
    }
    Contents contents = contents_for(config);
    add_devices(contents, serial_, midi_, console_);
    Running running = start(config, contents);
    log_ = std::move(running.log);
    platform_ = std::move(running.platform);
    control_ = std::move(running.control);
    init_ = std::move(running.init);
}

World::~World() = default;

std::optional<std::string> World::next_platform_call() {
    if (caller_) {
        return std::nullopt;
    }
    int caller = -1;
    std::optional<std::string> call = receive_call(platform_.get(), caller);
    caller_.reset(caller);
    return call;
}

void World::answer_platform() {
    caller_.reset();
}

void World::hang_up(Link link) {
    (link == Link::Serial ? serial_ : midi_) = Pty();
}

pid_t World::daemon_pid() const {
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

std::optional<int> World::exit_status() {
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
