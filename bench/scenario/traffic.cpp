#include "scenario/traffic.h"

#include <algorithm>
#include <map>
#include <random>

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

std::string send_random(Controller& controller, const std::vector<End>& ends, milliseconds time,
                        unsigned seed, const Pump& pump) {
    std::mt19937 generator(seed);
    const milliseconds start = controller.now();
    std::map<End, std::int64_t> sent;
    while (controller.now() - start < time) {
        for (const End end : ends) {
            const std::int64_t due =
                (controller.now() - start).count() * LINE_BYTES_PER_SECOND / 1000;
            Bytes bytes(static_cast<std::size_t>(due - sent[end]));
            std::generate(bytes.begin(), bytes.end(),
                          [&] { return static_cast<std::uint8_t>(generator()); });
            if (!bytes.empty() && controller.flushed(end) && controller.send(end, bytes)) {
                sent[end] = due;
            }
        }
        pump(TICK);
    }
    std::string summary;
    for (const End end : ends) {
        summary += summary.empty() ? "" : ", ";
        summary += name(end) + (" → " + std::to_string(sent[end])) + " random bytes";
    }
    return summary;
}

std::string flood(Controller& controller, const std::vector<End>& ends, const Plan& plan,
                  const Pump& pump) {
    std::vector<Account> accounts;
    for (const End end : ends) {
        accounts.emplace_back(end, running_tracks(controller, end)).begin(plan);
    }
    const auto all = [&](bool (Account::*is)() const) {
        return std::all_of(accounts.begin(), accounts.end(),
                           [&](const Account& account) { return (account.*is)(); });
    };
    bool failed = false;
    for (std::size_t seen = controller.events().size(); !failed && !all(&Account::done);) {
        pump(TICK);
        const Clock::time_point now = Clock::now();
        for (const std::size_t end = controller.events().size(); seen < end; ++seen) {
            const Event& event = controller.events()[seen];
            for (Account& account : accounts) {
                if (event.came_to(other(account.from()))) {
                    account.take(event.bytes, now);
                }
            }
        }
        for (Account& account : accounts) {
            controller.send(account.from(), account.make(now));
            failed |= account.failed(now);
        }
    }
    std::string summary;
    for (const Account& account : accounts) {
        summary += summary.empty() ? "" : "\n";
        summary += account.summary();
    }
    if (!all(&Account::good)) {
        throw Failure{summary};
    }
    return summary;
}

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
