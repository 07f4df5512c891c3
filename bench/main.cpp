// ctlbench: plays the control board, the host and the platform around an unmodified ctlbridge.
#include <getopt.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "controller/controller.h"
#include "controller/transcript.h"
#include "machine/machine.h"
#include "measure/measure.h"
#include "measure/soak.h"
#include "panel/panel.h"
#include "panel/room.h"
#include "port/ports.h"
#include "scenario/runner.h"
#include "scenario/scenario.h"
#include "world/platform.h"

namespace bench {
namespace {

constexpr int GOOD = 0;
constexpr int FAILED = 1;
constexpr int MISUSED = 2;
constexpr int TABLE_WIDTH = 90;

struct Options {
    WorldConfig world;
    bool no_traffic = false;
    bool quiet = false;
    std::string screen_file;
    SoakPlan soak;
    MeasurePlan measure;
    PortPlan ports;
    bool help = false;
    std::vector<std::string> files;
};

// 1 to 999999999, else -1.
int whole_number(const std::string& text) {
    const bool good = !text.empty() && text.size() <= 9 && text != std::string(text.size(), '0') &&
                      text.find_first_not_of("0123456789") == std::string::npos;
    return good ? std::stoi(text) : -1;
}

struct Option {
    const char* name;
    const char* value;  // what it is called, in brackets if it may be missing; null: there is none
    void (*take)(Options& to, const char* value);
    const char* help;
};
// clang-format off
constexpr Option OPTIONS[] = {
    {"daemon", "PATH", [](Options& to, const char* value) { to.world.daemon = value; },
     "the ctlbridge to run (default: the one built with this program)"},
    {"resources", "DIR", [](Options& to, const char* value) { to.world.resources = value; },
     "its resources, unless a scenario names its own"},
    {"emulator", "PATH", [](Options& to, const char* value) { to.world.emulator = value; },
     "a program that runs the daemon, for another machine's binary"},
    {"machine", "[=DIR]", [](Options& to, const char* value) { to.world.machine = value == nullptr ? CTLBENCH_MACHINE : value; },
     "play, panel: on an emulated machine, with the daemon that is installed there"},
    {"screen", "FILE", [](Options& to, const char* value) { to.screen_file = value; },
     "play: write the machine's final screen as pixels in PPM"},
    {"no-traffic", nullptr, [](Options& to, const char*) { to.no_traffic = true; },
     "leave out changes of the traffic LED"},
    {"quiet", nullptr, [](Options& to, const char*) { to.quiet = true; },
     "print only failures and results"},
    {"port", "[NAME]", [](Options& to, const char* value) { to.ports.host = true; to.ports.where = value == nullptr ? "" : value; },
     "panel, play: the host is a MIDI port (default: the product's name), or /dev/..."},
    {"board", "DEVICE", [](Options& to, const char* value) { to.ports.board = value; },
     "panel, play: the board is a real one, at this serial line"},
    {"count", "N", [](Options& to, const char* value) { to.soak.count = whole_number(value); },
     "soak: messages each way (default: ten million)"},
    {"seconds", "N", [](Options& to, const char* value) { to.soak.seconds = whole_number(value); to.soak.count = std::numeric_limits<std::int64_t>::max(); },
     "soak: run that long instead"},
    {"emulated", "PATH", [](Options& to, const char* value) { to.measure.emulated_daemon = value; },
     "measure: the controller's daemon, for its memory under the emulator"},
    {"write", "DIR", [](Options& to, const char* value) { to.measure.directory = value; },
     "measure: where the files for the plot go (default: here)"},
    {"help", nullptr, [](Options& to, const char*) { to.help = true; },
     "print this text"},
};
// clang-format on

// The command line is wrong.
struct Misuse : std::runtime_error {
    using std::runtime_error::runtime_error;
};

int result(bool good, const std::string& what) {
    std::printf("%s %s\n", good ? "ok" : "FAILED", what.c_str());
    return good ? GOOD : FAILED;
}

// `skipped` counts those that need another world.
int play(const std::string& file, const Options& options, int& skipped) {
    if (std::filesystem::is_directory(file)) {
        throw Misuse(file + " is a directory: name its scenarios, as in " + file + "/*.scn");
    }
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw Misuse("cannot read " + file);
    }
    const std::string text(std::istreambuf_iterator<char>(in), {});
    Outcome outcome;
    try {
        const Scenario scenario = parse_scenario(file, text, options.world);
        if (!scenario.is_playable()) {
            std::printf("skipped %s: it needs %s\n", file.c_str(),
                        scenario.needs == Needs::Machine ? "the machine" : "namespaces");
            ++skipped;
            return GOOD;
        }
        std::optional<Ports> ports;
        if (options.ports.any()) {
            ports.emplace(options.ports, product_name(scenario.world));
        }
        Controller controller(scenario.world);
        Transcript transcript(controller.mapping(), options.no_traffic, options.quiet);
        if (ports) {
            ports->attach(controller);
        }
        outcome = Runner(scenario, controller, transcript, ports ? &*ports : nullptr).play();
        if (ports && ports->heard() != nullptr) {
            std::printf("\nThe board\n");
            for (const std::string& line : ports->heard()->lines(controller.mapping())) {
                for (const std::string& row : wrapped(line, TABLE_WIDTH, 2)) {
                    std::printf("  %s\n", row.c_str());
                }
            }
        }
        if (!options.screen_file.empty()) {
            std::ofstream(options.screen_file) << controller.machine()->picture();
        }
    } catch (const ScenarioError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return MISUSED;
    } catch (const NoOutside&) {
        throw;
    } catch (const std::exception& error) {
        outcome.failure = error.what();
    }
    if (!outcome.good) {
        std::fflush(stdout);
        std::fprintf(stderr, "%s\n", outcome.failure.c_str());
        return result(false, file);
    }
    return result(true, file + " (" + std::to_string(outcome.expectations) + " expectations)");
}

int run_play(const Options& options) {
    int status = GOOD;
    int skipped = 0;
    for (const std::string& file : options.files) {
        status = std::max(status, play(file, options, skipped));
        std::fflush(stdout);
    }
    if (skipped > 0 && options.files.size() > 1) {
        std::printf("%d of %zu skipped\n", skipped, options.files.size());
    }
    return status;
}

struct Command {
    const char* name;
    const char* arguments;
    int (*run)(const Options& options);
    const char* help;
};
constexpr const char* ARGUMENTS = "[OPTION...] [-- DAEMON_OPTION...]";
// clang-format off
constexpr Command COMMANDS[] = {
    {"play", "FILE.scn... [OPTION...] [-- DAEMON_OPTION...]", run_play,
     "plays scenarios on a virtual controller, and prints what crosses the bridge"},
    {"panel", ARGUMENTS, [](const Options& options) { return Panel({options.world, options.world.resources != CTLBENCH_RESOURCES, options.ports}).run(); },
     "opens the controller as a full-screen panel, to be played by hand"},
    {"soak", ARGUMENTS, [](const Options& options) { return result(soak(options.world, options.soak), "soak"); },
     "sends messages both ways as fast as they cross, and accounts for each"},
    {"measure", ARGUMENTS, [](const Options& options) { measure(options.world, options.measure); return GOOD; },
     "measures the daemon beside a relay that only copies bytes"},
    {"relay", "", [](const Options&) { relay(); return GOOD; },
     "is that relay, between the daemon's two devices"},
    {"steps", "", [](const Options&) { std::puts((setup_table() + "\n" + steps_table()).c_str()); return GOOD; },
     "lists every line that a scenario may have"},
};
// clang-format on

std::string usage() {
    std::string text;
    char line[160];
    for (const Command& command : COMMANDS) {
        std::snprintf(line, sizeof line, "%s ctlbench %s %s\n           %s\n",
                      text.empty() ? "usage:" : "      ", command.name, command.arguments,
                      command.help);
        text += line;
    }
    text += "\n";
    for (const Option& option : OPTIONS) {
        const std::string value = option.value == nullptr ? "" : option.value;
        const char* const gap = value.starts_with('[') ? "" : " ";
        std::snprintf(line, sizeof line, "  --%-16s %s\n", (option.name + (gap + value)).c_str(),
                      option.help);
        text += line;
    }
    return text +
           "\nExit status: 0 if every expectation held, 1 if not, 2 if a file or option is bad.\n";
}

// Makes "--port=NAME" of "--port NAME"; a scenario is no name.
void join_port(std::vector<char*>& arguments, std::string& joined) {
    const auto port = std::find(arguments.begin(), arguments.end(), std::string_view("--port"));
    const std::string next = arguments.end() - port > 1 ? port[1] : "-";
    if (!next.starts_with("-") && !next.ends_with(".scn")) {
        joined = "--port=" + next;
        *port = joined.data();
        arguments.erase(port + 1);
    }
}

// Throws Misuse at an option that is none.
void read_options(std::vector<char*> arguments, Options& options) {
    const auto end = std::find(arguments.begin(), arguments.end(), std::string_view("--"));
    if (end != arguments.end()) {
        options.world.options.assign(end + 1, arguments.end());
        arguments.erase(end, arguments.end());
    }
    std::vector<option> known;
    for (const Option& option : OPTIONS) {
        const int takes = option.value == nullptr ? no_argument
                          : *option.value == '['  ? optional_argument
                                                  : required_argument;
        known.push_back({option.name, takes, nullptr, 1});
    }
    std::string joined;
    join_port(arguments, joined);
    known.push_back({});
    const int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    int place = 0;
    opterr = 0;
    for (int found;
         (found = getopt_long(count, arguments.data(), "", known.data(), &place)) != -1;) {
        if (found != 1) {
            throw Misuse(std::string(arguments[static_cast<std::size_t>(optind - 1)]) +
                         ": no such option, or one that lacks its value");
        }
        OPTIONS[place].take(options, optarg);
    }
    options.files.assign(arguments.begin() + optind, arguments.begin() + count);
}

int run(const std::vector<char*>& arguments) {
    Options options;
    options.world.resources = CTLBENCH_RESOURCES;
    read_options(arguments, options);
    if (options.world.daemon.empty() && options.world.machine.empty()) {
        options.world.daemon = CTLBENCH_DAEMON;
    }
    if (options.help) {
        std::fputs(usage().c_str(), stdout);
        return GOOD;
    }
    if (options.soak.count <= 0 || options.soak.seconds < 0) {
        throw Misuse("--count and --seconds: expected a number of 1 to 999999999");
    }
    const std::string name = options.files.empty() ? "" : options.files.front();
    const auto* const command =
        std::find_if(std::begin(COMMANDS), std::end(COMMANDS),
                     [&](const Command& known) { return known.name == name; });
    if (command == std::end(COMMANDS)) {
        throw Misuse(name.empty() ? "no command given" : name + ": no such command");
    }
    options.files.erase(options.files.begin());
    const PortPlan& ports = options.ports;
    if (ports.any() && name != "panel" && name != "play") {
        throw Misuse("--port and --board are for panel and play");
    }
    const bool plays = command->run == run_play;
    if (options.files.empty() == plays) {
        throw Misuse(name + (plays ? ": no scenario given" : " takes no file"));
    }
    if (!options.world.machine.empty() && !plays && name != "panel" && name != "steps") {
        throw Misuse(name + " has no machine");
    }
    if (!options.screen_file.empty() && (options.world.machine.empty() || !plays)) {
        throw Misuse(
            "--screen: for play on the machine; elsewhere a step \"screen show\" prints it");
    }
    if (!std::filesystem::is_directory(options.world.resources)) {
        throw Misuse("there is no directory " + options.world.resources);
    }
    return command->run(options);
}

int run_guarded(const std::vector<char*>& arguments) {
    try {
        return run(arguments);
    } catch (const Misuse& misuse) {
        std::fprintf(stderr,
                     "usage: ctlbench COMMAND [FILE...] [OPTION...] [-- DAEMON_OPTION...]\n"
                     "ctlbench --help lists commands and options\nctlbench: %s\n",
                     misuse.what());
        return MISUSED;
    } catch (const NoOutside& none) {
        std::fprintf(stderr, "ctlbench: %s\n", none.what());
        return MISUSED;
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
    return bench::run_guarded(std::vector<char*>(argv, argv + argc));
}
