#include "world/platform.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <spawn.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "world/checked.h"

namespace bench {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t LONGEST_PACKET = 65536;  // a longer call is cut
constexpr const char* XFBDEV = "/opt/bench/Xfbdev";
constexpr const char* MIXHOST = "/opt/bench/mixhost";

std::string name_of(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

std::string joined(int argc, char** argv) {
    std::string words = name_of(argv[0]);
    for (int i = 1; i < argc; ++i) {
        words += std::string(" ") + argv[i];
    }
    return words.substr(0, LONGEST_PACKET);
}

sockaddr_un platform_address() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, PLATFORM_SOCKET);  // NOLINT: it fits
    return address;
}

// Tells of the call and waits until whoever has taken it closes the connection.
void tell(const std::string& words) {
    const Fd connection(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const sockaddr_un address = platform_address();
    if (connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0 ||
        send(connection.get(), words.data(), words.size(), MSG_NOSIGNAL) < 0) {
        return;
    }
    char nothing;
    while (recv(connection.get(), &nothing, 1, 0) < 0 && errno == EINTR) {
    }
}

int play_command(int argc, char** argv) {
    tell(joined(argc, argv));
    return EXIT_SUCCESS;
}

// The command itself is BusyBox's.
int play_real_command(int argc, char** argv) {
    tell(joined(argc, argv));
    std::vector<char*> words(argv, argv + argc + 1);
    std::string applet = name_of(argv[0]);
    words[0] = applet.data();
    execv(PLATFORM_BUSYBOX, words.data());
    perror(PLATFORM_BUSYBOX);
    return EXIT_FAILURE;
}

sigset_t set_of(int signal) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    return set;
}

// SIGTERM is blocked from the start, so that none is missed before this is reached.
int play_xfbdev(int argc, char** argv) {
    const int ignores = argc > 1 ? std::atoi(argv[1]) : 0;
    const milliseconds lingers(argc > 2 ? std::atoi(argv[2]) : 0);
    const sigset_t wanted = set_of(SIGTERM);
    sigprocmask(SIG_BLOCK, &wanted, nullptr);
    for (int left = ignores; left >= 0; --left) {
        int signal;
        sigwait(&wanted, &signal);
    }
    std::this_thread::sleep_for(lingers);
    return EXIT_SUCCESS;
}

int play_mixhost(int, char**) {
    pause();
    return EXIT_SUCCESS;
}

constexpr int FIXED_WORDS = 4;  // of init's command line, before the daemon's own
constexpr int OUTSIDE = STDIN_FILENO;

void report(const std::string& text) {
    send(OUTSIDE, text.data(), text.size(), MSG_NOSIGNAL);
}

void reap(pid_t daemon) {
    int status;
    for (pid_t pid; (pid = waitpid(-1, &status, WNOHANG)) > 0;) {
        if (pid == daemon) {
            report(
                std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)));
        }
    }
}

// Returns when the outside has gone.
void watch(pid_t daemon) {
    const sigset_t child = set_of(SIGCHLD);
    const Fd children(signalfd(-1, &child, SFD_NONBLOCK | SFD_CLOEXEC));
    std::array<pollfd, 2> polled = {{{OUTSIDE, POLLIN, 0}, {children.get(), POLLIN, 0}}};
    while (polled[0].revents == 0) {
        signalfd_siginfo signal;
        while (read(children.get(), &signal, sizeof signal) > 0) {
        }
        reap(daemon);
        poll(polled.data(), polled.size(), -1);
    }
}

// With it, all other processes of the world end.
int play_init(int argc, char** argv) {
    if (argc <= FIXED_WORDS) {
        return EXIT_FAILURE;
    }
    const sigset_t child = set_of(SIGCHLD);
    sigprocmask(SIG_SETMASK, &child, nullptr);
    signal(SIGCHLD, SIG_DFL);  // ignored, it would take the statuses away
    try {
        check(close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC), "close_range");
        take_calls(std::atoi(argv[1]));
        start_others(std::atoi(argv[2]), milliseconds(std::atoi(argv[3])));
        const pid_t daemon = spawn({argv + FIXED_WORDS, argv + argc}, STDOUT_FILENO);
        report(WORLD_STARTED);
        watch(daemon);
    } catch (const std::exception& error) {
        fprintf(stderr, "%s\n", error.what());
    }
    return EXIT_FAILURE;
}

struct Part {
    const char* path;
    int (*play)(int argc, char** argv);
};

constexpr Part PARTS[] = {
    {PLATFORM_INIT, play_init},      {XFBDEV, play_xfbdev},
    {MIXHOST, play_mixhost},         {"/bin/modprobe", play_command},
    {"/bin/fbset", play_command},    {"/bin/fbsplash", play_command},
    {"/bin/poweroff", play_command}, {"/bin/killall", play_real_command},
};

}  // namespace

int platform_main(int argc, char** argv, bool commands_are_real) {
    for (const Part& part : PARTS) {
        if (argc > 0 && name_of(argv[0]) == name_of(part.path)) {
            const bool real = commands_are_real && part.play == play_command;
            return (real ? play_real_command : part.play)(argc, argv);
        }
    }
    return -1;
}

std::vector<std::string> platform_paths() {
    std::vector<std::string> paths;
    for (const Part& part : PARTS) {
        paths.emplace_back(part.path);
    }
    return paths;
}

pid_t spawn(std::vector<std::string> words, int output, int blocked_signal) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDWR, 0);
    for (const int standard : {STDOUT_FILENO, STDERR_FILENO}) {
        posix_spawn_file_actions_adddup2(&actions, output < 0 ? STDIN_FILENO : output, standard);
    }
    const sigset_t blocked = set_of(blocked_signal);
    sigset_t all;
    sigfillset(&all);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &blocked);
    pid_t pid = -1;
    const int error = posix_spawn(&pid, words[0].c_str(), &actions, &attributes,
                                  pointers_to(words).data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::runtime_error("cannot start " + words[0] + " in the world: " + strerror(error));
    }
    return pid;
}

void start_others(int xfbdev_ignores, milliseconds xfbdev_lingers) {
    spawn({XFBDEV, std::to_string(xfbdev_ignores), std::to_string(xfbdev_lingers.count())}, -1,
          SIGTERM);
    spawn({MIXHOST}, -1);
}

std::vector<char*> pointers_to(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

void take_calls(int socket) {
    const sockaddr_un address = platform_address();
    check(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address),
          PLATFORM_SOCKET);
    check(listen(socket, SOMAXCONN), PLATFORM_SOCKET);
}

std::optional<std::string> receive_packet(int socket, bool wait) {
    std::string packet(LONGEST_PACKET, '\0');
    ssize_t size;
    do {
        size = recv(socket, packet.data(), packet.size(), wait ? 0 : MSG_DONTWAIT);
    } while (size < 0 && errno == EINTR);
    if (size <= 0) {
        errno = size == 0 ? ECONNRESET : errno;
        return std::nullopt;
    }
    packet.resize(static_cast<std::size_t>(size));
    return packet;
}

std::optional<std::string> receive_call(int socket, Fd& caller) {
    caller.reset(accept4(socket, nullptr, nullptr, SOCK_CLOEXEC));
    std::optional<std::string> words = caller ? receive_packet(caller.get(), true) : std::nullopt;
    if (!words) {  // no caller, or one that has died before it said anything
        caller.reset();
    }
    return words;
}

}  // namespace bench
