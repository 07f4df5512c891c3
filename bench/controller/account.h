// Messages by the thousand from one end: made of the controls that can be told apart at both ends,
// so many under way at a time, and each accounted for when it arrives at the other end.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
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

    // Goes on from a state: 1 for a button that is down, a light's value, a pot's position.
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
// The same of a running controller, each going on from where its control stands.
std::vector<Track> running_tracks(Controller& controller, End from);

constexpr int UNLIMITED = 1 << 30;

struct Plan {
    long long count = 0;  // messages to send
    int per_second = 0;   // 0: as fast as the window lets them go
    int window = 16;      // most messages under way; all fit into what the daemon queues
    // Most messages of one control under way; 0: none is sent, beyond 1 all but the last may be
    // merged. Notes are those of buttons and lights, control changes those of pots and meters.
    int note_depth = 1;
    int controller_depth = 0;
    int query_every = 0;  // host: an Identity Request after so many messages; 0: none
    bool lossy = false;   // the line may lose any of them: all is done when no more come
};

class Account {
  public:
    Account(End from, std::vector<Track> tracks);

    // Begins to send by a plan, and counts anew. Only when done() with what was planned before.
    void begin(const Plan& plan);
    // Makes what is due and allowed by now; it counts as sent.
    Bytes make(Clock::time_point now);
    // When the next message is due; nothing if it waits for an arrival, or all are sent.
    std::optional<Clock::time_point> due() const;
    // Takes a message that has arrived.
    void take(const Bytes& message, Clock::time_point now);
    // Makes no more; what is under way is still waited for.
    void stop() { plan_.count = sent_; }

    bool all_sent() const { return sent_ == plan_.count; }
    bool done() const;
    // Every message arrived, or was merged into a later one that did.
    bool good() const { return done() && unexpected_.empty(); }
    // Something came that must not, or nothing for too long. Asked again and again, so that time in
    // which this program stood still does not count.
    bool failed(Clock::time_point now);
    // "board → host: 10 sent, 10 arrived, 0 merged, 0 missing", and what went wrong.
    std::string summary() const;

    End from() const { return from_; }
    long long sent() const { return sent_; }
    long long arrived() const { return arrived_; }
    long long merged() const { return merged_; }
    long long missing() const { return sent_ - arrived_ - merged_; }
    const std::string& unexpected() const { return unexpected_; }
    // From the first to the last arrival, in seconds.
    double seconds() const;
    // From the making to the arrival, in nanoseconds, of each message that arrived.
    const std::vector<std::uint32_t>& latencies() const { return latencies_; }

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

    bool take_expected(const Bytes& message, Clock::time_point now);
    bool take_extra(const Bytes& message);
    static std::size_t slot(const Bytes& message);

    End from_;
    Plan plan_{};
    std::vector<Source> sources_;
    std::vector<int> by_slot_;  // index of the source whose arrivals have this status and number
    std::size_t next_source_ = 0;
    long long sent_ = 0, arrived_ = 0, merged_ = 0, under_way_ = 0;
    long long queries_ = 0, queries_arrived_ = 0;
    Clock::time_point start_{}, last_arrival_{}, last_asked_{};
    Clock::duration waited_{};  // since the last arrival
    std::vector<std::uint32_t> latencies_;
    std::string unexpected_;
};

}  // namespace bench
