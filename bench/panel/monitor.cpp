#include "panel/monitor.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "controller/transcript.h"

namespace bench {
namespace {

constexpr std::size_t MOST_LINES = 20000;
constexpr Ink FROM_DAEMON[] = {{151}, {222}, {245}, {252}, {245}, {231, 124, true}};  // by place
constexpr Ink TO_DAEMON[] = {{114}, {180}};

bool holds(const std::string& text, const std::string& part) {
    return strcasestr(text.c_str(), part.c_str()) != nullptr;
}

MonitorLine line_of(const Event& event, std::string text) {
    const auto place = static_cast<std::size_t>(event.place);
    return {std::move(text), event.to_daemon ? TO_DAEMON[place] : FROM_DAEMON[place]};
}

std::string stamped(const Event& event, const Mapping& mapping) {
    char stamp[24];
    std::snprintf(stamp, sizeof stamp, "%8.3f  ", static_cast<double>(event.time.count()) / 1000.0);
    return stamp + transcript_line(event, mapping);
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

// --- Monitor ---

bool Monitor::take(const Controller& controller) {
    const std::vector<Event>& events = controller.events();
    const bool some = taken_ < events.size();
    for (; taken_ < events.size(); ++taken_) {
        const Event& event = events[taken_];
        if ((event.place == Place::Log || event.place == Place::World) && !event.text.empty()) {
            log.add(line_of(event, event.text));
        }
        if (event.place != Place::Log && event.place != Place::Console && !is_traffic_led(event)) {
            wire.add(line_of(event, stamped(event, controller.mapping())));
        }
        if (event.sent_by(End::Board) && event.control >= 0 &&
            controller.mapping().at(event.control).sends_steps()) {
            Motion& motion = motions[static_cast<std::size_t>(event.control)];
            motion.travel += event.bytes[2] - REST;
            motion.moves = event.bytes[2] != REST;
        }
    }
    return some;
}

}  // namespace bench
