// The full-screen panel: a virtual controller that a person plays with keys and mouse.
#pragma once

#include "panel/keys.h"
#include "panel/player.h"
#include "panel/view.h"

namespace bench {

class Panel {
  public:
    // Starts the bridge, then takes the terminal. Throws std::runtime_error if either cannot be
    // done.
    explicit Panel(const PanelConfig& config) : player_(config), view_(player_) {}
    // Runs until the user or a signal ends it; returns the exit status of the program.
    int run();

  private:
    Player player_;
    View view_;
    Keys keys_{player_, view_};
};

}  // namespace bench
