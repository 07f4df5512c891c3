// Measurements of the daemon, side by side with relays that only copy bytes.
#pragma once

#include <string>

#include "world/world.h"

namespace bench {

struct MeasurePlan {
    std::string relay;            // the program
    std::string static_twin;      // the daemon, linked as on the controller; may be empty
    std::string directory = ".";  // where the files for the plot go
};

// Measures, prints tables in Markdown and writes what is to be plotted as tab-separated values.
// Throws if a message is lost.
void measure(const WorldConfig& config, const MeasurePlan& plan);

}  // namespace bench
