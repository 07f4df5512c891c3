// Descriptors and processes that end with their owner.
#pragma once

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

namespace bench {

// An open descriptor, or -1.
class Fd {
  public:
    Fd() = default;
    explicit Fd(int fd) : fd_(fd) {}
    Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Fd& operator=(Fd&& other) noexcept {
        reset(std::exchange(other.fd_, -1));
        return *this;
    }
    ~Fd() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    // Closes the descriptor held and takes another one.
    void reset(int fd = -1) {
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = fd;
    }

  private:
    int fd_ = -1;
};

// A child process, killed and waited for in the end.
class Child {
  public:
    Child() = default;
    explicit Child(pid_t pid) : pid_(pid) {}
    Child(Child&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
    Child& operator=(Child&& other) noexcept {
        end();
        pid_ = std::exchange(other.pid_, -1);
        return *this;
    }
    ~Child() { end(); }

    pid_t pid() const { return pid_; }

  private:
    void end() {
        if (pid_ <= 0) {
            return;
        }
        kill(pid_, SIGKILL);
        while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }

    pid_t pid_ = -1;
};

}  // namespace bench
