// The world that an unmodified ctlbridge runs in: user, mount, PID, IPC and network namespaces of
// its own, with pseudo-terminals where the daemon expects its devices and BusyBox as its shell.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "world/contents.h"
#include "world/handles.h"

namespace bench {

// The two ends that messages go between: the board at the serial line, the host at the MIDI device.
enum class End { Board, Host };

constexpr End other(End end) {
    return end == End::Board ? End::Host : End::Board;
}
constexpr const char* name(End end) {
    return end == End::Board ? "board" : "host";
}

// A pseudo-terminal. The slave is held open too: before the daemon opens it and after it has ended,
// the master is not to see a hang-up.
struct Pty {
    Fd master, slave;
};

// One running world. Everything in it ends with the object, or with the process that holds it.
class World {
  public:
    // Builds the world and starts the daemon. Throws std::runtime_error with a message that says
    // what the machine refused.
    explicit World(const WorldConfig& config);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    // The outer ends, all non-blocking, -1 where a line is missing or hung up.
    int fd(End end) const { return (end == End::Board ? serial_ : midi_).master.get(); }
    // The daemon's end of it, as it is held open out here; -1 where there is none.
    int far_fd(End end) const { return (end == End::Board ? serial_ : midi_).slave.get(); }
    int console_fd() const { return console_.master.get(); }  // what is written to /dev/tty0
    int log_fd() const { return log_.get(); }            // the daemon's standard output and error
    int platform_fd() const { return platform_.get(); }  // readable when a platform call waits

    // Takes the next platform call ("modprobe g_midi idVendor=...": the words, joined by blanks).
    // The caller in the world waits until answer_platform() is called, so that what was written to
    // the serial line before it can be read first. Nothing if none waits or one is unanswered.
    std::optional<std::string> next_platform_call();
    void answer_platform();

    // Hangs the line up as a pulled cable would: the daemon's descriptor sees the end of file.
    void hang_up(End end);

    // The daemon's process number as the machine outside counts; -1 if it does not run.
    pid_t daemon_pid() const;

    // The daemon's exit status once it has ended (128 + signal if it was killed), else nothing.
    std::optional<int> exit_status();

  private:
    Pty serial_, midi_, console_;
    Fd log_, platform_, control_;
    Fd caller_;   // closing it lets the caller of a platform command go on
    Child init_;  // the first process in the world; goes first
    std::optional<int> exit_status_;
};

}  // namespace bench
