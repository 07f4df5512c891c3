// The controller has one core: what the daemon does when it has to share it.
#pragma once

#include <string>

#include "world/world.h"

namespace bench {

// Pins the daemon, and relays in its place, to one core and everything else to the others; prints
// tables in Markdown. With one core only it says so and measures nothing. Throws if a message is
// lost.
void measure_one_core(const WorldConfig& config, const std::string& relay);

}  // namespace bench
