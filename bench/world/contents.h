// What is in a world: what it is asked to have, and the files, links and devices that this takes.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace bench {

// Places in a world.
constexpr const char* HOME = "/opt/ctlbridge/bin";  // where the daemon starts
constexpr const char* RESOURCES = "/opt/ctlbridge/resources/";

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
    bool serial = true;                           // false: there is no /dev/ttymxc1
    bool midi = true;                             // false: there is no /dev/snd/midiC1D0
    std::chrono::milliseconds xfbdev_lingers{0};  // how long Xfbdev outlives the signal it obeys
    int xfbdev_ignores = 0;                       // how many signals it ignores before that
    bool counts_instructions = false;             // the machine's time is a count of them
    bool real_time = false;                       // the daemon may have a real-time class; root
};

// Whether a world can be made without this command of its shell. The shell's own, as echo, stay.
bool can_be_missing(const std::string& command);

// Pseudo-terminals outside that become devices inside; without a path there is no such device.
struct Devices {
    std::string serial, midi, console;
};

// All paths are the world's own, except the sources.
struct Contents {
    struct File {
        mode_t mode = FILE_MODE;
        std::string content;
    };
    struct Bind {
        std::string source, target;
    };
    std::map<std::string, File> files;
    std::vector<std::string> directories;
    mode_t resources_mode = PROGRAM_MODE;
    std::map<std::string, std::string> symlinks;  // path, what it points to
    std::vector<std::string> libraries;
    std::vector<Bind> devices;
    std::vector<std::string> command;  // the daemon's words
    bool real_time = false;
};

// The whole of a file. Throws if it cannot be read.
std::string read_file(const std::string& path);

// Adds the daemon's resources as they are asked for.
void add_resources(Contents& contents, const WorldConfig& config);

// Reads everything that the world is to hold. Throws what cannot be read.
Contents contents_for(const WorldConfig& config, const Devices& devices);

}  // namespace bench
