#include "panel/monitor.h"

#include <algorithm>
#include <cstdio>

#include "controller/transcript.h"

namespace bench {
namespace {

constexpr std::size_t MOST_LINES = 20000;
constexpr milliseconds SECOND(1000);

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool holds(const std::string& text, const std::string& part) {
    return std::search(text.begin(), text.end(), part.begin(), part.end(),
                       [](char a, char b) { return lower(a) == lower(b); }) != text.end();
}

std::string stamped(const Event& event, const Mapping& mapping) {
    char stamp[24];
    std::snprintf(stamp, sizeof stamp, "%9.3f  ", static_cast<double>(event.time.count()) / 1000.0);
    return stamp + transcript_line(event, mapping);
}

// The host gets system-exclusive messages, the board only the Identity Request to all devices; a
// channel message has to be one of a control, and on the channel that its end sends on.
bool is_dropped(const Event& event, const Setup& setup) {
    const bool from_host = event.place == Place::Host;
    const std::uint8_t status = event.bytes[0];
    if (status == SYSEX_START) {
        return from_host && event.bytes != Host::identity_request();
    }
    const bool note = (status & 0xE0) == NOTE_OFF;
    const bool switches_power =
        !from_host && note && event.bytes.size() == 3 && event.bytes[1] == POWER_SWITCH;
    const bool any_channel = !from_host && !note;
    const bool right_channel = any_channel || (status & 0x0F) == (from_host ? setup.channel : 0);
    return !right_channel || (event.control < 0 && !switches_power);
}

}  // namespace

// --- Scroll ---

void Scroll::add(MonitorLine line) {
    lines_.push_back(std::move(line));
    if (lines_.size() > MOST_LINES) {
        lines_.pop_front();
        ++dropped_;
    }
}

std::size_t Scroll::last() const {
    return following_ ? lines_.size()
                      : std::clamp(end_, dropped_, dropped_ + lines_.size()) - dropped_;
}

std::vector<const MonitorLine*> Scroll::view(int height, const std::string& filter) const {
    std::vector<const MonitorLine*> lines;
    for (std::size_t i = last(); i > 0 && static_cast<int>(lines.size()) < height; --i) {
        if (holds(lines_[i - 1].text, filter)) {
            lines.push_back(&lines_[i - 1]);
        }
    }
    std::reverse(lines.begin(), lines.end());
    return lines;
}

void Scroll::stay() {
    end_ = dropped_ + last();
    following_ = false;
}

void Scroll::back(int lines, const std::string& filter) {
    const bool was_following = following_;
    std::size_t end = last();
    for (; lines > 0 && end > 1; --end) {
        lines -= holds(lines_[end - 1].text, filter) ? 1 : 0;
    }
    for (; lines < 0 && end < lines_.size(); ++end) {
        lines += holds(lines_[end].text, filter) ? 1 : 0;
    }
    end_ = dropped_ + end;
    following_ = was_following && end == lines_.size();
}

// --- Counters ---

void Counters::take(const Event& event, const Setup& setup) {
    if (!event.is_message() || is_traffic_led(event)) {
        return;
    }
    std::deque<milliseconds>& times = times_[event.place == Place::Board ? 0 : 1][event.to_daemon];
    times.push_back(event.time);
    while (times.front() + SECOND < event.time) {
        times.pop_front();
    }
    if (event.to_daemon && is_dropped(event, setup)) {
        dropped_ += static_cast<int>(event.bytes.size());
    } else if (event.control >= 0 && event.bytes.size() == 3) {
        count_merged(event, setup.mapping.at(event.control));
    }
}

void Counters::count_merged(const Event& event, const Control& control) {
    const bool limited =
        control.kind == Kind::Meter || (control.sends_position() && control.data_type == 0);
    if (!limited) {
        return;
    }
    const auto index = static_cast<std::size_t>(control.index);
    if (!event.to_daemon) {
        merged_ += std::max(0, waiting_[index] - 1);
        waiting_[index] = 0;
        return;
    }
    // As far as the other end can tell it.
    const int value =
        control.kind == Kind::Meter ? event.bytes[2] / METER_WIDTH : position_in(event.bytes);
    if (last_[index] != value + 1) {
        last_[index] = value + 1;
        ++waiting_[index];
    }
}

int Counters::rate(End end, bool to_daemon, milliseconds now) const {
    const std::deque<milliseconds>& times = times_[end == End::Board ? 0 : 1][to_daemon];
    return static_cast<int>(times.end() -
                            std::lower_bound(times.begin(), times.end(), now - SECOND));
}

// --- Monitor ---

bool Monitor::take(const Controller& controller) {
    const std::vector<Event>& events = controller.events();
    const bool some = taken_ < events.size();
    for (; taken_ < events.size(); ++taken_) {
        const Event& event = events[taken_];
        counters.take(event, controller.setup());
        if (event.place == Place::Log || event.place == Place::World) {
            log.add({event.text, event.place, false});
        }
        if (event.place != Place::Log && event.place != Place::Console && !is_traffic_led(event)) {
            wire.add({stamped(event, controller.mapping()), event.place, event.to_daemon});
        }
    }
    return some;
}

}  // namespace bench
