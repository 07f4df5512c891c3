// Traffic by the thousand: random bytes, floods of good messages that are counted, and lines that
// are filled until they take no more.
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

// What was sent to fill the line towards an end that does not read.
struct Filling {
    End from = End::Board;        // who sent it
    std::vector<Bytes> messages;  // as they are to arrive
    std::size_t fitting = 0;      // so many there was room for
};

// Sends changes from one end until the line towards the other one takes no more, and some hundred
// beyond that. A Failure if the daemon does not take them all.
Filling fill(Controller& controller, End from, const Pump& pump);

struct FillingResult {
    bool good;
    std::string summary;
    std::size_t messages;  // so many of those that came belong to it; the last one may be cut
};

// Good if what came begins with all of the filling that there was room for, whole and in order, and
// not all of it came. One message after that may be cut short.
FillingResult account(const Filling& filling, const std::vector<Bytes>& came);

}  // namespace bench
