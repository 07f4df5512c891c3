// Soak: messages by the million through the daemon, each accounted for, and what it holds before
// and after.
#pragma once

#include <cstdint>

#include "world/world.h"

namespace bench {

struct SoakPlan {
    std::int64_t count = 10'000'000;  // messages each way
    int seconds = 0;                  // not 0: for that long, at most `count`
    int query_every = 10'000;         // a status query after that many messages of the host
};

// Runs it and prints the account. False if a message is missing or came unexpected, if the daemon
// had anything to say, or if it holds more memory or descriptors than before.
bool soak(const WorldConfig& config, const SoakPlan& plan);

}  // namespace bench
