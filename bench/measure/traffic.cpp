#include "measure/traffic.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace bench {
namespace {

constexpr std::size_t READ_SIZE = 65536;
constexpr std::size_t MOST_LATENCIES = 1 << 20;
constexpr std::size_t SLOTS = 256;  // notes, then controllers
constexpr auto PATIENCE = std::chrono::seconds(10);
constexpr auto TENDING = std::chrono::milliseconds(50);
constexpr std::uint8_t RELEASE_VELOCITY = 0x40;
constexpr int METER_WIDTH = 18;
constexpr int METER_LEVELS = 8;

std::uint8_t byte(int value) {
    return static_cast<std::uint8_t>(value);
}

bool is_controller(const Control& control, End from) {
    return from == End::Board ? control.host_sees_position() : control.kind == Kind::Meter;
}

bool is_note(const Control& control, End from) {
    const bool light = control.is_note_light() && control.index != FORGET_INDEX &&
                       control.board_sees != TRAFFIC_LIGHT;
    return from == End::Board ? control.sends_notes() : light;
}

bool is_unshared(const Mapping& mapping, const Control& control, End from, std::uint8_t status) {
    if (from == End::Board) {
        return mapping.seen_by_host(status, control.host_sees) == &control;
    }
    return mapping.sent_by_host(status, control.host_sends) == &control &&
           mapping.seen_by_board(status, control.board_sees) == &control;
}

}  // namespace

Track::Track(const Control& control, End from, const Host& host, bool relayed)
    : control_(&control), from_(from), host_(&host), relayed_(relayed) {}

bool Track::sends_notes() const {
    return !is_controller(*control_, from_);
}

Crossing Track::next() {
    const Control& control = *control_;
    const int channel = host_->channel();
    Crossing crossing;
    ++value_;
    if (from_ == End::Board && control.sends_notes()) {
        value_ %= 2;
        crossing.sent =
            (value_ == 1 ? Board::press(control) : Board::release(control, RELEASE_VELOCITY))
                .front();
        crossing.arrives = {byte(crossing.sent[0] | channel), byte(control.host_sees),
                            crossing.sent[2]};
    } else if (from_ == End::Board) {
        value_ %= 128;
        crossing.sent = Board::turn(control, value_).front();
        crossing.arrives = {byte(CONTROL_CHANGE | channel), byte(control.host_sees), byte(value_)};
    } else if (control.kind == Kind::Meter) {
        value_ %= METER_LEVELS;
        crossing.sent = host_->meter(control, value_ * METER_WIDTH);
        crossing.arrives = {CONTROL_CHANGE, byte(control.board_sees), byte(METER_ZERO + value_)};
    } else {
        value_ = value_ > 127 ? 1 : value_;
        crossing.sent = host_->light(control, value_);
        crossing.arrives = {NOTE_ON, byte(control.board_sees), byte(value_)};
    }
    if (relayed_) {
        crossing.arrives = crossing.sent;
    }
    return crossing;
}

std::vector<Track> choose_tracks(const Mapping& mapping, const Host& host, End from, bool relayed) {
    std::vector<Track> tracks;
    for (const Control& control : mapping.controls()) {
        const bool controller = is_controller(control, from);
        const std::uint8_t status = controller ? CONTROL_CHANGE : NOTE_ON;
        if ((controller || is_note(control, from)) && is_unshared(mapping, control, from, status)) {
            tracks.emplace_back(control, from, host, relayed);
        }
    }
    return tracks;
}

Stream::Stream(End from, int from_fd, int to_fd, std::vector<Track> tracks)
    : from_(from), from_fd_(from_fd), to_fd_(to_fd), by_slot_(SLOTS, -1) {
    for (Track& track : tracks) {
        by_slot_[slot(Track(track).next().arrives)] = static_cast<int>(sources_.size());
        sources_.push_back({std::move(track), 0, {}});
    }
}

void Stream::begin(const Plan& plan) {
    plan_ = plan;
    for (Source& source : sources_) {
        const bool notes = source.track.sends_notes();
        source.depth = static_cast<std::size_t>(notes ? plan.note_depth : plan.controller_depth);
    }
    sent_ = arrived_ = merged_ = refused_ = late_ = queries_ = queries_arrived_ = 0;
    start_ = last_arrival_ = Clock::time_point{};
    latencies_.clear();
}

// Notes on and off are one kind, control changes the other.
std::size_t Stream::slot(const Bytes& message) {
    const bool note = (message[0] & 0xE0) == 0x80;
    return (note ? 0U : 128U) + message[1];
}

