// Traffic by the thousand: random bytes, floods of good messages that are counted, and lines that
// are filled until they take no more.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "controller/controller.h"

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

// What was sent to fill the line towards an end that does not read.
struct Filling {
    std::string failure;          // empty: the line is full
    End from = End::Board;        // who sent it
    std::vector<Bytes> messages;  // as they are to arrive
    std::size_t fitting = 0;      // so many there was room for
};

// Sends changes from one end until the line towards the other one takes no more, and some hundred
// beyond that. The daemon must take them all.
Filling fill(Controller& controller, End from, const Pump& pump);

struct FillingResult {
    bool good;
    std::string summary;
    std::size_t messages;  // so many of those that came belong to it; the last one may be cut
};

// Good if what came begins with all of the filling that there was room for, whole and in order, and
// not all of it came. One message behind that may be cut short.
FillingResult account(const Filling& filling, const std::vector<Bytes>& came);

}  // namespace bench
