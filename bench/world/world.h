// The world that an unmodified ctlbridge runs in: its devices, its shell, its files. Its two makers
// are namespaces.h and machine/machine.h.
#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>

#include "world/contents.h"

namespace bench {

// The two ends that messages go between: the board at the serial line, the host at the MIDI device.
enum class End { Board, Host };

constexpr End other(End end) {
    return end == End::Board ? End::Host : End::Board;
}
constexpr const char* name(End end) {
    return end == End::Board ? "board" : "host";
}

class Machine;

// One running world. Everything in it ends with the object, or with the process that holds it.
class World {
  public:
    World() = default;
    virtual ~World() = default;
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    // The outer ends, all non-blocking, -1 where a line is missing or hung up.
    virtual int fd(End end) const = 0;
    // The daemon's end of it, as it is held open out here; -1 where there is none.
    virtual int far_fd(End) const { return -1; }
    virtual int console_fd() const = 0;   // what is written to /dev/tty0
    virtual int log_fd() const = 0;       // the daemon's standard output and error
    virtual int platform_fd() const = 0;  // readable when a platform call waits

    // Takes the next platform call ("modprobe g_midi idVendor=...": the words, joined by blanks).
    // The caller in the world waits until answer_platform() is called, so that what was written to
    // the serial line before it can be read first. Nothing if none waits or one is unanswered.
    virtual std::optional<std::string> next_platform_call() = 0;
    virtual void answer_platform() = 0;

    // The daemon has opened every line that there is.
    virtual bool ready() = 0;

    // Hangs the line up as a pulled cable would: the daemon's descriptor sees the end of file.
    virtual void hang_up(End) {}

    // The daemon's process number as the machine outside counts; -1 if it does not run, or not
    // there.
    virtual pid_t daemon_pid() const { return -1; }

    // The daemon's exit status once it has ended (128 + signal if it was killed), else nothing.
    virtual std::optional<int> exit_status() = 0;

    // How many times slower things may be in here than in a world of this machine's own processor.
    virtual int slowness() const { return 1; }

    // The world, if it is an emulated machine.
    virtual Machine* machine() { return nullptr; }
};

// Builds the world that is asked for and starts the daemon. Throws std::runtime_error with a
// message that says what was refused.
std::unique_ptr<World> make_world(const WorldConfig& config);

}  // namespace bench
