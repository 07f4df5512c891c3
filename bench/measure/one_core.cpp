#include "measure/one_core.h"

#include <sched.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <memory>
#include <stdexcept>
#include <utility>

#include "measure/bridge.h"
#include "world/checked.h"
#include "world/handles.h"
#include "world/process.h"

namespace bench {
namespace {

constexpr int ROUNDS = 3;  // all subjects in turn in each
constexpr int RATE = 500;
constexpr int COUNT = 1000;

// ---- Cores

class Cores {
  public:
    Cores() { check(sched_getaffinity(0, sizeof all_, &all_), "sched_getaffinity"); }
    int count() const { return CPU_COUNT(&all_); }

    // The last one is the daemon's, what is started there stays there; the others are for the rest.
    void go_to_its() const { go(true); }
    void go_to_others() const { go(false); }

  private:
    void go(bool to_its) const {
        int last = CPU_SETSIZE - 1;
        while (!CPU_ISSET(last, &all_)) {
            --last;
        }
        cpu_set_t wanted = all_;
        if (to_its) {
            CPU_ZERO(&wanted);
            CPU_SET(last, &wanted);
        } else {
            CPU_CLR(last, &wanted);
        }
        check(sched_setaffinity(0, sizeof wanted, &wanted), "sched_setaffinity");
    }

    cpu_set_t all_;
};

// Calls `make` on the daemon's core: what it starts stays there.
template <typename Make>
auto make_there(const Cores& cores, Make make) {
    cores.go_to_its();
    auto made = make();
    cores.go_to_others();
    return made;
}

// So that what is measured is not how long this program waits for its turn.
void run_before_others() {
    sched_param priority{};
    priority.sched_priority = sched_get_priority_min(SCHED_FIFO);
    check(sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &priority),
          "asking for a real-time class");
}

Child start_busy_process(const Cores& cores) {
    return make_there(cores, [] {
        const pid_t parent = getpid();
        const pid_t pid = check(fork(), "fork");
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            while (getppid() == parent) {
            }
            _exit(0);
        }
        return Child(pid);
    });
}

// ---- Board to host, beside other work

struct Subject {
    const char* name;
    bool real_time;
    const char* relay;  // its kind; null: the daemon
};
constexpr Subject SUBJECTS[] = {{"ctlbridge", true, nullptr},
                                {"ctlbridge without its class", false, nullptr},
                                {"busy relay", false, "busy"},
                                {"paced relay", false, "paced"},
                                {"blocking relay", false, "blocking"}};

enum class Load { Idle, Host, Busy, Both };
struct Beside {
    Load load;
    const char* name;
    bool host_talks, busy_process;
};
constexpr Beside LOADS[] = {{Load::Idle, "nothing", false, false},
                            {Load::Host, "the host at line rate", true, false},
                            {Load::Busy, "a busy process", false, true},
                            {Load::Both, "both", true, true}};

using Latencies = std::vector<std::uint32_t>;
using Distributions = std::map<std::pair<Load, std::size_t>, Latencies>;

double share(const Latencies& sorted, double part) {
    const auto last = static_cast<double>(sorted.size() - 1);
    return sorted[static_cast<std::size_t>(part * last)] / 1000.0;
}

std::unique_ptr<Bridge> start(const Cores& cores, const Subject& subject, WorldConfig world,
                              const std::string& relay) {
    if (subject.relay != nullptr) {
        world.daemon = relay;
        world.options = {subject.relay};
    }
    world.real_time = subject.real_time;
    return make_there(cores,
                      [&] { return std::make_unique<Bridge>(world, subject.relay != nullptr); });
}

void run(Bridge& bridge, const Plan& board, const Plan& host) {
    if (!bridge.run(board, host)) {
        throw std::runtime_error(bridge.account(End::Board).summary() + "\n" +
                                 bridge.account(End::Host).summary());
    }
}

