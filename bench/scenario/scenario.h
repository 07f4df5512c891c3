// Scenario files: what a run of the virtual controller is set up with, what its two ends do and
// what they expect. scenarios/README.md lists every line that may stand in one.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "scenario/step.h"

namespace bench {

struct Scenario {
    std::string file;
    WorldConfig world;
    Needs needs = Needs::Nothing;
    std::vector<Step> steps;

    // Whether the world that it is to be played in has what it needs.
    bool is_playable() const {
        return needs != (world.machine.empty() ? Needs::Machine : Needs::Namespaces);
    }
};

// "FILE:LINE: expected ..."
struct ScenarioError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Reads a scenario. `defaults` is the world without the file's own set-up lines; daemon options in
// it go after those of the file. `file` names the scenario in messages, and relative paths in it
// start from where it lies. Throws ScenarioError at the first line that is none.
Scenario parse_scenario(const std::string& file, std::string_view text,
                        const WorldConfig& defaults);

// The table of the set-up lines, in Markdown.
std::string setup_table();

}  // namespace bench
