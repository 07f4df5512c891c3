// Scenario files: what a run of the virtual controller is set up with, what its two ends do and
// what they expect. scenarios/README.md lists every line that may stand in one.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "controller/controller.h"

namespace bench {

// A message, or part of one: a byte that is nothing may be any byte.
using Pattern = std::vector<std::optional<std::uint8_t>>;

bool matches(const Pattern& pattern, const Bytes& message);
// "90 3c ..", and what it says if it is a whole message.
std::string describe(const Pattern& pattern);

enum class Verb {
    Heading,
    Send,
    Expect,
    ExpectReport,
    Until,
    Silent,
    Drop,
    ExpectCall,
    UntilCall,
    RefuseCall,
    ExpectLog,
    FindLog,
    FindLogLine,
    RefuseLog,
    Wait,
    HangUp,
    ExpectExit,
    ExpectScreen,
    ShowScreen,
    Random,
    Flood,
    FloodPots,
    StopReading,
    ReadAgain,
    Fill,
    ExpectFill,
    WatchTraffic,
    WatchOrder,
};

struct Step {
    int line = 0;
    std::string text = {};  // as it stands in the file
    Verb verb = Verb::Wait;
    End end = End::Host;
    bool both = false;                 // load from both ends
    std::vector<Bytes> messages = {};  // to send
    Pattern pattern = {};
    std::string words = {};  // call, log text, heading
    milliseconds time{};
    int number = 0;  // messages of a flood, seed, exit status
    Link link = Link::Serial;
    int row = 0, column = 0;  // of the screen, from 1
    std::string color{};      // in words; empty: any
};

struct Scenario {
    std::string file;
    WorldConfig world;
    std::vector<Step> steps;
    bool expects_exit = false;
};

// "FILE:LINE: expected ..."
struct ScenarioError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Reads a scenario. `defaults` is the world without the file's own set-up lines; daemon options in
// it go behind those of the file. `file` names the scenario in messages, and relative paths in it
// start from where it lies. Throws ScenarioError at the first line that is none.
Scenario parse_scenario(const std::string& file, std::string_view text,
                        const WorldConfig& defaults);

}  // namespace bench
