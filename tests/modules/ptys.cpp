#include "modules/ptys.h"

#include <fcntl.h>
#include <pty.h>
#include <sched.h>
#include <sys/mount.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "controller/midi_text.h"
#include "main.h"

namespace fs = std::filesystem;

namespace {

struct Pty {
    int master = -1;
    int slave = -1;
};
Pty serial;
Pty midi;
fs::path home;  // holds bin/ (the working directory), resources/ and commands/

void check(bool ok, const std::string& what) {
    if (!ok) {
        throw std::runtime_error("cannot set the platform up: " + what);
    }
}

Pty open_raw_pty() {
    termios raw{};
    cfmakeraw(&raw);
    Pty pty;
    check(openpty(&pty.master, &pty.slave, nullptr, &raw, nullptr) == 0 &&
              fcntl(pty.master, F_SETFL, O_NONBLOCK) == 0,
          "pty");
    return pty;
}

void write_file(const fs::path& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    check(static_cast<bool>(file), path.string());
}

void enter_private_dev() {
    const int uid = static_cast<int>(getuid());
    const int gid = static_cast<int>(getgid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) {
        write_file("/proc/self/setgroups", "deny");
        write_file("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
        write_file("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
    } else {
        check(unshare(CLONE_NEWNS) == 0, "private mount namespace (run as root?)");
    }
    check(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
    const std::string null = "/proc/self/fd/" + std::to_string(open("/dev/null", O_PATH));
    check(mount("tmpfs", "/dev", "tmpfs", 0, nullptr) == 0, "private /dev");
    fs::create_directory("/dev/snd");
    fs::create_directory("/dev/pts");
    check(mount("devpts", "/dev/pts", "devpts", 0, "newinstance,ptmxmode=0666") == 0, "devpts");
    fs::create_symlink("pts/ptmx", "/dev/ptmx");
    write_file("/dev/tty0", "");
    write_file("/dev/null", "");
    check(mount(null.c_str(), "/dev/null", nullptr, MS_BIND, nullptr) == 0, "/dev/null");
    check(mount("/bin/busybox", "/bin/sh", nullptr, MS_BIND, nullptr) == 0, "BusyBox as /bin/sh");
    const auto place = [](int fd, const char* path) {
        fs::create_symlink("/proc/thread-self/fd/" + std::to_string(fd), path);
    };
    place(serial.slave, "/dev/ttymxc1");
    place(midi.slave, "/dev/snd/midiC1D0");
}

void make_commands() {
    const fs::path commands = home / "commands";
    const std::string command = R"(#!/bin/sh
{ printf '%s' "${0##*/}"; [ $# -eq 0 ] || printf ' [%s]' "$@"; echo; } >>')" +
                                (home / "called").string() + "'\n";
    fs::create_directory(commands);
    for (const char* name : {"modprobe", "poweroff", "killall", "fbset", "fbsplash", "ps"}) {
        write_file(commands / name, command);
        fs::permissions(commands / name, fs::perms::owner_all);
    }
    setenv("PATH", (commands.string() + ":/usr/bin:/bin").c_str(), 1);
}

void send(int fd, const std::string& text) {
    const bench::Bytes bytes = bench::parse_hex(text).value();
    check(write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "write");
}

std::string receive(int fd) {
    bench::Bytes all, part(512);
    for (ssize_t size; (size = read(fd, part.data(), part.size())) > 0;) {
        all.insert(all.end(), part.begin(), part.begin() + size);
    }
    return bench::hex(all);
}

}  // namespace

std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void make_platform() {
    serial = open_raw_pty();
    midi = open_raw_pty();
    std::string name = fs::temp_directory_path() / "ctlbridge-test-XXXXXX";
    check(mkdtemp(name.data()) != nullptr, "temporary directory");
    home = name;
    fs::create_directory(home / "bin");
    fs::create_directory(home / "resources");
    check(chdir((home / "bin").c_str()) == 0, "chdir");
    make_commands();
    enter_private_dev();
    static const pid_t owner = getpid();  // a child that exits leaves the directory alone
    std::atexit([] {
        std::error_code ignored;
        if (getpid() == owner) {
            fs::remove_all(home, ignored);
        }
    });
}

void board_sends(const std::string& bytes) {
    send(serial.master, bytes);
}
void host_sends(const std::string& bytes) {
    send(midi.master, bytes);
}
std::string board_got() {
    return receive(serial.master);
}

std::string host_got() {
    midi_flush();
    return receive(midi.master);
}

std::string pass(const std::string& from_board, const std::string& from_host) {
    board_sends(from_board);
    host_sends(from_host);
    uart_pass();
    midi_pass();
    const std::string to_host = host_got();
    std::string told = to_host.empty() ? "" : "host " + to_host + " ";
    std::string to_board = board_got() + " ";
    for (size_t led; (led = to_board.find("90 38 0")) != std::string::npos;) {
        to_board.erase(led, strlen("90 38 00 "));
    }
    told += to_board.size() > 1 ? "board " + to_board : "";
    for (const int ring : {UART_OUT_BUF_ID, MIDI_IN_BUF_ID}) {
        if (com_rx_len[ring] != 0) {
            told += "ring" + std::to_string(ring) + " " + std::to_string(com_rx_len[ring]) + " ";
        }
    }
    return told.substr(0, told.find_last_not_of(' ') + 1);
}

void hang_up() {
    for (Pty* const pty : {&serial, &midi}) {
        close(pty->slave);
        close(pty->master);
        *pty = Pty();
    }
}

void write_resource(const std::string& name, const std::string& content) {
    write_file(home / "resources" / name, content);
}

std::string read_resource(const std::string& name) {
    return read_file(home / "resources" / name);
}

std::string console_got() {
    return read_file("/dev/tty0");
}

std::string commands_called() {
    return read_file(home / "called");
}
