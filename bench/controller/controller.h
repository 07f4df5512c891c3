// A whole virtual controller: a world with the daemon in it, the board and the host at its two
// ends, and one list of everything that happens.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "controller/board.h"
#include "controller/host.h"
#include "controller/mapping.h"
#include "controller/midi_text.h"
#include "controller/screen.h"
#include "world/world.h"

namespace bench {

using std::chrono::milliseconds;

std::string way(End from);  // "board → host"

// Where something happens. World: the daemon's end, and lines that are pulled.
enum class Place { Board, Host, Platform, Log, Console, World };
constexpr std::size_t PLACES = 6;
constexpr Place at(End end) {
    return end == End::Board ? Place::Board : Place::Host;
}

struct Event {
    milliseconds time{};  // since the start of the world
    Place place = Place::Log;
    bool to_daemon = false;   // board and host: sent towards the daemon, else come from it
    Bytes bytes = {};         // board and host: one message; console: what was written
    std::string text = {};    // platform: the call; log: the line
    int control = -1;         // configuration index of the control it is about
    bool wants_pots = false;  // board: it has answered with all positions

    bool is_message() const { return place == Place::Board || place == Place::Host; }
    bool sent_by(End end) const { return place == at(end) && to_daemon; }
    bool came_to(End end) const { return place == at(end) && !to_daemon; }
};

class Controller {
  public:
    // Starts the world. Throws std::runtime_error with what the machine refused.
    explicit Controller(const WorldConfig& config);
    ~Controller();
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;

    // Moves bytes all ways, waiting at most that long for the first; new events are at the end of
    // events(). What was written to the serial line before a platform call stands before the call.
    // Input at one of the `also` descriptors ends the wait, too.
    void step(milliseconds timeout, const std::vector<int>& also = {});

    // Queues bytes, written in one piece as far as the line takes them. False: there is no such
    // line, and nothing is queued. `end` is Board or Host.
    bool send(End end, const Bytes& bytes);
    bool send(End end, const std::vector<Bytes>& messages);
    // The same of a part of a message, which makes no event.
    bool send_part(End end, const Bytes& bytes);
    // Everything queued at this end was written.
    bool flushed(End end) const;
    // Whether what comes at this end is read; if not, it stays in the line, which fills up.
    void set_reading(End end, bool reading);
    // Whether the board answers the daemon's questions; if not, somebody else does.
    void set_answering(bool answering) { answering_ = answering; }
    // The daemon has taken everything that was sent at this end.
    bool taken(End end) const;
    // The line towards this end has no room for a byte more from the daemon.
    bool full(End end) const;
    // Nothing is left in the line towards this end.
    bool drained(End end) const;
    // Makes an event of what has come of an unfinished message.
    void end_unfinished(End end);
    // The daemon has opened every line that there is.
    bool ready() const { return world_->ready(); }
    void hang_up(End end);
    // Leaves a line to the caller: step() goes on to look after everything else. Returns its
    // descriptor, -1 if there is none.
    int hand_over(End end);
    // The daemon's process number; -1 if it has ended.
    pid_t daemon_pid() const { return world_->daemon_pid(); }
    int slowness() const { return world_->slowness(); }
    // The world, if it is an emulated machine, else null.
    Machine* machine() { return world_->machine(); }
    // The daemon's exit status (128 + signal if killed) once it has ended and its log was read.
    std::optional<int> exit_status() const { return exit_status_; }

    const std::vector<Event>& events() const { return events_; }
    const Mapping& mapping() const { return setup_.mapping; }
    const Setup& setup() const { return setup_; }
    Board& board() { return board_; }
    Host& host() { return host_; }
    const Screen& screen() const { return screen_; }
    milliseconds now() const;

  private:
    struct Line;  // one end of a link: what is queued, what came in part

    void add(Event event);
    bool read_line(End end);
    bool read_text(int fd, Place place);
    void write_line(End end);
    void read_platform();
    void notice_exit();
    Line& line(End end) const { return end == End::Board ? *serial_ : *midi_; }
    int fd(End end) const { return world_->fd(end); }

    std::chrono::steady_clock::time_point start_;
    Setup setup_;
    Board board_;
    Host host_;
    Screen screen_;
    std::unique_ptr<World> world_;
    std::unique_ptr<Line> serial_, midi_;
    std::string log_rest_;
    std::vector<Event> events_;
    std::optional<int> exit_status_;
    bool answering_ = true;
};

// Reads files as the daemon will find them at its start.
ReadFile resource_reader(const WorldConfig& config);
// The name that the settings give the USB device; empty: none.
std::string product_name(const WorldConfig& config);

}  // namespace bench
