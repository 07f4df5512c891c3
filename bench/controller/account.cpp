#include "controller/account.h"

#include <algorithm>

namespace bench {
namespace {

constexpr std::size_t MOST_LATENCIES = 1 << 20;
constexpr std::size_t SLOTS = 256;  // notes, then controllers
constexpr auto PATIENCE = std::chrono::seconds(10);
constexpr auto QUIET = std::chrono::milliseconds(300);  // after the last that a line has not lost
constexpr auto STANDSTILL = std::chrono::milliseconds(100);  // longer than a round takes
constexpr std::size_t MOST_NAMED = 5;                        // of the messages that are missing
constexpr std::uint8_t RELEASE_VELOCITY = 0x40;

bool is_controller(const Control& control, End from) {
    return from == End::Board ? control.host_sees_position() : control.kind == Kind::Meter;
}

bool is_note(const Control& control, End from) {
    const bool light = control.is_note_light() && control.index != FORGET_INDEX &&
                       control.board_sees != TRAFFIC_LED;
    return from == End::Board ? control.sends_notes() : light;
}

bool is_unshared(const Mapping& mapping, const Control& control, End from, std::uint8_t status) {
    if (from == End::Board) {
        return mapping.seen_by_host(status, control.host_sees) == &control;
    }
    return mapping.sent_by_host(status, control.host_sends) == &control &&
           mapping.seen_by_board(status, control.board_sees) == &control;
}

// Where a control stands, as its end has it: of a light what the host last asked for, since the
// board need not have seen it.
int standing(Controller& controller, End from, const Control& control) {
    const Board& board = controller.board();
    if (from == End::Board) {
        return control.sends_notes() ? board.pressed(control.index) : board.position(control.index);
    }
    int light = board.light(control.index);
    for (const Event& event : controller.events()) {
        if (event.sent_by(End::Host) && event.control == control.index) {
            light = event.bytes[2];
        }
    }
    return light;
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
        value_ %= METER_TOP + 1;
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

std::vector<Track> running_tracks(Controller& controller, End from) {
    std::vector<Track> tracks = choose_tracks(controller.mapping(), controller.host(), from, false);
    for (Track& track : tracks) {
        track.start_from(standing(controller, from, track.control()));
    }
    return tracks;
}

Account::Account(End from, std::vector<Track> tracks) : from_(from), by_slot_(SLOTS, -1) {
    for (Track& track : tracks) {
        by_slot_[slot(Track(track).next().arrives)] = static_cast<int>(sources_.size());
        sources_.push_back({std::move(track), 0, {}});
    }
}

void Account::begin(const Plan& plan) {
    plan_ = plan;
    for (Source& source : sources_) {
        const bool notes = source.track.sends_notes();
        source.depth = static_cast<std::size_t>(notes ? plan.note_depth : plan.controller_depth);
    }
    sent_ = arrived_ = merged_ = queries_ = queries_arrived_ = 0;
    start_ = last_arrival_ = Clock::time_point{};
    waited_ = {};
    latencies_.clear();
}

// Notes on and off are one kind, control changes the other.
std::size_t Account::slot(const Bytes& message) {
    const bool note = (message[0] & 0xE0) == 0x80;
    return (note ? 0U : 128U) + message[1];
}

std::optional<Clock::time_point> Account::due() const {
    if (all_sent() || under_way_ >= plan_.window) {
        return std::nullopt;
    }
    if (plan_.per_second == 0 || start_ == Clock::time_point{}) {
        return Clock::time_point{};
    }
    return start_ + std::chrono::nanoseconds(sent_ * 1'000'000'000 / plan_.per_second);
}

Bytes Account::make(Clock::time_point now) {
    if (start_ == Clock::time_point{}) {
        start_ = last_arrival_ = now;
    }
    long long allowed = std::min(plan_.count - sent_, plan_.window - under_way_);
    if (plan_.per_second > 0) {
        const double elapsed = std::chrono::duration<double>(now - start_).count();
        allowed = std::min(allowed, static_cast<long long>(elapsed * plan_.per_second) + 1 - sent_);
    }
    Bytes made;
    for (std::size_t tried = 0; allowed > 0 && tried < sources_.size(); ++tried) {
        Source& source = sources_[next_source_];
        next_source_ = (next_source_ + 1) % sources_.size();
        if (source.under_way.size() >= source.depth) {
            continue;
        }
        Crossing crossing = source.track.next();
        made.insert(made.end(), crossing.sent.begin(), crossing.sent.end());
        source.under_way.push_back({std::move(crossing.arrives), Clock::now()});
        ++sent_;
        ++under_way_;
        --allowed;
        tried = 0;
        if (plan_.query_every > 0 && sent_ % plan_.query_every == 0) {
            const Bytes query = Host::identity_request();
            made.insert(made.end(), query.begin(), query.end());
            ++queries_;
        }
    }
    return made;
}

// What the daemon tells the board unasked, or for a query.
bool Account::take_extra(const Bytes& message) {
    if (from_ != End::Host) {
        return false;
    }
    queries_arrived_ += is_identity_request(message) ? 1 : 0;
    const bool wants_pots = message == Bytes{NOTE_ON, 0, 0} && queries_ > 0;
    return is_identity_request(message) || wants_pots ||
           (message.size() == 3 && message[0] == NOTE_ON && message[1] == TRAFFIC_LED);
}

bool Account::take_expected(const Bytes& message, Clock::time_point now) {
    const bool known = message.size() == 3 && (message[1] & 0x80) == 0;
    const int index = known ? by_slot_[slot(message)] : -1;
    if (index < 0) {
        return false;
    }
    std::deque<UnderWay>& under_way = sources_[static_cast<std::size_t>(index)].under_way;
    const auto found = std::find_if(under_way.begin(), under_way.end(),
                                    [&](const UnderWay& one) { return one.message == message; });
    if (found == under_way.end()) {
        return false;
    }
    if (latencies_.size() < MOST_LATENCIES) {
        latencies_.push_back(static_cast<std::uint32_t>((now - found->at).count()));
    }
    const auto left_out = found - under_way.begin();
    under_way.erase(under_way.begin(), found + 1);
    merged_ += left_out;
    under_way_ -= left_out + 1;
    ++arrived_;
    last_arrival_ = now;
    waited_ = {};
    return true;
}

void Account::take(const Bytes& message, Clock::time_point now) {
    if (!take_expected(message, now) && !take_extra(message) && unexpected_.empty()) {
        unexpected_ = hex(message) + "   " + describe(message);
    }
}

bool Account::done() const {
    if (plan_.lossy) {
        return all_sent() && arrived_ > 0 && waited_ > QUIET;
    }
    return all_sent() && under_way_ == 0 && queries_arrived_ == queries_;
}

bool Account::failed(Clock::time_point now) {
    waited_ += std::min<Clock::duration>(now - last_asked_, STANDSTILL);
    last_asked_ = now;
    return !unexpected_.empty() || (waited_ > PATIENCE && !done());
}

double Account::seconds() const {
    return std::chrono::duration<double>(last_arrival_ - start_).count();
}

std::string Account::summary() const {
    std::string text = way(from_) + ": " + std::to_string(sent_) + " sent, " +
                       std::to_string(arrived_) + " arrived, " + std::to_string(merged_) +
                       " merged, " + std::to_string(missing()) + " missing";
    if (queries_ > 0) {
        text += ", " + std::to_string(queries_) + " status queries";
    }
    if (sources_.empty()) {
        text += "; the mapping has no controls to send from";
    }
    std::size_t named = 0;
    for (const Source& source : sources_) {
        for (const UnderWay& one : source.under_way) {
            text += named++ < MOST_NAMED ? "\n  missing: " + hex(one.message) : "";
        }
    }
    if (!unexpected_.empty()) {
        text += "\n  came unexpected: " + unexpected_;
    }
    return text;
}

}  // namespace bench
