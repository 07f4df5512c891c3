// Records what the daemon's modules send, in place of the board's line, the host's and the console.
#pragma once

#include <cstdio>
#include <span>
#include <string_view>

#include "common.h"

namespace engine {

enum receiver { TO_HOST, TO_BOARD, TO_CONSOLE };

struct sent {
    receiver to;
    std::string_view bytes;  // one message, or what was drawn
};

// What was sent since forget_sent(). Beyond what fits, the latest is left out.
std::span<const sent> all_sent();
void forget_sent();

// Whether what the daemon refuses becomes a finding.
void hear_daemon(bool on);

// Adds to it.
void record(receiver to, std::string_view bytes);

}  // namespace engine