std::optional<Clock::time_point> Stream::due() const {
    if (sent_ == plan_.count || under_way_ >= plan_.window || wants_room()) {
        return std::nullopt;
    }
    if (plan_.per_second == 0 || start_ == Clock::time_point{}) {
        return Clock::time_point{};
    }
    return start_ + std::chrono::nanoseconds(sent_ * 1'000'000'000 / plan_.per_second);
}

void Stream::send(Clock::time_point now) {
    if (start_ == Clock::time_point{}) {
        start_ = last_arrival_ = now;
    }
    std::int64_t allowed = std::min(plan_.count - sent_, plan_.window - under_way_);
    if (plan_.per_second > 0) {
        const std::int64_t elapsed = (now - start_).count();
        const std::int64_t by_now =
            static_cast<std::int64_t>(static_cast<double>(elapsed) * 1e-9 * plan_.per_second) + 1;
        allowed = std::min(allowed, by_now - sent_);
    }
    if (queue_.empty()) {
        prepare(allowed);
    }
    write_out();
}

void Stream::prepare(std::int64_t allowed) {
    for (std::size_t tried = 0; allowed > 0 && tried < sources_.size(); ++tried) {
        Source& source = sources_[next_source_];
        next_source_ = (next_source_ + 1) % sources_.size();
        if (source.under_way.size() >= source.depth) {
            continue;
        }
        Crossing crossing = source.track.next();
        queue_.insert(queue_.end(), crossing.sent.begin(), crossing.sent.end());
        source.under_way.push_back({std::move(crossing.arrives), Clock::now()});
        ++sent_;
        ++under_way_;
        --allowed;
        tried = 0;
        if (plan_.query_every > 0 && sent_ % plan_.query_every == 0) {
            const Bytes query = Host::identity_request();
            queue_.insert(queue_.end(), query.begin(), query.end());
            ++queries_;
        }
    }
}

void Stream::write_out() {
    if (queue_.empty()) {
        return;
    }
    const ssize_t size = write(from_fd_, queue_.data(), queue_.size());
    refused_ += size < static_cast<ssize_t>(queue_.size()) ? 1 : 0;
    if (size > 0) {
        queue_.erase(queue_.begin(), queue_.begin() + size);
    }
}

void Stream::receive() {
    static std::array<std::uint8_t, READ_SIZE> data;
    const ssize_t size = read(to_fd_, data.data(), data.size());
    if (size <= 0) {
        return;
    }
    const Clock::time_point now = Clock::now();
    for (const Bytes& message : splitter_.feed(data.data(), static_cast<std::size_t>(size))) {
        take(message, now);
    }
}

// What the daemon tells the board unasked, or for a query.
bool Stream::take_extra(const Bytes& message) {
    if (from_ != End::Host) {
        return false;
    }
    queries_arrived_ += is_identity_request(message) ? 1 : 0;
    const bool wants_pots = message == Bytes{NOTE_ON, 0, 0} && queries_ > 0;
    return is_identity_request(message) || wants_pots ||
           (message.size() == 3 && message[0] == NOTE_ON && message[1] == TRAFFIC_LIGHT);
}

// What is under way of the control that the message is of.
std::deque<Stream::UnderWay>* Stream::find_under_way(const Bytes& message) {
    const bool known = message.size() == 3 && (message[1] & 0x80) == 0;
    const int index = known ? by_slot_[slot(message)] : -1;
    return index >= 0 ? &sources_[static_cast<std::size_t>(index)].under_way : nullptr;
}

bool Stream::take_expected(const Bytes& message, Clock::time_point now) {
    std::deque<UnderWay>* const under_way = find_under_way(message);
    if (under_way == nullptr) {
        return false;
    }
    const auto found = std::find_if(under_way->begin(), under_way->end(),
                                    [&](const UnderWay& one) { return one.message == message; });
    if (found == under_way->end()) {
        return false;
    }
    if (latencies_.size() < MOST_LATENCIES) {
        latencies_.push_back(static_cast<std::uint32_t>((now - found->at).count()));
    }
    const auto left_out = found - under_way->begin();
    under_way->erase(under_way->begin(), found + 1);
    merged_ += left_out;
    under_way_ -= left_out + 1;
    ++arrived_;
    late_ += sent_ == plan_.count && queue_.empty() ? 1 : 0;
    last_arrival_ = now;
    return true;
}

void Stream::take(const Bytes& message, Clock::time_point now) {
    if (!take_expected(message, now) && !take_extra(message) && unexpected_.empty()) {
        unexpected_ = hex(message) + "   " + describe(message);
    }
}

bool Stream::done() const {
    return sent_ == plan_.count && under_way_ == 0 && queue_.empty() &&
           queries_arrived_ == queries_;
}

namespace {

// Waits until a stream has something to read, room to write or something due, and reads.
void wait_and_receive(const std::vector<Stream*>& streams) {
    Clock::time_point wake = Clock::now() + TENDING;
    std::vector<pollfd> polled;
    for (const Stream* const stream : streams) {
        wake = std::min(wake, stream->due().value_or(wake));
        polled.push_back({stream->to_fd(), POLLIN, 0});
    }
    for (const Stream* const stream : streams) {
        polled.push_back({stream->wants_room() ? stream->from_fd() : -1, POLLOUT, 0});
    }
    const std::int64_t wait = std::max<std::int64_t>(0, (wake - Clock::now()).count());
    const timespec timeout = {wait / 1'000'000'000, wait % 1'000'000'000};
    ppoll(polled.data(), polled.size(), &timeout, nullptr);
    for (std::size_t i = 0; i < streams.size(); ++i) {
        if (polled[i].revents != 0) {
            streams[i]->receive();
        }
    }
}

}  // namespace

bool run_streams(const std::vector<Stream*>& streams, const std::function<void()>& tend) {
    for (Clock::time_point tended = Clock::now();;) {
        const Clock::time_point now = Clock::now();
        bool done = true;
        for (Stream* const stream : streams) {
            stream->send(now);
            done = done && stream->done();
            const bool late = !stream->done() && now - stream->last_arrival() > PATIENCE;
            if (!stream->unexpected().empty() || late) {
                return false;
            }
        }
        if (done) {
            return true;
        }
        wait_and_receive(streams);
        if (now - tended > TENDING) {
            tended = now;
            tend();
        }
    }
}

std::string summary(const Stream& stream) {
    std::string text = stream.from() == End::Board ? "board → host: " : "host → board: ";
    text += std::to_string(stream.sent()) + " sent, " + std::to_string(stream.arrived()) +
            " arrived, " + std::to_string(stream.merged()) + " merged, ";
    text += std::to_string(stream.sent() - stream.arrived() - stream.merged()) + " missing";
    if (stream.queries() > 0) {
        text += ", " + std::to_string(stream.queries()) + " status queries";
    }
    if (!stream.unexpected().empty()) {
        text += "\n  came unexpected: " + stream.unexpected();
    }
    return text;
}

}  // namespace bench
