// Writes what was played down as a scenario.
#pragma once

#include <string>
#include <vector>

#include "controller/controller.h"

namespace bench {

// A step that was played, and which of the events it sent.
struct Played {
    std::string step;
    std::size_t first = 0;
    std::size_t end = 0;
};

// The steps of a scenario that plays the same and expects the same: after each step what came of
// it. What may come otherwise the next time (readings that merged, steps of a control that moved on
// before the last ones had come) is left out.
std::string recording(const std::vector<Played>& played, const std::vector<Event>& events,
                      const Setup& setup);

}  // namespace bench
