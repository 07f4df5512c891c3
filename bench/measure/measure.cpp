#include "measure/measure.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <stdexcept>
#include <tuple>

#include "measure/bridge.h"
#include "world/process.h"

namespace bench {
namespace {

constexpr int LINE_RATE = LINE_MESSAGES_PER_SECOND;
constexpr int ROUNDS = 5;       // of the latencies, both bridges in turn in each
constexpr int IDLE_RATE = 500;  // leaves the bridge idle in between
constexpr int IDLE_COUNT = 1000;
constexpr int LINE_SECONDS = 2;
constexpr int RATE_SECONDS = 2;
constexpr int SATURATED = 0;            // as fast as the window lets them go
constexpr int SATURATED_RATE = 100000;  // about what that is, to tell how many to send
constexpr int MEMORY_COUNT = 10000;
constexpr int RATES[] = {500, 1000, 2000, LINE_RATE, 8000, 16000, 32000, 64000, 100000, SATURATED};
constexpr int FLOOD_RATE = 100 * LINE_RATE;
constexpr int FLOOD_SECONDS = 5;
constexpr End ENDS[] = {End::Board, End::Host};

using Latencies = std::vector<std::uint32_t>;

double microseconds(const Latencies& sorted, double share) {
    if (sorted.empty()) {
        return std::nan("");
    }
    const auto last = static_cast<double>(sorted.size() - 1);
    return sorted[static_cast<std::size_t>(std::lround(share * last))] / 1000.0;
}

// ---- Latency

constexpr const char* SUBJECTS[] = {"ctlbridge", "busy relay"};
constexpr std::size_t RELAY = 1;

enum class Load { Idle, Line };

// By load, way and place in SUBJECTS.
using Distributions = std::map<std::tuple<Load, End, std::size_t>, Latencies>;

void run_all(Bridge& bridge, const Plan& board, const Plan& host, const std::string& what) {
    if (bridge.run(board, host)) {
        return;
    }
    std::string text = what + " went wrong";
    for (const End from : ENDS) {
        text += "\n";
        text += bridge.account(from).summary();
    }
    throw std::runtime_error(text);
}

// Sends from one end alone and returns its account.
const Account& run_one(Bridge& bridge, End from, const Plan& plan, const std::string& what) {
    const Plan quiet = {};
    run_all(bridge, from == End::Board ? plan : quiet, from == End::Host ? plan : quiet, what);
    return bridge.account(from);
}

// Both bridges in turn, so that a change of the machine's mood meets each of them.
void measure_latency(std::size_t subject, const WorldConfig& config, Distributions& found) {
    const char* const name = SUBJECTS[subject];
    const bool relayed = subject == RELAY;
    WorldConfig world = config;
    if (relayed) {
        world.daemon = this_program();
        world.options = {"relay", "--resources=."};  // which it has no need of
    }
    Bridge bridge(world, relayed);
    const auto note = [&](Load load, const Account& account) {
        Latencies& all = found[{load, account.from(), subject}];
        all.insert(all.end(), account.latencies().begin(), account.latencies().end());
    };
    const Plan line = {.count = LINE_RATE * LINE_SECONDS, .per_second = LINE_RATE};
    run_all(bridge, line, line, name);
    for (const End from : ENDS) {
        note(Load::Line, bridge.account(from));
    }
    const Plan idle = {.count = IDLE_COUNT, .per_second = IDLE_RATE, .window = 1};
    for (const End from : ENDS) {
        note(Load::Idle, run_one(bridge, from, idle, name));
    }
}

Distributions measure_latencies(const WorldConfig& config) {
    Distributions found;
    for (int round = 0; round < ROUNDS; ++round) {
        for (std::size_t subject = 0; subject < std::size(SUBJECTS); ++subject) {
            measure_latency(subject, config, found);
        }
    }
    for (auto& [key, latencies] : found) {
        std::sort(latencies.begin(), latencies.end());
    }
    return found;
}

void print_latency(const Distributions& found, std::FILE* data) {
    std::printf(
        "\n| load | way | bridge | median | 90 %% | 99 %% | 99.9 %% | to busy relay: median, 99 "
        "%% |\n|---|---|---|---|---|---|---|---|\n");
    std::fprintf(data, "load\tway\tbridge\tpercent\tmicroseconds\n");
    for (const auto& [key, all] : found) {
        const auto& [load, from, subject] = key;
        const char* const load_name = load == Load::Idle ? "idle" : "line rate";
        const char* const name = SUBJECTS[subject];
        const Latencies& busy = found.at({load, from, RELAY});
        const double median = microseconds(all, 0.5), p99 = microseconds(all, 0.99);
        std::printf("| %s | %s | %s | %.0f us | %.0f us | %.0f us | %.0f us | %.2f, %.2f |\n",
                    load_name, way(from).c_str(), name, median, microseconds(all, 0.9), p99,
                    microseconds(all, 0.999), median / microseconds(busy, 0.5),
                    p99 / microseconds(busy, 0.99));
        for (int percent = 1; percent < 100; ++percent) {
            std::fprintf(data, "%s\t%s\t%s\t%d\t%.1f\n", load_name, way(from).c_str(), name,
                         percent, microseconds(all, percent / 100.0));
        }
    }
}

// ---- Rates

struct Usage {
    std::uint64_t board = 0, host = 0;  // the two workers' processor time, in nanoseconds
};

// The workers are created in this order, after a first thread that has ended.
Usage usage_of(const Bridge& bridge) {
    const std::map<pid_t, std::uint64_t> times = thread_times(bridge.pid());
    if (times.size() < 2) {
        throw std::runtime_error("the daemon's workers are not to be seen");
    }
    return {std::next(times.rbegin())->second, times.rbegin()->second};
}

void measure_rate(Bridge& bridge, End from, int rate, std::FILE* data) {
    const int count = (rate == SATURATED ? SATURATED_RATE : rate) * RATE_SECONDS;
    const Usage before = usage_of(bridge);
    const Account& account =
        run_one(bridge, from, {.count = count, .per_second = rate}, "a steady rate");
    const Usage after = usage_of(bridge);
    Latencies sorted = account.latencies();
    std::sort(sorted.begin(), sorted.end());
    const double seconds = account.seconds();
    const double reached = static_cast<double>(account.sent()) / seconds;
    const double board = static_cast<double>(after.board - before.board) / seconds / 1e7;
    const double host = static_cast<double>(after.host - before.host) / seconds / 1e7;
    const std::string asked =
        rate == SATURATED ? "all that 16 under way allow" : std::to_string(rate);
    std::printf("| %s | %s | %.0f | %.0f us | %.0f us | %.0f %% | %.0f %% | %lld |\n",
                way(from).c_str(), asked.c_str(), reached, microseconds(sorted, 0.5),
                microseconds(sorted, 0.99), board, host, account.missing());
    std::fprintf(data, "%s\t%.0f\t%.1f\t%.1f\t%.1f\t%.1f\n", way(from).c_str(), reached,
                 microseconds(sorted, 0.5), microseconds(sorted, 0.99), board, host);
}

void measure_rates(const WorldConfig& config, std::FILE* data) {
    std::printf(
        "\n| way | messages a second asked for | reached | median | 99 %% | board worker | "
        "host worker | lost |\n|---|---|---|---|---|---|---|---|\n");
    std::fprintf(data, "way\trate\tmedian\tp99\tboard\thost\n");
    Bridge bridge(config);
    for (const End from : ENDS) {
        for (const int rate : RATES) {
            measure_rate(bridge, from, rate, data);
        }
    }
}

// Without a window: only what merges can be sent so, and nothing that is last may be missing.
void measure_flood(const WorldConfig& config) {
    std::printf(
        "\n| way | sent | a second | refused by the line | arrived | merged | lost | arrived "
        "after the last was sent |\n|---|---|---|---|---|---|---|---|\n");
    Bridge bridge(config);
    for (const End from : ENDS) {
        const bool pots = from == End::Board;
        const Account& account = run_one(bridge, from,
                                         {.count = FLOOD_RATE * FLOOD_SECONDS,
                                          .per_second = FLOOD_RATE,
                                          .window = UNLIMITED,
                                          .note_depth = pots ? 0 : UNLIMITED,
                                          .controller_depth = pots ? UNLIMITED : 0},
                                         "the flood");
        const Stream& stream = bridge.stream(from);
        std::printf("| %s | %lld | %.0f | %lld | %lld | %lld | %lld | %lld |\n", way(from).c_str(),
                    account.sent(), static_cast<double>(account.sent()) / account.seconds(),
                    stream.refused(), account.arrived(), account.merged(), account.missing(),
                    stream.late());
    }
}

// ---- Start-up and memory

// What ends a step of the start-up: a platform command called, or a line printed.
struct Step {
    const char* what;
    Place place;
    const char* begins;
};
constexpr Step STEPS[] = {
    {"check of the hand-edited files, base mapping", Place::Log, "read config exit"},
    {"channel, preset, USB identities", Place::Platform, "modprobe"},
    {"gadget module", Place::Log, "Load g_midi"},
    {"label lists, the application stopped", Place::Platform, "killall Xfbdev"},
    {"X server stopped, with its fixed wait of a second", Place::Platform, "fbset"},
    {"screen set up, splash image", Place::Platform, "fbsplash"},
};

milliseconds find_step(const std::vector<Event>& events, const Step& step) {
    const auto found = std::find_if(events.begin(), events.end(), [&](const Event& event) {
        return event.place == step.place && event.text.rfind(step.begins, 0) == 0;
    });
    if (found == events.end()) {
        throw std::runtime_error(std::string("the start-up has no step \"") + step.begins + "\"");
    }
    return found->time;
}

void measure_start(const WorldConfig& config) {
    Controller controller(config);
    while (!controller.ready()) {
        controller.step(milliseconds(1));
    }
    const milliseconds ready = controller.now();
    std::printf("\n| step of the start-up | takes |\n|---|---|\n");
    milliseconds last(0);
    for (const Step& step : STEPS) {
        const milliseconds at = find_step(controller.events(), step);
        std::printf("| %s | %lld ms |\n", step.what, static_cast<long long>((at - last).count()));
        last = at;
    }
    std::printf("| labels drawn, lines opened | %lld ms |\n",
                static_cast<long long>((ready - last).count()));
    const pid_t daemon = controller.daemon_pid();
    const pid_t last_worker = thread_times(daemon).rbegin()->first;
    // Numbers are given in turn in the daemon's world; two of them are its workers'.
    std::printf("\nProcesses started: %d\n",
                inner_number(daemon, last_worker) - inner_number(daemon, daemon) - 2);
}

void print_memory(const WorldConfig& world, const char* build, int (*resident)(pid_t),
                  int (*its_private)(pid_t)) {
    Bridge bridge(world);
    const Plan both_kinds = {.count = MEMORY_COUNT, .controller_depth = 1};
    run_all(bridge, both_kinds, both_kinds, "traffic");
    std::printf("| %s | %d kB | %d kB |\n", build, resident(bridge.pid()),
                its_private(bridge.pid()));
}

void measure_memory(const WorldConfig& config, const WorldConfig& emulated) {
    std::printf("\n| built for | resident memory | of it private |\n|---|---|---|\n");
    print_memory(config, "this machine, glibc, dynamic", resident_kb, private_kb);
    if (!emulated.daemon.empty()) {
        print_memory(emulated, "the controller, musl, static", emulated_resident_kb,
                     emulated_private_kb);
    }
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

File create(const std::string& path) {
    File file(std::fopen(path.c_str(), "w"), std::fclose);
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
    return file;
}

}  // namespace

void measure(const WorldConfig& world, const MeasurePlan& plan) {
    WorldConfig config = world;
    config.emulator.clear();
    WorldConfig emulated = world;
    emulated.daemon = plan.emulated_daemon;
    const File latencies = create(plan.directory + "/latency.tsv");
    const File rates = create(plan.directory + "/rates.tsv");
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // each row is to be seen when it is measured
    print_latency(measure_latencies(config), latencies.get());
    measure_rates(config, rates.get());
    measure_flood(config);
    measure_start(config);
    measure_memory(config, emulated);
}

}  // namespace bench
