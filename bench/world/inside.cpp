#include "world/inside.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>

#include "world/checked.h"
#include "world/handles.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

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

constexpr const char* EMPTY_PLACE = "/sys";  // every machine has it, and nothing is taken from it

void write_file(const std::string& path, std::string_view content) {
    const Fd file(
        check(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, FILE_MODE), "making " + path));
    while (!content.empty()) {
        const ssize_t size = write(file.get(), content.data(), content.size());
        content.remove_prefix(static_cast<std::size_t>(check(size, "writing " + path)));
    }
}

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
    for (const std::string& path : contents.directories) {
        fs::create_directories(built(path));
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
    for (const Contents::Bind& device : contents.devices) {
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

void open_socket(int socket_fd) {
    const sockaddr_un address = platform_address();
    check(bind(socket_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address),
          PLATFORM_SOCKET);
    check(listen(socket_fd, SOMAXCONN), PLATFORM_SOCKET);
}

// Number 0 inside may be the machine's own root: it keeps no power but that of the number, and of
// real-time classes if it is to have them.
void drop_capabilities(bool real_time) {
    constexpr std::uint32_t nice = CAP_TO_MASK(CAP_SYS_NICE);
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> kept{};
    if (real_time) {
        kept[0] = {.effective = nice, .permitted = nice, .inheritable = nice};
    }
    for (int capability = 0;; ++capability) {
        const bool keeps = real_time && capability == CAP_SYS_NICE;
        if (!keeps && prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0) {
            break;
        }
    }
    check(syscall(SYS_capset, &header, kept.data()), "dropping capabilities");
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

}  // namespace

void go_inside(const Contents& contents, const InitOrders& orders, int platform,
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
        open_socket(platform);
        drop_capabilities(contents.real_time);
        become_init(orders);
    } catch (const Refused& error) {
        send_report(orders.control, Report::Refused, error.what());
    } catch (const std::exception& error) {
        send_report(orders.control, Report::Failed, error.what());
    }
    _exit(EXIT_FAILURE);
}

}  // namespace bench
