// Lines that are filled until they take no more.
#pragma once

#include <string>
#include <vector>

#include "scenario/flood.h"

namespace bench {

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
