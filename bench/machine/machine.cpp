#include "machine/machine.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "machine/frames.h"
#include "world/checked.h"
#include "world/process.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr const char* EMULATOR = "qemu-system-arm";
constexpr const char* HAS_ENDED = "the emulator has ended: is qemu-system-arm there?";
constexpr const char* KERNEL_OPTIONS =
    "console=ttymxc0 quiet loglevel=2 vt.global_cursor_default=0 consoleblank=0 "
    "logo.nologo fbcon=font:VGA8x16";
// As build.sh has them in the device tree.
constexpr std::size_t MEMORY = 256U << 20;
constexpr std::size_t PIXELS_AT = 0x0FF00000;
constexpr int WIDTH = 480, HEIGHT = 272;
constexpr int INSTRUCTION_SHIFT = 1;  // 2 nanoseconds each: the controller's core runs at 532 MHz
constexpr const char* STARTS[] = {"plainly", "old", "script"};

constexpr std::chrono::milliseconds TICK(20);
constexpr std::chrono::minutes BOOT_PATIENCE(5);

constexpr unsigned DIRECTORY = 0040000;
constexpr unsigned REGULAR = 0100000;

std::pair<Fd, Fd> sockets(int type) {
    std::array<int, 2> ends;
    check(socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends.data()), "socketpair");
    check(fcntl(ends[0], F_SETFL, O_NONBLOCK), "fcntl");
    return {Fd(ends[0]), Fd(ends[1])};
}

// Files as the kernel takes them over those of the image: an archive in the format "newc".
class Archive {
  public:
    void add(const std::string& path, unsigned mode, const std::string& content = {}) {
        std::array<char, 128> head;
        // Number, mode, user, group, links, time, size, four of devices, size of the name, sum.
        std::snprintf(head.data(), head.size(), "070701%08X%08X%08X%08X%08X%08X%08zX%032X%08zX%08X",
                      ++number_, mode, 0U, 0U, 1U, 0U, content.size(), 0U, path.size() + 1, 0U);
        bytes_ += head.data() + path + '\0';
        pad();
        bytes_ += content;
        pad();
    }
    const std::string& end() {
        add("TRAILER!!!", 0);
        return bytes_;
    }

  private:
    void pad() { bytes_.resize((bytes_.size() + 3) / 4 * 4); }
    unsigned number_ = 0;
    std::string bytes_;
};

std::string shell_quoted(const std::string& word) {
    std::string text = "'";
    for (const char c : word) {
        text += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return text + "'";
}

// The shell script that rcS takes in, and the files that it puts in place.
std::string set_up(const WorldConfig& config) {
    Archive archive;
    std::string start = STARTS[static_cast<std::size_t>(config.start)];
    std::string options, plain_options;
    for (const int number :
         {config.xfbdev_ignores, static_cast<int>(config.xfbdev_lingers.count())}) {
        start += " " + std::to_string(number);
    }
    for (const std::string& option : config.options) {
        options += " " + shell_quoted(option);
        plain_options += option + " ";
    }
    std::string script = "start=" + shell_quoted(start + options) + "\n";
    if (config.start == Start::Script) {
        script += "echo " + shell_quoted("OPTIONS='" + plain_options + "'") +
                  " >>/etc/default/ctlbridge\n";
    }
    // In another place: what the package has installed and this has not goes away.
    const std::string place = "/opt/bench/resources/";
    script += std::string("rm -r ") + RESOURCES + "\nmv " + place + " " + RESOURCES + "\n";
    const Contents contents = resources_for(config);
    archive.add(place, DIRECTORY | PROGRAM_MODE);
    const auto there = [&](const std::string& path) {
        return place + path.substr(std::strlen(RESOURCES));
    };
    for (const std::string& path : contents.directories) {
        archive.add(there(path), DIRECTORY | PROGRAM_MODE);
    }
    for (const auto& [path, file] : contents.files) {
        archive.add(there(path), REGULAR | file.mode, file.content);
    }
    if (!config.daemon.empty()) {
        script += std::string("mv /opt/bench/ctlbridge ") + HOME + "\n";
        archive.add("/opt/bench/ctlbridge", REGULAR | PROGRAM_MODE, read_file(config.daemon));
    }
    for (const std::string& command : config.missing_commands) {
        script += "busybox rm -f /bin/" + command + " /sbin/" + command + " /usr/bin/" + command +
                  " /usr/sbin/" + command + "\n";
    }
    archive.add("/opt/bench/set-up", REGULAR | FILE_MODE, script);
    return archive.end();
}

// A file without a name, which the emulator opens by its descriptor.
Fd nameless(const char* what) {
    return Fd(check(memfd_create(what, 0), what));
}

void send_all(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t size = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (size < 0 && errno == EAGAIN) {
            pollfd polled = {socket, POLLOUT, 0};
            poll(&polled, 1, -1);
        } else if (size < 0 && errno != EINTR) {
            return;  // the other end has gone
        }
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    }
}

