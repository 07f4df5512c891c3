#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "port/outside.h"
#include "port/whole.h"
#include "world/handles.h"

namespace bench {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr auto RETRY = std::chrono::milliseconds(500);
constexpr std::size_t READ_SIZE = 4096;

// Who has this device open, as far as this user may see; empty: nobody.
std::string owner_of(dev_t device) {
    std::error_code error;
    for (const fs::directory_entry& process : fs::directory_iterator("/proc", error)) {
        const std::string number = process.path().filename();
        if (number.find_first_not_of("0123456789") != std::string::npos ||
            number == std::to_string(getpid())) {
            continue;
        }
        for (const fs::directory_entry& open :
             fs::directory_iterator(process.path() / "fd", error)) {
            struct stat found;
            if (stat(open.path().c_str(), &found) == 0 && S_ISCHR(found.st_mode) &&
                found.st_rdev == device) {
                std::string name;
                std::getline(std::ifstream(process.path() / "comm"), name);
                return "process " + number + " (" + name + ")";
            }
        }
    }
    return {};
}

// What errno says of a file, and what helps: devices are shared by the members of a group.
std::string refusal(const std::string& path) {
    const int error = errno;
    std::string text = path + ": " + strerror(error);
    struct stat found;
    constexpr mode_t SHARED = S_IRGRP | S_IWGRP;
    const bool shared =
        error == EACCES && stat(path.c_str(), &found) == 0 && (found.st_mode & SHARED) == SHARED;
    const group* const owner = shared && found.st_gid != 0 ? getgrgid(found.st_gid) : nullptr;
    if (owner != nullptr) {
        text += std::string(": it is for members of the group ") + owner->gr_name +
                ": join it with sudo adduser $USER " + owner->gr_name + ", and log in again";
    }
    errno = error;
    return text;
}

void make_raw(int fd, Line line) {
    termios settings;
    if (tcgetattr(fd, &settings) != 0) {
        return;  // no terminal
    }
    cfmakeraw(&settings);
    if (line == Line::Serial) {
        settings.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | CRTSCTS);
        settings.c_cflag |= CLOCAL | CREAD;
        cfsetspeed(&settings, B115200);
    }
    tcsetattr(fd, TCSANOW, &settings);
}

class Device : public Outside {
  public:
    Device(const std::string& path, Line line) : path_(path), line_(line) {
        if (const std::string why = open_it(); !why.empty()) {
            throw NoOutside(why);
        }
    }

    int fd() const override { return fd_.get(); }
    Sent send(const Bytes& message) override;
    std::vector<Bytes> receive() override;
    void look() override;
    std::string state() const override { return fd_ ? "open" : "gone"; }
    long long lost() const override { return lost_ + whole_.dropped(); }

  private:
    std::string open_it();
    bool write_rest();
    void lose_it();

    std::string path_;
    Line line_;
    Fd fd_;
    WholeMessages whole_;
    Splitter splitter_;
    Bytes rest_;  // of a message that went in part
    long long lost_ = 0;
    Clock::time_point tried_{};
};

// What was in the way; empty if nothing was. Nobody is looked for by opening it: that alone can
// reset what is at the other end of a serial line.
std::string Device::open_it() {
    tried_ = Clock::now();
    struct stat found;
    if (stat(path_.c_str(), &found) != 0) {
        return refusal(path_);
    }
    if (!S_ISCHR(found.st_mode)) {
        return path_ + " is no device";
    }
    constexpr unsigned SOUND = 116;  // which tells by itself, and may have several owners
    const std::string owner = major(found.st_rdev) == SOUND ? "" : owner_of(found.st_rdev);
    if (!owner.empty()) {
        return path_ + " is in use by " + owner + ": stop that one first";
    }
    Fd opened(open(path_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    if (!opened || (fcntl(opened.get(), F_SETLK, &lock) != 0 && errno == EAGAIN)) {
        return errno == EAGAIN || errno == EBUSY ? path_ + " is in use by another program"
                                                 : refusal(path_);
    }
    make_raw(opened.get(), line_);
    fd_ = std::move(opened);
    return {};
}

void Device::lose_it() {
    fd_.reset();
    lost_ += rest_.empty() ? 0 : 1;
    rest_.clear();
    tried_ = Clock::now();
}

// Returns whether there is room for more.
bool Device::write_rest() {
    const ssize_t size = rest_.empty() ? 0 : write(fd_.get(), rest_.data(), rest_.size());
    if (size < 0 && errno != EAGAIN && errno != EINTR) {
        lose_it();
    } else if (size > 0) {
        rest_.erase(rest_.begin(), rest_.begin() + size);
    }
    return rest_.empty();
}

Outside::Sent Device::send(const Bytes& message) {
    if (!fd_) {
        return Sent::Lost;
    }
    if (!write_rest()) {
        return Sent::Later;
    }
    if (!fd_) {
        return Sent::Lost;
    }
    rest_ = message;
    write_rest();
    return Sent::Taken;
}

void Device::look() {
    if (fd_) {
        write_rest();
    } else if (Clock::now() - tried_ >= RETRY) {
        open_it();
    }
}

std::vector<Bytes> Device::receive() {
    if (!fd_) {
        return {};
    }
    std::array<std::uint8_t, READ_SIZE> data;
    const ssize_t size = read(fd_.get(), data.data(), data.size());
    if (size == 0 || (size < 0 && errno != EAGAIN && errno != EINTR)) {
        lose_it();
    }
    const Bytes came(data.data(), data.data() + std::max<ssize_t>(size, 0));
    return line_ == Line::Serial ? splitter_.feed(came.data(), came.size()) : whole_.feed(came);
}

}  // namespace

std::string why_not_open(const std::string& path) {
    return Fd(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)) ? "" : refusal(path);
}

std::unique_ptr<Outside> open_device(const std::string& path, Line line) {
    return std::make_unique<Device>(path, line);
}

}  // namespace bench
