// Measurements of the daemon, side by side with a relay that only copies bytes.
#pragma once

#include <string>

#include "world/world.h"

namespace bench {

struct MeasurePlan {
    std::string emulated_daemon;  // the controller's, for its memory; may be empty
    std::string directory = ".";  // where the files for the plot go
};

// Measures, prints tables in Markdown and writes what is to be plotted as tab-separated values.
// Only the emulated daemon runs under the emulator. Throws if a message is lost.
void measure(const WorldConfig& config, const MeasurePlan& plan);

// In the daemon's place: copies what comes on either line to the other one, and never sleeps.
[[noreturn]] void relay();

}  // namespace bench
