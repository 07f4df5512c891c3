// Traffic by the thousand: random bytes, and floods of good messages that are counted.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "controller.h"

namespace bench {

struct LoadResult {
    bool good = true;
    std::string summary;  // counts; of a load that went wrong also what is missing
};

// Lets the controller work for a moment and looks after the daemon; may throw.
using Pump = std::function<void(milliseconds)>;

// Sends random bytes from the given ends, no faster than the serial line, for so long.
LoadResult send_random(Controller& controller, const std::vector<End>& ends, milliseconds time,
                       unsigned seed, const Pump& pump);

// Sends `count` messages from each given end at the serial line's full rate: presses and releases
// from the board, light commands from the host, each changing a value, so few in flight that no two
// are of one control. Good if every one of them arrives at the other end.
LoadResult flood(Controller& controller, const std::vector<End>& ends, int count, const Pump& pump);

// Sends `count` positions of all pots from the board. The daemon's rate limit may merge them; good
// if the last position of every pot arrives.
LoadResult flood_pots(Controller& controller, int count, const Pump& pump);

}  // namespace bench
