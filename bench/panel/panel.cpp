#include "panel/panel.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr milliseconds FRAME(33), SELDOM(250);  // what counts seconds is drawn now and then

}  // namespace

int Panel::run() {
    Clock::time_point drawn{};
    for (bool changed = true; !keys_.quits() && !Terminal::ending();) {
        const Clock::time_point now = Clock::now();
        if (now - drawn >= (changed ? FRAME : SELDOM)) {
            view_.draw();
            drawn = now;
            changed = false;
        }
        player_.step();
        changed |= keys_.take();
        changed |= view_.take_events();
    }
    return 0;
}

}  // namespace bench
