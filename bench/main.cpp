// ctlbench: plays the control board, the host and the platform around an unmodified ctlbridge.
#include <getopt.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "controller/controller.h"
#include "controller/transcript.h"
#include "measure/measure.h"
#include "measure/soak.h"
#include "panel/panel.h"
#include "scenario/runner.h"
#include "scenario/scenario.h"
#include "world/platform.h"

namespace bench {
namespace {

constexpr int GOOD = 0;
constexpr int FAILED = 1;
constexpr int MISUSED = 2;

constexpr const char* USAGE =
    "usage: ctlbench play FILE.scn... [OPTION...] [-- DAEMON_OPTION...]\n"
    "       ctlbench panel [OPTION...] [-- DAEMON_OPTION...]\n"
    "       ctlbench soak [OPTION...] [-- DAEMON_OPTION...]\n"
    "       ctlbench measure [OPTION...] [-- DAEMON_OPTION...]\n"
    "\n"
    "Plays scenarios on a virtual controller and prints what crosses the bridge; opens the\n"
    "controller as a full-screen panel to be played by hand; sends messages both ways as fast as\n"
    "they cross, and accounts for each; or measures.\n"
    "\n"
    "  --daemon PATH      the ctlbridge to run (default: the one built with this program)\n"
    "  --resources DIR    its resources, for scenarios that name none of their own\n"
    "  --emulator PATH    a program that runs the daemon, for another machine's binary\n"
    "  --screen FILE      write the screen as it is at the end, an SVG picture of its text\n"
    "  --no-traffic       leave the changes of the traffic light out\n"
    "  --quiet            print failures and results only\n"
    "  --count N          soak: messages each way (default: ten million)\n"
    "  --seconds N        soak: for so long instead\n"
    "  --relay PATH       measure: a relay to measure beside the daemon\n"
    "  --static PATH      measure: the daemon linked statically, for its memory\n"
    "  --write DIR        measure: where the files for the plot go (default: here)\n"
    "  --help             print this text\n"
    "\n"
    "Exit status: 0 if every expectation held, 1 if not, 2 if a file or option is bad.\n";

struct Options {
    WorldConfig world;
    Hidden hidden;
    bool quiet = false;
    std::string screen_file;
    SoakPlan soak;
    MeasurePlan measure;
    std::vector<std::string> files;
};

int misused(const std::string& problem) {
    std::fprintf(stderr, "ctlbench: %s\n\n%s", problem.c_str(), USAGE);
    return MISUSED;
}

// 1 to 999999999, else -1.
int whole_number(const std::string& text) {
    const bool good = !text.empty() && text.size() <= 9 && text != std::string(text.size(), '0') &&
                      text.find_first_not_of("0123456789") == std::string::npos;
    return good ? std::stoi(text) : -1;
}

// Fills `options`; returns the exit status if the program is to end at once.
std::optional<int> read_options(std::vector<char*> arguments, Options& options) {
    static constexpr option LONG[] = {{"daemon", required_argument, nullptr, 'd'},
                                      {"resources", required_argument, nullptr, 'r'},
                                      {"emulator", required_argument, nullptr, 'e'},
                                      {"screen", required_argument, nullptr, 's'},
                                      {"no-traffic", no_argument, nullptr, 't'},
                                      {"quiet", no_argument, nullptr, 'q'},
                                      {"count", required_argument, nullptr, 'n'},
                                      {"relay", required_argument, nullptr, 'R'},
                                      {"static", required_argument, nullptr, 'T'},
                                      {"write", required_argument, nullptr, 'w'},
                                      {"seconds", required_argument, nullptr, 'S'},
                                      {"help", no_argument, nullptr, 'h'},
                                      {nullptr, 0, nullptr, 0}};
    const auto is_end = [](const char* argument) { return std::string(argument) == "--"; };
    const auto end = std::find_if(arguments.begin(), arguments.end(), is_end);
    if (end != arguments.end()) {
        options.world.options.assign(end + 1, arguments.end());
        arguments.erase(end, arguments.end());
    }
    const int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    for (int letter; (letter = getopt_long(count, arguments.data(), "", LONG, nullptr)) != -1;) {
        switch (letter) {
            case 'd':
                options.world.daemon = optarg;
                break;
            case 'r':
                options.world.resources = optarg;
                break;
            case 'e':
                options.world.emulator = optarg;
                break;
            case 's':
                options.screen_file = optarg;
                break;
            case 't':
                options.hidden.traffic_light = true;
                break;
            case 'q':
                options.quiet = true;
                break;
            case 'R':
                options.measure.relay = optarg;
                break;
            case 'T':
                options.measure.static_twin = optarg;
                break;
            case 'w':
                options.measure.directory = optarg;
                break;
            case 'n':
                options.soak.count = whole_number(optarg);
                break;
            case 'S':
                options.soak.seconds = whole_number(optarg);
                options.soak.count = std::numeric_limits<std::int64_t>::max();
                break;
            case 'h':
                std::fputs(USAGE, stdout);
                return GOOD;
            default:
                std::fprintf(stderr, "\n%s", USAGE);
                return MISUSED;
        }
    }
    if (options.soak.count <= 0 || options.soak.seconds < 0) {
        return misused("--count and --seconds: expected a number of 1 to 999999999");
    }
    options.files.assign(arguments.begin() + optind, arguments.begin() + count);
    return std::nullopt;
}

int play(const std::string& file, const Options& options) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "ctlbench: cannot read %s\n", file.c_str());
        return MISUSED;
    }
    const std::string text(std::istreambuf_iterator<char>(in), {});
    Outcome outcome;
    try {
        const Scenario scenario = parse_scenario(file, text, options.world);
        Controller controller(scenario.world);
        Transcript transcript(controller.mapping(), options.hidden, options.quiet);
        outcome = Runner(scenario, controller, transcript).play();
        if (!options.screen_file.empty()) {
            std::ofstream(options.screen_file) << controller.screen().svg();
        }
    } catch (const ScenarioError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return MISUSED;
    } catch (const std::exception& error) {
        outcome.failure = error.what();
    }
    if (!outcome.good) {
        std::fflush(stdout);
        std::fprintf(stderr, "%s\n", outcome.failure.c_str());
        std::printf("FAILED %s\n", file.c_str());
        return FAILED;
    }
    std::printf("ok %s (%d expectations)\n", file.c_str(), outcome.expectations);
    return GOOD;
}

