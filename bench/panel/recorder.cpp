#include "panel/recorder.h"

#include <algorithm>
#include <map>
#include <utility>

#include "controller/transcript.h"

namespace bench {
namespace {

constexpr int NO_CONTROL = -1;
constexpr const char* REPORT_PATIENCE = " within 60000";

// What belongs together: all controls that have one number where it arrives, a platter and its
// partner too, and the way it goes.
using Key = std::pair<int, bool>;

struct Entry {
    const Played* step;
    Key key;
    const Event* sent;  // the last message of the step
    std::vector<const Event*> came = {};
};

bool is_pots_request(const Event& event) {
    return event.place == Place::Board && event.bytes == Bytes{NOTE_ON, 0, 0};
}

// Under which number it arrives at the other end.
int arrives_as(const Control& control, bool from_board) {
    return from_board ? control.host_sees : control.board_sees;
}

class Writer {
  public:
    Writer(const std::vector<Event>& events, const Setup& setup)
        : events_(events), mapping_(setup.mapping) {}

    void collect(const std::vector<Played>& played);
    std::string text() const;

  private:
    const Control* control(const Event& event) const {
        return event.control < 0 ? nullptr : &mapping_.at(event.control);
    }
    Key key_of(const Event& event) const;
    bool answers(const Entry& entry, const Event& came) const;
    std::string expectation(const Entry& entry, const Event& came) const;

    const std::vector<Event>& events_;
    const Mapping& mapping_;
    std::vector<Entry> entries_;
};

Key Writer::key_of(const Event& event) const {
    const bool from_board = (event.place == Place::Board) == event.to_daemon;
    const Control* seen = control(event);
    if (seen == nullptr) {
        return {NO_CONTROL, true};
    }
    if (event.to_daemon) {
        const bool note = from_board ? seen->sends_notes() : seen->is_note_light();
        const auto look_up = from_board ? &Mapping::seen_by_host : &Mapping::seen_by_board;
        const Control* const first =
            (mapping_.*look_up)(note ? NOTE_ON : CONTROL_CHANGE, arrives_as(*seen, from_board));
        seen = first == nullptr ? seen : first;
    }
    return {seen->index - (seen->kind == Kind::Partner ? TO_PARTNER : 0), from_board};
}

void Writer::collect(const std::vector<Played>& played) {
    std::map<Key, std::size_t> latest;
    auto next = played.begin();
    for (std::size_t i = 0; i < events_.size(); ++i) {
        const Event& event = events_[i];
        if (!event.is_message() || is_traffic_led(event)) {
            continue;
        }
        const Key key = is_pots_request(event) ? Key(NO_CONTROL, true) : key_of(event);
        if (!event.to_daemon) {
            if (const auto entry = latest.find(key); entry != latest.end()) {
                entries_[entry->second].came.push_back(&event);
            }
            continue;
        }
        next = std::find_if(next, played.end(), [&](const Played& step) { return i < step.end; });
        if (next == played.end() || i < next->first) {
            continue;  // an answer that the board gives by itself
        }
        if (i == next->first) {
            latest[key] = entries_.size();
            entries_.push_back({&*next, key, &event});
        }
        entries_.back().sent = &event;
    }
}

// The message is what this very step leads to, not what an earlier one did.
bool Writer::answers(const Entry& entry, const Event& came) const {
    const Control* const moved = control(*entry.sent);
    const Bytes &sent = entry.sent->bytes, &arrived = came.bytes;
    if (moved == nullptr || sent.size() != 3 || arrived.size() != 3) {
        return true;
    }
    if (entry.key.second) {
        return moved->sends_position() ? position_in(sent) == arrived[2]
                                       : (sent[0] & 0xF0) == (arrived[0] & 0xF0);
    }
    if (moved->kind == Kind::Meter) {
        return METER_ZERO + sent[2] / METER_WIDTH == arrived[2];
    }
    const bool off = (sent[0] & 0xF0) == NOTE_OFF && moved->extra != 0;
    return arrived[2] == (off ? 0 : sent[2]);
}

std::string Writer::expectation(const Entry& entry, const Event& came) const {
    const std::string until = came.place == Place::Board ? "board until " : "host until ";
    if (is_identity_request(came.bytes) || is_identity_reply(came.bytes)) {
        return until +
               (is_identity_request(came.bytes) ? "identity request\n" : "identity reply\n");
    }
    const Control* named = control(*entry.sent);
    if (named == nullptr || arrives_as(*named, entry.key.second) != came.bytes[1]) {
        named = control(came);
    }
    if (named == nullptr || mapping_.find(named->name) != named) {
        return until + hex(came.bytes) + (is_pots_request(came) ? REPORT_PATIENCE : "") + "\n";
    }
    const bool off = (came.bytes[0] & 0xF0) == NOTE_OFF;
    return until + named->name + (off ? " off " : " ") + std::to_string(came.bytes[2]) + "\n";
}

// Of a relative control only what one message led to, as long as nothing before it may be read
// together with it the next time.
std::string Writer::text() const {
    std::string text;
    std::map<Key, bool> may_merge;
    for (const Entry& entry : entries_) {
        const Control* const moved = control(*entry.sent);
        text += entry.step->step + "\n";
        if (moved == nullptr) {
            for (const Event* came : entry.came) {
                text += expectation(entry, *came);
            }
        } else if (entry.key.second && (moved->sends_steps() || moved->data_type == 1)) {
            const bool one = entry.came.size() == 1 && entry.step->end == entry.step->first + 1;
            const bool sure = one && moved->sends_steps() && !may_merge[entry.key];
            text += sure ? expectation(entry, *entry.came.front()) : "";
            may_merge[entry.key] |= !sure && entry.sent->bytes[2] != REST;
        } else if (!entry.came.empty() && answers(entry, *entry.came.back())) {
            text += expectation(entry, *entry.came.back());
        }
    }
    return text;
}

}  // namespace

std::string recording(const std::vector<Played>& played, const std::vector<Event>& events,
                      const Setup& setup) {
    Writer writer(events, setup);
    writer.collect(played);
    return "board drop\nhost drop\n" + writer.text() + "board drop\nhost drop\n";
}

}  // namespace bench