std::string path_of(const Fd& fd) {
    return "/proc/self/fd/" + std::to_string(fd.get());
}

}  // namespace

Machine::Machine(const WorldConfig& config) {
    const fs::path image = config.machine;
    for (const char* const file : {"kernel", "board.dtb", "initrd"}) {
        if (!fs::exists(image / file)) {
            throw std::runtime_error("there is no " + (image / file).string() +
                                     ": ./prove machine builds it");
        }
    }
    const Fd initrd = nameless("initrd");
    std::string content = read_file(image / "initrd");
    content.resize((content.size() + 3) / 4 * 4);  // where the next archive may begin
    content += set_up(config);
    check(write(initrd.get(), content.data(), content.size()), "writing the initrd");
    memory_ = nameless("memory");
    check(ftruncate(memory_.get(), MEMORY), "ftruncate");
    std::vector<std::string> words = {EMULATOR,
                                      "-M",
                                      "sabrelite,memory-backend=ram",
                                      "-m",
                                      std::to_string(MEMORY >> 20) + "M",
                                      "-object",
                                      "memory-backend-file,id=ram,share=on,size=" +
                                          std::to_string(MEMORY) + ",mem-path=" + path_of(memory_),
                                      "-display",
                                      "none",
                                      "-monitor",
                                      "none",
                                      "-nic",
                                      "none",
                                      "-no-reboot",
                                      "-kernel",
                                      image / "kernel",
                                      "-dtb",
                                      image / "board.dtb",
                                      "-initrd",
                                      path_of(initrd),
                                      "-append",
                                      KERNEL_OPTIONS};
    if (config.counts_instructions) {
        words.insert(words.end(), {"-icount", "shift=" + std::to_string(INSTRUCTION_SHIFT)});
    }
    std::vector<Fd> inner;
    for (Fd* const outer : {&kernel_, &board_, &host_, &frames_}) {
        auto [out, in] = sockets(SOCK_STREAM);
        const std::string number = std::to_string(in.get());
        words.insert(words.end(), {"-chardev", "socket,id=line" + number + ",fd=" + number,
                                   "-serial", "chardev:line" + number});
        *outer = std::move(out);
        inner.push_back(std::move(in));
    }
    for (const auto& [outer, in] : {std::pair(&console_, &console_in_), std::pair(&log_, &log_in_),
                                    std::pair(&calls_, &calls_in_)}) {
        std::tie(*outer, *in) = sockets(outer == &calls_ ? SOCK_SEQPACKET : SOCK_STREAM);
    }
    std::vector<int> passed = {initrd.get(), memory_.get()};
    for (const Fd& fd : inner) {
        passed.push_back(fd.get());
    }
    emulator_ = start_beside(words, passed);
    inner.clear();
    listener_ = std::thread([this] { listen(); });
}

void Machine::await_boot() const {
    const auto deadline = std::chrono::steady_clock::now() + BOOT_PATIENCE;
    while (!has_booted_) {
        if (is_off_ || std::chrono::steady_clock::now() >= deadline) {
            throw std::runtime_error(is_off_ ? HAS_ENDED : "the machine has not booted");
        }
        std::this_thread::sleep_for(TICK);
    }
}

