// Traffic by the thousand: random bytes, and floods of good messages that are counted.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "controller/account.h"

namespace bench {

// Ends a scenario.
struct Failure {
    std::string what;
};

// Lets the controller work for a moment and looks after the daemon; may throw.
using Pump = std::function<void(milliseconds)>;

// Sends random bytes from the given ends, no faster than the serial line, for that long; returns
// how many.
std::string send_random(Controller& controller, const std::vector<End>& ends, milliseconds time,
                        unsigned seed, const Pump& pump);

// Sends by a plan from each given end; returns the counts. A Failure if not everything arrives at
// the other end.
std::string flood(Controller& controller, const std::vector<End>& ends, const Plan& plan,
                  const Pump& pump);

}  // namespace bench
