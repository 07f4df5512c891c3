#include "world/contents.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "world/checked.h"
#include "world/handles.h"
#include "world/platform.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr const char* DAEMON = "/opt/ctlbridge/bin/ctlbridge";
constexpr const char* COMMANDS = "/bin/";
constexpr const char* EMULATOR = "/opt/bench/emulator";
constexpr const char* SERIAL = "/dev/ttymxc1";
constexpr const char* MIDI = "/dev/snd/midiC1D0";
constexpr const char* CONSOLE = "/dev/tty0";

constexpr const char* BUSYBOXES[] = {"/bin/busybox", "/usr/bin/busybox"};
constexpr const char* APPLETS[] = {"[",       "awk",    "basename", "cat",   "chmod", "cut",
                                   "dirname", "echo",   "grep",     "head",  "kill",  "mkdir",
                                   "mv",      "printf", "ps",       "rm",    "sed",   "sh",
                                   "sleep",   "tail",   "test",     "touch", "tr",    "wc"};
constexpr const char* SHELLS_OWN[] = {"[", "echo", "kill", "printf", "test"};
constexpr const char* LIBRARIES[] = {"/lib",     "/lib32",     "/lib64",     "/libx32",
                                     "/usr/lib", "/usr/lib32", "/usr/lib64", "/usr/libx32"};
constexpr const char* LOADER_CACHE = "/etc/ld.so.cache";
// Hand-edited files of whose checked copies the daemon deletes the old ones at its start.
constexpr const char* CHECKED[] = {"orvik.midictl.cfg0.txt", "orvik.miditxt.cfg0.txt"};
constexpr const char* DIRECTORIES[] = {"/dev/pts", "/dev/snd", "/etc", "/proc",
                                       "/run",     "/tmp",     HOME,   RESOURCES};

}  // namespace

std::string read_file(const std::string& path) {
    const Fd file(check(open(path.c_str(), O_RDONLY | O_CLOEXEC), "cannot read " + path));
    std::string content;
    std::array<char, 65536> piece;
    for (ssize_t size; (size = read(file.get(), piece.data(), piece.size())) != 0;) {
        check(size, "cannot read " + path);
        content.append(piece.data(), static_cast<std::size_t>(size));
    }
    return content;
}

namespace {

std::string resource_path(const std::string& name) {
    const fs::path path = fs::path(name).lexically_normal();
    if (path.is_absolute() || !path.has_filename() || *path.begin() == "..") {
        throw std::runtime_error("\"" + name + "\" is not the name of a file in the resources");
    }
    return RESOURCES + path.string();
}

void add_busybox(Contents& contents) {
    const auto* const found =
        std::find_if(std::begin(BUSYBOXES), std::end(BUSYBOXES),
                     [](const char* path) { return access(path, X_OK) == 0; });
    if (found == std::end(BUSYBOXES)) {
        throw std::runtime_error("there is no BusyBox: install the Debian package busybox");
    }
    contents.files[PLATFORM_BUSYBOX] = {PROGRAM_MODE, read_file(*found)};
    for (const char* const applet : APPLETS) {
        contents.symlinks[COMMANDS + std::string(applet)] = PLATFORM_BUSYBOX;
    }
}

void add_libraries(Contents& contents) {
    for (const char* const path : LIBRARIES) {
        if (fs::is_symlink(path)) {
            contents.symlinks[path] = fs::read_symlink(path).string();
        } else if (fs::is_directory(path)) {
            contents.libraries.emplace_back(path);
        }
    }
    if (fs::exists(LOADER_CACHE)) {
        contents.files[LOADER_CACHE] = {FILE_MODE, read_file(LOADER_CACHE)};
    }
}

void add_devices(Contents& contents, const Devices& devices) {
    contents.devices = {{"/dev/null", "/dev/null"}, {"/dev/zero", "/dev/zero"}};
    for (const auto& [source, target] :
         {std::pair(devices.console, CONSOLE), std::pair(devices.serial, SERIAL),
          std::pair(devices.midi, MIDI)}) {
        if (!source.empty()) {
            contents.devices.push_back({source, target});
        }
    }
    contents.symlinks["/dev/ptmx"] = "pts/ptmx";
}

void add_daemon(Contents& contents, const WorldConfig& config) {
    contents.files[DAEMON] = {PROGRAM_MODE, read_file(config.daemon)};
    if (!config.emulator.empty()) {
        contents.files[EMULATOR] = {PROGRAM_MODE, read_file(config.emulator)};
        contents.command = {EMULATOR};
    }
    contents.command.emplace_back("./ctlbridge");
    contents.command.insert(contents.command.end(), config.options.begin(), config.options.end());
}

}  // namespace

void add_resources(Contents& contents, const WorldConfig& config) {
    std::error_code error;
    fs::recursive_directory_iterator entries(config.resources, error);
    if (error) {
        throw std::runtime_error("cannot read the directory " + config.resources + ": " +
                                 error.message());
    }
    for (const fs::directory_entry& entry : entries) {
        if (entry.is_regular_file() && entry.path().extension() != ".ok") {
            const auto mode = static_cast<mode_t>(entry.status().permissions());
            const std::string name = entry.path().lexically_relative(config.resources).string();
            contents.files[RESOURCES + name] = {mode & 0777, read_file(entry.path().string())};
        }
    }
    for (const char* const name : CHECKED) {  // the copies that an earlier start has left
        if (const auto source = contents.files.find(RESOURCES + std::string(name));
            source != contents.files.end()) {
            contents.files[source->first + ".ok"].content = source->second.content;
        }
    }
    for (const std::string& name : config.removed) {
        contents.files.erase(RESOURCES + name);
    }
    for (const auto& [name, content] : config.files) {
        contents.files[resource_path(name)].content = content;
    }
    for (const std::string& name : config.directories) {
        contents.directories.push_back(resource_path(name));
        contents.files.erase(contents.directories.back());
    }
    for (const auto& [name, mode] : config.modes) {
        if (const auto file = contents.files.find(resource_path(name));
            file != contents.files.end()) {
            file->second.mode = mode;
        } else if (name == ".") {
            contents.resources_mode = mode;
        } else {
            throw std::runtime_error("there is no file \"" + name + "\" to change the mode of");
        }
    }
}

// Everything is read out here: inside, a root of another user's files may read less.
Contents contents_for(const WorldConfig& config, const Devices& devices) {
    Contents contents;
    contents.real_time = config.real_time;
    contents.directories.assign(std::begin(DIRECTORIES), std::end(DIRECTORIES));
    add_devices(contents, devices);
    add_resources(contents, config);
    add_busybox(contents);
    add_libraries(contents);
    add_daemon(contents, config);
    contents.files[PLATFORM_PROGRAM] = {PROGRAM_MODE, read_file("/proc/self/exe")};
    for (const std::string& path : platform_paths()) {
        contents.symlinks[path] = PLATFORM_PROGRAM;
    }
    for (const std::string& command : config.missing_commands) {
        contents.symlinks.erase(COMMANDS + command);
    }
    return contents;
}

bool can_be_missing(const std::string& command) {
    const auto is_it = [&](const std::string& path) { return path == COMMANDS + command; };
    const std::vector<std::string> platform = platform_paths();
    const bool known =
        std::find(std::begin(APPLETS), std::end(APPLETS), command) != std::end(APPLETS) ||
        std::any_of(platform.begin(), platform.end(), is_it);
    return known &&
           std::find(std::begin(SHELLS_OWN), std::end(SHELLS_OWN), command) == std::end(SHELLS_OWN);
}

}  // namespace bench
