// What the panel tells of the traffic: the lines of the wire and of the log, filtered, paused and
// scrolled back, and the counters.
#pragma once

#include <array>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "controller/controller.h"
#include "panel/findings.h"

namespace bench {

struct MonitorLine {
    std::string text;
    Place place = Place::Log;
    bool to_daemon = false;
    Tone tone = Tone::Plain;
};

// Lines of which the last ones are shown, or those before a place that stays.
class Scroll {
  public:
    void add(MonitorLine line);
    // The lines that hold the filter, in either case, at most that many, the newest last.
    std::vector<const MonitorLine*> view(int height, const std::string& filter) const;
    // Goes back by so many of them, forward if negative; it stays there until follow().
    void back(int lines, const std::string& filter);
    void stay();
    // Stays with the first line of this tone on top of so many rows; `rows_of`: what a line takes.
    void show_first(Tone tone, int height, const std::function<int(const MonitorLine&)>& rows_of);
    void follow() { following_ = true; }
    bool following() const { return following_; }

  private:
    std::size_t last() const;

    std::deque<MonitorLine> lines_;
    std::size_t dropped_ = 0;  // lines that were given up at the old end
    std::size_t end_ = 0;      // the place that stays, counted from the first line ever
    bool following_ = true;
};

// What crosses, by the end it is at and its direction.
class Counters {
  public:
    void take(const Event& event, const Setup& setup);
    // Messages in the second before `now`.
    int rate(End end, bool to_daemon, milliseconds now) const;
    // Bytes that the bridge drops: of no control of the mapping, of another channel, of no message
    // that crosses.
    int dropped() const { return dropped_; }
    // Changes of pots and meters that went out as one with a later one.
    int merged() const { return merged_; }

  private:
    void count_merged(const Event& event, const Control& control);

    std::array<std::array<std::deque<milliseconds>, 2>, 2> times_;  // by end, by direction
    std::array<int, CONTROL_COUNT> last_{};     // value sent towards the daemon, plus one
    std::array<int, CONTROL_COUNT> waiting_{};  // changes that have not come out yet
    int dropped_ = 0;
    int merged_ = 0;
};

class Monitor {
  public:
    // Takes the events that it has not seen yet. Returns whether there were any.
    bool take(const Controller& controller);

    Scroll wire, log;
    Counters counters;
    Findings findings;

  private:
    std::size_t taken_ = 0;
};

}  // namespace bench