// The daemon's first worker is the board's.
void check_classes(const Bridge& bridge, bool real_time) {
    const auto times = thread_times(bridge.pid());
    const pid_t host = times.rbegin()->first;
    const pid_t board = std::next(times.rbegin())->first;
    if (sched_getscheduler(board) != (real_time ? SCHED_FIFO : SCHED_OTHER) ||
        sched_getscheduler(host) != SCHED_OTHER) {
        throw std::runtime_error("the daemon's workers are not in the classes that they should be");
    }
}

void measure_subject(const Cores& cores, std::size_t number, const WorldConfig& config,
                     const std::string& relay, Distributions& found) {
    const auto bridge = start(cores, SUBJECTS[number], config, relay);
    if (SUBJECTS[number].relay == nullptr) {
        check_classes(*bridge, SUBJECTS[number].real_time);
    }
    for (const Beside& beside : LOADS) {
        Child busy;
        if (beside.busy_process) {
            busy = start_busy_process(cores);
        }
        const Plan host = {.count = beside.host_talks ? LINE_MESSAGES_PER_SECOND * COUNT / RATE : 0,
                           .per_second = LINE_MESSAGES_PER_SECOND};
        run(*bridge, {.count = COUNT, .per_second = RATE}, host);
        const Latencies& measured = bridge->account(End::Board).latencies();
        Latencies& all = found[{beside.load, number}];
        all.insert(all.end(), measured.begin(), measured.end());
    }
}

void print_latencies(Distributions& found) {
    std::puts(
        "\n| beside it | bridge | median | 99 % | worst | 99 % to its own with nothing beside it "
        "|\n|---|---|---|---|---|---|");
    for (auto& [key, all] : found) {
        std::sort(all.begin(), all.end());
    }
    for (const auto& [key, all] : found) {
        const auto& [load, number] = key;
        const double alone = share(found.at({Load::Idle, number}), 0.99);
        std::printf("| %s | %s | %.0f us | %.0f us | %.0f us | %.2f |\n",
                    LOADS[static_cast<int>(load)].name, SUBJECTS[number].name, share(all, 0.5),
                    share(all, 0.99), share(all, 1), share(all, 0.99) / alone);
    }
}

// ---- The rest, beside a board that floods

struct Flood {
    const char* name;
    int per_second;
};
constexpr Flood FLOODS[] = {{"nothing", 0},
                            {"at line rate", LINE_MESSAGES_PER_SECOND},
                            {"at 100 times that", 100 * LINE_MESSAGES_PER_SECOND}};

// The host's messages while the board floods, and a busy process runs.
void print_host_way(const Cores& cores, const WorldConfig& config) {
    std::puts(
        "\n| the board sends | arrived from it, merged, lost | host → board sent | lost | median | "
        "99 % | worst |\n|---|---|---|---|---|---|---|");
    for (const Flood& flood : FLOODS) {
        const auto bridge = start(cores, SUBJECTS[0], config, "");
        const Child busy = start_busy_process(cores);
        run(*bridge,
            {.count = flood.per_second * COUNT / RATE,
             .per_second = flood.per_second,
             .window = UNLIMITED,
             .note_depth = 0,
             .controller_depth = UNLIMITED},
            {.count = COUNT, .per_second = RATE});
        Latencies all = bridge->account(End::Host).latencies();
        std::sort(all.begin(), all.end());
        const Account& board = bridge->account(End::Board);
        const Account& host = bridge->account(End::Host);
        std::printf("| %s | %lld, %lld, %lld | %lld | %lld | %.0f us | %.0f us | %.0f us |\n",
                    flood.name, board.arrived(), board.merged(), board.missing(), host.sent(),
                    host.missing(), share(all, 0.5), share(all, 0.99), share(all, 1));
    }
}

}  // namespace

void measure_one_core(const WorldConfig& config, const std::string& relay) {
    const Cores cores;
    if (cores.count() < 2) {
        std::puts("\nOne core only: nothing can be told apart on it.");
        return;
    }
    cores.go_to_others();
    run_before_others();
    Distributions found;
    for (int round = 0; round < ROUNDS; ++round) {
        for (std::size_t number = 0; number < std::size(SUBJECTS); ++number) {
            measure_subject(cores, number, config, relay, found);
        }
    }
    print_latencies(found);
    print_host_way(cores, config);
}

}  // namespace bench
