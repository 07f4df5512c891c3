#include "scenario/load.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>

#include "controller/transcript.h"
#include "measure/traffic.h"

namespace bench {
namespace {

constexpr std::size_t MAX_IN_FLIGHT = 16;  // all fit into what the daemon queues for the host
constexpr milliseconds TICK(1);
constexpr milliseconds PATIENCE(10000);  // without any arrival
// So many messages of a filling are sent before the daemon is asked: what it takes to the host in
// one pass, and half of what finds room in a line that is just not full.
constexpr std::size_t BATCH_TO_HOST = 21;
constexpr std::size_t BATCH_TO_BOARD = 32;
// Three times what the kernel finds room for in a line that it calls full.
constexpr std::size_t BEYOND = 960;
constexpr std::size_t MAX_FILLING = 20000;  // messages; a line holds a quarter of them
constexpr milliseconds SETTLING(20);        // of a line that seems full

const char* name_of(End end) {
    return end == End::Board ? "board" : "host";
}

End other(End end) {
    return end == End::Board ? End::Host : End::Board;
}

int due(milliseconds since, milliseconds now, int per_second) {
    return static_cast<int>((now - since).count() * per_second / 1000);
}

// Arrivals at one end since the last call.
class Arrivals {
  public:
    Arrivals(const Controller& controller, End end)
        : controller_(controller), end_(end), next_(controller.events().size()) {}

    std::vector<Bytes> take() {
        std::vector<Bytes> messages;
        const std::vector<Event>& events = controller_.events();
        for (; next_ < events.size(); ++next_) {
            const Event& event = events[next_];
            if (event.end == end_ && !event.to_daemon && !is_traffic_light(event)) {
                messages.push_back(event.bytes);
            }
        }
        return messages;
    }

  private:
    const Controller& controller_;
    End end_;
    std::size_t next_;
};

// Changes of controls whose number no other one shares, in turn by configuration index.
class Changes {
  public:
    Changes(Controller& controller, End from);
    std::size_t controls() const { return controls_.size(); }
    std::size_t turn() const { return controls_.empty() ? 0 : made_ % controls_.size(); }
    Crossing next() { return controls_[made_++ % controls_.size()].next(); }

  private:
    std::vector<Track> controls_;
    std::size_t made_ = 0;
};

// What the host last asked for: the board need not have seen it.
int last_light(Controller& controller, const Control& control) {
    int light = controller.board().light(control.index);
    for (const Event& event : controller.events()) {
        if (event.end == End::Host && event.to_daemon && event.control == control.index) {
            light = event.bytes[2];
        }
    }
    return light;
}

Changes::Changes(Controller& controller, End from) {
    for (Track& track : choose_tracks(controller.mapping(), controller.host(), from, false)) {
        if (track.sends_notes()) {
            const Control& control = track.control();
            track.start_from(from == End::Board ? controller.board().pressed(control.index)
                                                : last_light(controller, control));
            controls_.push_back(track);
        }
    }
}

// One direction of a flood.
class Lane {
  public:
    Lane(Controller& controller, End from, int count)
        : controller_(controller),
          from_(from),
          count_(count),
          arrivals_(controller, other(from)),
          start_(controller.now()),
          last_arrival_(start_),
          changes_(controller, from),
          window_(std::min(MAX_IN_FLIGHT, changes_.controls() / 2)) {}

    // False: nothing has come for too long, or there is nothing to send.
    bool work() {
        receive();
        const int allowed =
            std::min(count_, due(start_, controller_.now(), LINE_MESSAGES_PER_SECOND) + 1);
        while (sent_ < allowed && in_flight_.size() < window_) {
            const Crossing crossing = changes_.next();
            controller_.send(from_, crossing.sent);
            in_flight_.push_back(crossing.arrives);
            ++sent_;
        }
        return window_ > 0 && unexpected_.empty() && controller_.now() - last_arrival_ < PATIENCE;
    }
    bool done() const { return sent_ == count_ && in_flight_.empty(); }
    std::string summary() const;

  private:
    void receive();

