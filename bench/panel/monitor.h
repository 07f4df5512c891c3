// What the panel tells of the traffic: the lines of the wire and of the log, paused and scrolled
// back, and what has moved.
#pragma once

#include <array>
#include <deque>
#include <string>
#include <vector>

#include "controller/controller.h"
#include "panel/terminal.h"

namespace bench {

struct MonitorLine {
    std::string text;
    Ink ink;
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
    void follow() { following_ = true; }
    bool following() const { return following_; }

  private:
    std::size_t last() const;

    std::deque<MonitorLine> lines_;
    std::size_t dropped_ = 0;  // lines that were given up at the old end
    std::size_t end_ = 0;      // the place that stays, counted from the first line ever
    bool following_ = true;
};

// A relative control: how far it was moved in all, and whether it has come to rest. Any control: a
// real board is there, and it has not spoken yet.
struct Motion {
    int travel = 0;
    bool moves = false;
    bool silent = false;
};
using Motions = std::array<Motion, CONTROL_COUNT>;

class Monitor {
  public:
    // Takes the events that it has not seen yet. Returns whether there were any.
    bool take(const Controller& controller);

    Scroll wire, log, findings;
    Motions motions{};

  private:
    std::size_t taken_ = 0;
};

}  // namespace bench