int run_soak(const Options& options) {
    const bool good = soak(options.world, options.soak);
    std::puts(good ? "ok soak" : "FAILED soak");
    return good ? GOOD : FAILED;
}

int run_measure(const Options& options) {
    measure(options.world, options.measure);
    return GOOD;
}

int run_panel(const Options& options) {
    return Panel({options.world, options.world.resources != CTLBENCH_RESOURCES}).run();
}

int run_play(const Options& options) {
    if (options.files.empty()) {
        return misused("play: no scenario given");
    }
    int status = GOOD;
    for (const std::string& file : options.files) {
        status = std::max(status, play(file, options));
        std::fflush(stdout);
    }
    return status;
}

struct Command {
    const char* name;
    int (*run)(const Options& options);
};
constexpr Command COMMANDS[] = {
    {"play", run_play}, {"panel", run_panel}, {"soak", run_soak}, {"measure", run_measure}};

int run(const std::vector<char*>& arguments) {
    Options options;
    options.world.daemon = CTLBENCH_DAEMON;
    options.world.resources = CTLBENCH_RESOURCES;
    options.measure.relay = CTLBENCH_RELAY;
    if (const std::optional<int> status = read_options(arguments, options)) {
        return *status;
    }
    const std::string name = options.files.empty() ? "" : options.files.front();
    const auto* const command =
        std::find_if(std::begin(COMMANDS), std::end(COMMANDS),
                     [&](const Command& known) { return known.name == name; });
    if (command == std::end(COMMANDS)) {
        return misused(name.empty() ? "what is it to do?" : "unknown command " + name);
    }
    options.files.erase(options.files.begin());
    if (!options.files.empty() && command->run != run_play) {
        return misused(name + " takes no file");
    }
    if (!std::filesystem::is_directory(options.world.resources)) {
        return misused("there is no directory " + options.world.resources);
    }
    try {
        return command->run(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ctlbench: %s\n", error.what());
        return FAILED;
    }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    const int platform_status = bench::platform_main(argc, argv);
    if (platform_status != -1) {
        return platform_status;
    }
    return bench::run(std::vector<char*>(argv, argv + argc));
}