Machine::~Machine() {
    stop();
}

void Machine::stop() {
    emulator_ = Child();
    for (const Fd* const fd : {&console_, &log_, &calls_}) {
        shutdown(fd->get(), SHUT_RDWR);  // the listener may be writing
    }
    listener_.join();
}

void Machine::listen() {
    Deframer deframer;
    std::string kernel_line;
    std::string piece(LONGEST_FRAME, '\0');
    const auto take = [this](Frame kind, const std::string& text) {
        switch (kind) {
            case Frame::Log:
                send_all(log_in_.get(), text);
                break;
            case Frame::Screen:
                send_all(console_in_.get(), text);
                break;
            case Frame::Call:
                send_all(calls_in_.get(), text);
                break;
            case Frame::Booted:
                has_booted_ = true;
                break;
            case Frame::Ready:
                is_ready_ = true;
                break;
            case Frame::Exit:
                exit_status_ = std::atoi(text.c_str());
                break;
            case Frame::Done:
                result_ = std::atoi(text.c_str());
                break;
            default:
                break;
        }
    };
    std::array<pollfd, 2> polled = {{{frames_.get(), POLLIN, 0}, {kernel_.get(), POLLIN, 0}}};
    while (!is_off_) {
        poll(polled.data(), polled.size(), -1);
        for (const pollfd& line : polled) {
            const ssize_t size = line.revents == 0 ? -1 : read(line.fd, piece.data(), piece.size());
            if (size == 0 || (line.revents != 0 && size < 0 && errno != EAGAIN)) {
                is_off_ = true;
                send_all(log_in_.get(), has_booted_ ? "" : std::string(HAS_ENDED) + "\n");
            } else if (size > 0 && line.fd == frames_.get()) {
                deframer.feed({piece.data(), static_cast<std::size_t>(size)}, take);
            } else if (size > 0) {
                kernel_line.append(piece.data(), static_cast<std::size_t>(size));
                const std::size_t end = kernel_line.rfind('\n') + 1;
                send_all(log_in_.get(), kernel_line.substr(0, end));
                kernel_line.erase(0, end);
            }
        }
    }
}

std::optional<std::string> Machine::next_platform_call() {
    std::string words(LONGEST_FRAME, '\0');
    const ssize_t size = recv(calls_.get(), words.data(), words.size(), 0);
    if (size <= 0) {
        return std::nullopt;
    }
    words.resize(static_cast<std::size_t>(size));
    return words;
}

void Machine::answer_platform() {
    send_all(frames_.get(), framed(Frame::Answer, {}));
}

std::optional<int> Machine::exit_status() {
    if (exit_status_ < 0 && is_off_) {  // with it all
        return 128 + SIGKILL;
    }
    return exit_status_ < 0 ? std::nullopt : std::optional(exit_status_.load());
}

void Machine::run(const std::string& command) {
    result_ = -1;
    send_all(frames_.get(), framed(Frame::Run, command));
}

std::optional<int> Machine::result() const {
    return result_ < 0 ? std::nullopt : std::optional(result_.load());
}

std::vector<std::uint16_t> Machine::pixels() const {
    std::vector<std::uint16_t> pixels(std::size_t{WIDTH} * HEIGHT);
    check(pread(memory_.get(), pixels.data(), 2 * pixels.size(), PIXELS_AT), "reading the screen");
    return pixels;
}

std::string Machine::picture() const {
    std::string text = "P6 " + std::to_string(WIDTH) + " " + std::to_string(HEIGHT) + " 255\n";
    for (const int pixel : pixels()) {
        const int red = pixel >> 11, green = pixel >> 5 & 0x3F, blue = pixel & 0x1F;
        for (const int part :
             {red << 3 | red >> 2, green << 2 | green >> 4, blue << 3 | blue >> 2}) {
            text += static_cast<char>(part);
        }
    }
    return text;
}

}  // namespace bench
