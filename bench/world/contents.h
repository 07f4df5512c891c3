// What a world is asked to have, and the resources that the daemon finds in it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "world/places.h"

namespace bench {

constexpr mode_t PROGRAM_MODE = 0755;
constexpr mode_t FILE_MODE = 0644;

// How the daemon is started in an emulated machine: as elsewhere; as on an old kernel; by its init
// script at boot.
enum class Start { Plainly, Old, Script };

// What a world is made of. Paths are those of the machine outside.
struct WorldConfig {
    std::string daemon;                // the ctlbridge binary; empty: the one of the machine
    std::vector<std::string> options;  // its command line
    std::string machine;               // directory of an emulated machine; empty: namespaces
    Start start = Start::Plainly;
    std::string emulator;   // runs the daemon if not empty: qemu-arm-static
    std::string resources;  // directory whose copy the daemon finds at ../resources
    std::map<std::string, std::string> files;  // laid over the copy: name below resources, content
    std::vector<std::string> removed;          // names taken out of the copy
    std::vector<std::string> directories;      // names where a directory stands instead of a file
    std::map<std::string, unsigned> modes;     // permission bits; ".": of the copy itself
    std::vector<std::string> missing_commands;
    bool serial = true;                           // false: there is no serial line
    bool midi = true;                             // false: there is no MIDI device
    std::chrono::milliseconds xfbdev_lingers{0};  // how long Xfbdev outlives the signal it obeys
    int xfbdev_ignores = 0;                       // how many signals it ignores before that
    bool counts_instructions = false;             // the machine's time is a count of them
};

// What is below the daemon's resources, under the paths that it has in the world.
struct Contents {
    struct File {
        mode_t mode = FILE_MODE;
        std::string content;
    };
    std::map<std::string, File> files;
    std::vector<std::string> directories;
    mode_t directory_mode = PROGRAM_MODE;  // of RESOURCES itself
};

// The whole of a file. Throws if it cannot be read.
std::string read_file(const std::string& path);

// The resources as they are asked for. Throws what cannot be read.
Contents resources_for(const WorldConfig& config);

}  // namespace bench
