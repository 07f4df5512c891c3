#include "scenario/fill.h"

#include <algorithm>

namespace bench {
namespace {

constexpr milliseconds TICK(1);
constexpr milliseconds PATIENCE(10000);  // without any arrival
// So many messages of a filling are sent before the daemon is asked: what it takes to the host in
// one pass, and half of what finds room in a line that is just not full.
constexpr std::size_t BATCH_TO_HOST = 21;
constexpr std::size_t BATCH_TO_BOARD = 32;
// Three times what the kernel finds room for in a line that it calls full.
constexpr std::size_t BEYOND = 960;
constexpr std::size_t MAX_FILLING = 20000;  // messages; a line holds a quarter of them
constexpr milliseconds SETTLING(20);        // of a line that seems full

bool await(Controller& controller, const Pump& pump, const std::function<bool()>& state,
           milliseconds patience) {
    const milliseconds deadline = controller.now() + patience;
    while (!state()) {
        if (controller.now() >= deadline) {
            return false;
        }
        pump(TICK);
    }
    return true;
}

std::vector<Track> note_tracks(Controller& controller, End from) {
    std::vector<Track> tracks = running_tracks(controller, from);
    std::erase_if(tracks, [](const Track& track) { return !track.sends_notes(); });
    if (tracks.size() < 2) {
        throw Failure{"the mapping has too few controls to fill a line with"};
    }
    return tracks;
}

bool begins_with(const Bytes& whole, const Bytes& part) {
    return part.size() < whole.size() && std::equal(part.begin(), part.end(), whole.begin());
}

}  // namespace

Filling fill(Controller& controller, End from, const Pump& pump) {
    const End to = other(from);
    const auto full = [&] { return controller.full(to); };
    std::vector<Track> tracks = note_tracks(controller, from);
    Filling filling{.from = from, .messages = {}};
    // No two batches that follow each other change the same control.
    const std::size_t batch =
        std::min(from == End::Board ? BATCH_TO_HOST : BATCH_TO_BOARD, (tracks.size() + 1) / 2);
    while (filling.fitting == 0 || filling.messages.size() < filling.fitting + BEYOND) {
        std::size_t sent = 0;
        do {  // up to the last control: what the daemon takes in one pass goes out in their order
            const Crossing crossing = tracks[filling.messages.size() % tracks.size()].next();
            controller.send(from, crossing.sent);
            filling.messages.push_back(crossing.arrives);
        } while (++sent < batch && filling.messages.size() % tracks.size() != 0);
        if (filling.messages.size() > MAX_FILLING) {
            throw Failure{"the line towards the " + std::string(name(to)) +
                          " does not fill up: it must have stopped reading"};
        }
        if (!await(
                controller, pump, [&] { return controller.taken(from); }, PATIENCE)) {
            throw Failure{"the daemon has stopped taking what the " + std::string(name(from)) +
                          " sends, after " + std::to_string(filling.messages.size()) + " messages"};
        }
        if (filling.fitting == 0 && full() &&
            !await(
                controller, pump, [&] { return !full(); }, SETTLING)) {
            filling.fitting = filling.messages.size();
        }
    }
    pump(milliseconds(0));
    return filling;
}

// The daemon's host worker may take two batches in one pass and answers in its table's order: LED
// commands may come that much out of order.
FillingResult account(const Filling& filling, const std::vector<Bytes>& came) {
    const std::size_t window = filling.from == End::Board ? 1 : 2 * BATCH_TO_BOARD;
    std::vector<std::size_t> awaited;  // places of those that may come next
    std::size_t whole = 0;             // so many came
    for (std::size_t next = 0;; ++whole) {
        for (; awaited.size() < window && next < filling.messages.size(); ++next) {
            awaited.push_back(next);
        }
        const auto found = std::find_if(awaited.begin(), awaited.end(), [&](std::size_t place) {
            return whole < came.size() && filling.messages[place] == came[whole];
        });
        if (found == awaited.end()) {
            break;
        }
        awaited.erase(found);
    }
    const std::size_t sent = filling.messages.size();
    std::string text = way(filling.from) + ": " + std::to_string(sent) + " messages sent, " +
                       std::to_string(whole) + " arrived";
    std::size_t cut = 0;
    if (whole < sent && whole < came.size()) {
        const Bytes& part = came[whole];
        cut = (filling.from == End::Host && begins_with({NOTE_ON, TRAFFIC_LED, 0}, part)) ||
              std::any_of(awaited.begin(), awaited.end(), [&](std::size_t place) {
                  return begins_with(filling.messages[place], part);
              });
    }
    const std::size_t lost = sent - whole - cut;
    text += cut == 0 ? "" : ", the next was cut to " + hex(came[whole]);
    text += ", " + std::to_string(lost) + " found the line full";
    const bool missing = !awaited.empty() && awaited.front() < filling.fitting;
    if (missing) {
        text += "; there was room for " + std::to_string(filling.fitting) + ", but " +
                hex(filling.messages[awaited.front()]) + " is missing";
        text += whole == came.size() ? "" : ", and there came " + hex(came[whole]);
    }
    return {!missing && lost > 0, text, whole + cut};
}

}  // namespace bench
