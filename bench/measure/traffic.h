// Messages by the million through a bridge between two bare lines: each one is accounted for at the
// other end, and timed on the way.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "controller/controller.h"

namespace bench {

using Clock = std::chrono::steady_clock;

constexpr int LINE_BYTES_PER_SECOND = 115200 / 10;  // of the serial line: ten bits to a byte
constexpr int LINE_MESSAGES_PER_SECOND = LINE_BYTES_PER_SECOND / 3;

// A message of three bytes, as sent and as it has to arrive.
struct Crossing {
    Bytes sent, arrives;
};

// One control as a source of messages, each changing its value.
class Track {
  public:
    // `relayed`: the bridge copies bytes, so that they arrive as they were sent.
    Track(const Control& control, End from, const Host& host, bool relayed);

    // Goes on from a state: 1 for a button that is down, a light's value.
    void start_from(int value) { value_ = value; }
    Crossing next();
    const Control& control() const { return *control_; }
    bool sends_notes() const;

  private:
    const Control* control_;
    End from_;
    const Host* host_;
    bool relayed_;
    int value_ = 0;
};

// The controls of a mapping that can be told apart at both ends: whose numbers are theirs alone.
std::vector<Track> choose_tracks(const Mapping& mapping, const Host& host, End from, bool relayed);

struct Plan {
    std::int64_t count = 0;  // messages to send
    int per_second = 0;      // 0: as fast as the window lets them go
    int window = 16;         // most messages under way; all fit into what the daemon queues
    // Most messages of one control under way; 0: none is sent, beyond 1 all but the last may be
    // merged. Notes are those of buttons and lights, control changes those of pots and meters.
    int note_depth = 1;
    int controller_depth = 0;
    int query_every = 0;  // host: an Identity Request behind so many messages; 0: none
};

// One direction of traffic.
class Stream {
  public:
    Stream(End from, int from_fd, int to_fd, std::vector<Track> tracks);

    // Begins to send by a plan, and counts anew. Only when done() with what was planned before.
    void begin(const Plan& plan);

    // Sends what is due and allowed by now.
    void send(Clock::time_point now);
    // When the next message is due; nothing if it waits for an arrival, or all are sent.
    std::optional<Clock::time_point> due() const;
    // Takes what has arrived.
    void receive();
    // Sends no more; what is under way is still waited for.
    void stop() { plan_.count = sent_; }
    bool done() const;
    // Every message arrived, or was merged into a later one that did.
    bool good() const { return done() && unexpected_.empty(); }

    // A part of what was to be sent found no room in the line.
    bool wants_room() const { return !queue_.empty(); }

    End from() const { return from_; }
    int from_fd() const { return from_fd_; }
    int to_fd() const { return to_fd_; }
    std::int64_t sent() const { return sent_; }
    std::int64_t arrived() const { return arrived_; }
    std::int64_t merged() const { return merged_; }
    std::int64_t refused() const { return refused_; }  // times that the line took no more
    std::int64_t late() const { return late_; }        // arrivals after the last sending
    std::int64_t queries() const { return queries_; }
    Clock::duration time() const { return last_arrival_ - start_; }
    const std::string& unexpected() const { return unexpected_; }
    // From the last byte's writing to the reading, in nanoseconds, of each message that arrived.
    const std::vector<std::uint32_t>& latencies() const { return latencies_; }
    Clock::time_point last_arrival() const { return last_arrival_; }

  private:
    struct UnderWay {
        Bytes message;
        Clock::time_point at;
    };
    struct Source {
        Track track;
        std::size_t depth;
        std::deque<UnderWay> under_way;
    };

    void prepare(std::int64_t allowed);
    void write_out();
    void take(const Bytes& message, Clock::time_point now);
    std::deque<UnderWay>* find_under_way(const Bytes& message);
    bool take_expected(const Bytes& message, Clock::time_point now);
    bool take_extra(const Bytes& message);
    static std::size_t slot(const Bytes& message);

    End from_;
    int from_fd_, to_fd_;
    Plan plan_{};
    std::vector<Source> sources_;
    std::vector<int> by_slot_;  // index of the source whose arrivals have this status and number
    std::size_t next_source_ = 0;
    std::int64_t sent_ = 0, arrived_ = 0, merged_ = 0, refused_ = 0, late_ = 0, queries_ = 0;
    std::int64_t queries_arrived_ = 0, under_way_ = 0;
    Bytes queue_;
    Splitter splitter_;
    Clock::time_point start_{}, last_arrival_{};
    std::vector<std::uint32_t> latencies_;
    std::string unexpected_;
};

// Runs the streams until all are done. False if something unexpected came, or nothing for too long.
// `tend` is called now and then; it may throw.
bool run_streams(const std::vector<Stream*>& streams, const std::function<void()>& tend);

// "board → host: 10 sent, 10 arrived, 0 merged", and what went wrong.
std::string summary(const Stream& stream);

}  // namespace bench
