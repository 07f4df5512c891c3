// A world of namespaces, which bubblewrap makes, with pseudo-terminals where the daemon expects its
// devices and BusyBox as its shell.
#pragma once

#include "world/handles.h"
#include "world/world.h"

namespace bench {

// Whether a world can be made without this command of its shell. The shell's own, as echo, stay.
bool can_be_missing(const std::string& command);

// A pseudo-terminal. The slave is held open too: before the daemon opens it and after it has ended,
// the master is not to see a hang-up.
struct Pty {
    Fd master, slave;
};

class OpenWatch;

class Namespaces : public World {
  public:
    // Throws std::runtime_error with a message that says what this machine refused.
    explicit Namespaces(const WorldConfig& config);
    ~Namespaces() override;

    int fd(End end) const override { return (end == End::Board ? serial_ : midi_).master.get(); }
    int far_fd(End end) const override { return (end == End::Board ? serial_ : midi_).slave.get(); }
    int console_fd() const override { return console_.master.get(); }
    int log_fd() const override { return log_.get(); }
    int platform_fd() const override { return platform_.get(); }
    std::optional<std::string> next_platform_call() override;
    void answer_platform() override;
    bool ready() override;
    void hang_up(End end) override;
    pid_t daemon_pid() const override;
    std::optional<int> exit_status() override;

  private:
    bool start(const WorldConfig& config, bool own_users);

    Pty serial_, midi_, console_;
    std::unique_ptr<OpenWatch> midi_opened_;
    Fd log_, platform_, control_;
    Fd caller_;   // closing it lets the caller of a platform command go on
    Child wrap_;  // bubblewrap; all of the world ends with it, and it goes first
    std::optional<int> exit_status_;
};

}  // namespace bench