    Controller& controller_;
    End from_;
    int count_;
    Arrivals arrivals_;
    milliseconds start_, last_arrival_;
    Changes changes_;
    std::vector<Bytes> in_flight_;
    std::size_t window_;
    int sent_ = 0;
    Bytes unexpected_;
};

void Lane::receive() {
    for (const Bytes& message : arrivals_.take()) {
        const auto found = std::find(in_flight_.begin(), in_flight_.end(), message);
        if (found == in_flight_.end()) {
            unexpected_ = message;
            return;
        }
        in_flight_.erase(found);
        last_arrival_ = controller_.now();
    }
}

std::string Lane::summary() const {
    const auto took = std::max<std::int64_t>(1, (controller_.now() - start_).count());
    const int arrived = sent_ - static_cast<int>(in_flight_.size());
    std::string text = std::string(name_of(from_)) + " → " + name_of(other(from_)) + ": " +
                       std::to_string(sent_) + " messages sent, " + std::to_string(arrived) +
                       " arrived, " + std::to_string(sent_ * std::int64_t{1000} / took) +
                       " a second";
    if (window_ == 0) {
        text += "; the mapping has too few controls for a flood";
    }
    for (const Bytes& missing : in_flight_) {
        text += "\n  missing at the " + std::string(name_of(other(from_))) + ": " + hex(missing);
    }
    if (!unexpected_.empty()) {
        text += "\n  came unexpected: " + hex(unexpected_) + "   " + describe(unexpected_);
    }
    return text;
}

// Pots whose number no other control shares.
std::vector<const Control*> choose_pots(const Mapping& mapping) {
    std::vector<const Control*> pots;
    for (const Control& control : mapping.controls()) {
        if (control.host_sees_position() &&
            mapping.seen_by_host(CONTROL_CHANGE, control.host_sees) == &control) {
            pots.push_back(&control);
        }
    }
    return pots;
}

// Pots whose position the host has not seen yet.
auto count_missing(Controller& controller, const std::vector<const Control*>& pots) {
    return std::count_if(pots.begin(), pots.end(), [&](const Control* pot) {
        return controller.host().seen(pot->index) != controller.board().position(pot->index);
    });
}

bool await(Controller& controller, const Pump& pump, const std::function<bool()>& state,
           milliseconds patience) {
    const milliseconds deadline = controller.now() + patience;
    while (!state()) {
        if (controller.now() >= deadline) {
            return false;
        }
        pump(TICK);
    }
    return true;
}

bool begins_with(const Bytes& whole, const Bytes& part) {
    return part.size() < whole.size() && std::equal(part.begin(), part.end(), whole.begin());
}

// What came of a filling: so many messages, whole; and which of it were awaited next.
struct Prefix {
    std::size_t count = 0;
    std::vector<std::size_t> awaited;
};

// The daemon's host worker may take two batches in one pass and answers in its table's order:
// lights may come that much out of order.
Prefix take_prefix(const Filling& filling, const std::vector<Bytes>& came) {
    const std::size_t window = filling.from == End::Board ? 1 : 2 * BATCH_TO_BOARD;
    Prefix prefix;
    for (std::size_t next = 0;; ++prefix.count) {
        for (; prefix.awaited.size() < window && next < filling.messages.size(); ++next) {
            prefix.awaited.push_back(next);
        }
        const auto found =
            std::find_if(prefix.awaited.begin(), prefix.awaited.end(), [&](std::size_t place) {
                return prefix.count < came.size() && filling.messages[place] == came[prefix.count];
            });
        if (found == prefix.awaited.end()) {
            break;
        }
        prefix.awaited.erase(found);
    }
    return prefix;
}

}  // namespace

LoadResult send_random(Controller& controller, const std::vector<End>& ends, milliseconds time,
                       unsigned seed, const Pump& pump) {
    std::mt19937 generator(seed);
    const milliseconds start = controller.now();
    std::map<End, int> sent;
    while (controller.now() - start < time) {
        for (const End end : ends) {
            const int more = due(start, controller.now(), LINE_BYTES_PER_SECOND) - sent[end];
            Bytes bytes(static_cast<std::size_t>(std::max(more, 0)));
            std::generate(bytes.begin(), bytes.end(),
                          [&] { return static_cast<std::uint8_t>(generator()); });
            if (!bytes.empty() && controller.flushed(end) && controller.send(end, bytes)) {
                sent[end] += more;
            }
        }
        pump(TICK);
    }
    LoadResult result;
    for (const End end : ends) {
        result.summary += (result.summary.empty() ? "" : ", ") + std::string(name_of(end)) + " → " +
                          std::to_string(sent[end]) + " random bytes";
    }
    return result;
}

LoadResult flood(Controller& controller, const std::vector<End>& ends, int count,
                 const Pump& pump) {
    std::vector<Lane> lanes;
    for (const End end : ends) {
        lanes.emplace_back(controller, end, count);
    }
    LoadResult result;
    const auto done = [&] {
        return std::all_of(lanes.begin(), lanes.end(),
                           [](const Lane& lane) { return lane.done(); });
    };
    while (result.good && !done()) {
        pump(TICK);
        for (Lane& lane : lanes) {
            result.good = (lane.done() || lane.work()) && result.good;
        }
    }
    for (const Lane& lane : lanes) {
        result.summary += result.summary.empty() ? "" : "\n";
        result.summary += lane.summary();
    }
    return result;
}

LoadResult flood_pots(Controller& controller, int count, const Pump& pump) {
    const std::vector<const Control*> pots = choose_pots(controller.mapping());
    Arrivals arrivals(controller, End::Host);
    const milliseconds start = controller.now();
    std::size_t arrived = 0;
    for (int sent = 0; sent < count;) {
        for (const int allowed =
                 std::min(count, due(start, controller.now(), LINE_MESSAGES_PER_SECOND) + 1);
             sent < allowed; ++sent) {
            const Control& pot = *pots[static_cast<std::size_t>(sent) % pots.size()];
            const int position = (controller.board().position(pot.index) + 1) % 128;
            controller.send(End::Board, controller.board().turn(pot, position));
        }
        pump(TICK);
        arrived += arrivals.take().size();
    }
    milliseconds last_arrival = controller.now();
    while (count_missing(controller, pots) > 0 && controller.now() - last_arrival < PATIENCE) {
        pump(TICK);
        const std::size_t more = arrivals.take().size();
        arrived += more;
        last_arrival = more > 0 ? controller.now() : last_arrival;
    }
    arrived += arrivals.take().size();
    const auto missing = count_missing(controller, pots);
    return {missing == 0,
            "board → host: " + std::to_string(count) + " positions sent, " +
                std::to_string(arrived) + " arrived, " +
                std::to_string(count - static_cast<int>(arrived)) +
                " merged by the rate limit; last positions missing: " + std::to_string(missing)};
}

Filling fill(Controller& controller, End from, const Pump& pump) {
    const End to = other(from);
    const auto full = [&] { return controller.full(to); };
    Changes changes(controller, from);
    Filling filling{.failure = {}, .from = from, .messages = {}};
    // No two batches that follow each other change the same control.
    const std::size_t batch =
        std::min(from == End::Board ? BATCH_TO_HOST : BATCH_TO_BOARD, (changes.controls() + 1) / 2);
    if (changes.controls() < 2) {
        filling.failure = "the mapping has too few controls to fill a line with";
        return filling;
    }
    while (filling.fitting == 0 || filling.messages.size() < filling.fitting + BEYOND) {
        std::size_t sent = 0;
        do {  // up to the last control: what the daemon takes in one pass goes out in their order
            const Crossing crossing = changes.next();
            controller.send(from, crossing.sent);
            filling.messages.push_back(crossing.arrives);
        } while (++sent < batch && changes.turn() != 0);
        if (filling.messages.size() > MAX_FILLING) {
            filling.failure = "the line towards the " + std::string(name_of(to)) +
                              " does not fill up: it must have stopped reading";
            return filling;
        }
        if (!await(
                controller, pump, [&] { return controller.taken(from); }, PATIENCE)) {
            filling.failure = "the daemon has stopped taking what the " +
                              std::string(name_of(from)) + " sends, after " +
                              std::to_string(filling.messages.size()) + " messages";
            return filling;
        }
        if (filling.fitting == 0 && full() &&
            !await(
                controller, pump, [&] { return !full(); }, SETTLING)) {
            filling.fitting = filling.messages.size();
        }
    }
    pump(milliseconds(0));
    return filling;
}

FillingResult account(const Filling& filling, const std::vector<Bytes>& came) {
    const Prefix prefix = take_prefix(filling, came);
    const std::size_t whole = prefix.count;
    const std::vector<std::size_t>& awaited = prefix.awaited;
    const std::size_t sent = filling.messages.size();
    std::string text = std::string(name_of(filling.from)) + " → " + name_of(other(filling.from)) +
                       ": " + std::to_string(sent) + " messages sent, " + std::to_string(whole) +
                       " arrived";
    std::size_t cut = 0;
    if (whole < sent && whole < came.size()) {
        const Bytes& part = came[whole];
        cut = (filling.from == End::Host && begins_with({NOTE_ON, TRAFFIC_LIGHT, 0}, part)) ||
              std::any_of(awaited.begin(), awaited.end(), [&](std::size_t place) {
                  return begins_with(filling.messages[place], part);
              });
    }
    const std::size_t lost = sent - whole - cut;
    text += cut == 0 ? "" : ", the next was cut to " + hex(came[whole]);
    text += ", " + std::to_string(lost) + " found the line full";
    const bool missing = !awaited.empty() && awaited.front() < filling.fitting;
    if (missing) {
        text += "; there was room for " + std::to_string(filling.fitting) + ", but " +
                hex(filling.messages[awaited.front()]) + " is missing";
        text += whole == came.size() ? "" : ", and there came " + hex(came[whole]);
    }
    return {!missing && lost > 0, text, whole + cut};
}

}  // namespace bench
