// An emulated controller: QEMU with a kernel whose serial driver, USB gadget and console are real.
// What is in it is built by build.sh; machine/inside.cpp runs in it for this side.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "world/handles.h"
#include "world/world.h"

namespace bench {

class Machine : public World {
  public:
    // Returns while the machine boots.
    explicit Machine(const WorldConfig& config);
    ~Machine() override;

    int fd(End end) const override { return (end == End::Board ? board_ : host_).get(); }
    int console_fd() const override { return console_.get(); }
    int log_fd() const override { return log_.get(); }
    int platform_fd() const override { return calls_.get(); }
    std::optional<std::string> next_platform_call() override;
    void answer_platform() override;
    bool ready() override { return is_ready_; }
    std::optional<int> exit_status() override;
    int slowness() const override { return 10; }
    Machine* machine() override { return this; }

    bool has_booted() const { return has_booted_; }
    // Waits for that. Throws std::runtime_error if the machine does not.
    void await_boot() const;

    // Runs a command of the machine's shell; what it says is in the log.
    void run(const std::string& command);
    // The exit status of what was run last, once it has ended.
    std::optional<int> result() const;
    // The emulator has ended, as it does when the machine is switched off.
    bool is_off() const { return is_off_; }
    // The screen's pixels as they are, row by row, five bits of red, six of green, five of blue.
    std::vector<std::uint16_t> pixels() const;
    // The same as a picture, in the format PPM.
    std::string picture() const;

  private:
    void listen();
    void stop();

    Fd board_, host_, kernel_, frames_;  // the machine's serial lines, as sockets
    Fd memory_;
    Child emulator_;
    Fd console_, log_, calls_;           // what came in frames, to be read here
    Fd console_in_, log_in_, calls_in_;  // the other ends of them
    std::atomic<bool> has_booted_{false}, is_ready_{false}, is_off_{false};
    std::atomic<int> exit_status_{-1}, result_{-1};
    std::thread listener_;
};

}  // namespace bench
