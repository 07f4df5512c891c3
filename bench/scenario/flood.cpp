#include "scenario/flood.h"

#include <algorithm>
#include <map>
#include <random>

namespace bench {
namespace {

constexpr milliseconds TICK(1);

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

}  // namespace bench
