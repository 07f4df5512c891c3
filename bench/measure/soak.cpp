#include "measure/soak.h"

#include <cstdio>

#include "measure/bridge.h"
#include "world/process.h"

namespace bench {
namespace {

constexpr int DEPTH = 4;  // readings of a pot or meter under way: enough to merge some
constexpr std::int64_t WARM_UP = 5000;
constexpr int MOST_GROWTH_KB = 64;  // a page or two of a sanitizer, but no leak by the message
constexpr milliseconds SETTLING(200);

struct Holdings {
    int private_kb, descriptors;
};

Holdings holdings_of(const Bridge& bridge) {
    return {private_kb(bridge.pid()), open_descriptors(bridge.pid())};
}

}  // namespace

bool soak(const WorldConfig& config, const SoakPlan& plan) {
    Bridge bridge(config);
    Account& board = bridge.account(End::Board);
    Account& host = bridge.account(End::Host);
    // Of a button or light one message at a time is under way, so that none may be missing.
    const Plan from_board = {.count = plan.count, .controller_depth = DEPTH};
    const Plan from_host = {
        .count = plan.count, .controller_depth = DEPTH, .query_every = plan.query_every};
    Plan warm_up = from_board;
    warm_up.count = WARM_UP;
    bool good = bridge.run(warm_up, warm_up);
    bridge.rest(SETTLING);
    const Holdings before = holdings_of(bridge);
    const milliseconds start = bridge.controller().now();
    good = good && bridge.run(from_board, from_host, [&] {
        const milliseconds time = bridge.controller().now() - start;
        if (plan.seconds > 0 && time > std::chrono::seconds(plan.seconds)) {
            board.stop();
            host.stop();
        }
    });
    bridge.rest(SETTLING);
    const Holdings after = holdings_of(bridge);
    const std::string said = bridge.said();
    std::printf("%s\n%s\n", board.summary().c_str(), host.summary().c_str());
    std::printf("private memory: %d kB before, %d kB after; descriptors: %d before, %d after\n",
                before.private_kb, after.private_kb, before.descriptors, after.descriptors);
    std::printf("the daemon's messages: %s\n", said.empty() ? "none" : said.c_str());
    return good && before.descriptors > 0 && after.descriptors == before.descriptors &&
           after.private_kb <= before.private_kb + MOST_GROWTH_KB && said.empty();
}

}  // namespace bench
