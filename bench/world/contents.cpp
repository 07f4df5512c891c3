#include "world/contents.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "world/checked.h"
#include "world/handles.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

// Hand-edited files of whose checked copies the daemon deletes the old ones at its start.
constexpr const char* CHECKED[] = {PRESET_0, LABEL_LIST};

std::string resource_path(const std::string& name) {
    const fs::path path = fs::path(name).lexically_normal();
    if (path.is_absolute() || !path.has_filename() || *path.begin() == "..") {
        throw std::runtime_error("\"" + name + "\" is not the name of a file in the resources");
    }
    return RESOURCES + path.string();
}

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

Contents resources_for(const WorldConfig& config) {
    Contents contents;
    std::error_code error;
    fs::recursive_directory_iterator entries(config.resources, error);
    if (error) {
        throw std::runtime_error("cannot read the directory " + config.resources + ": " +
                                 error.message());
    }
    for (const fs::directory_entry& entry : entries) {
        if (entry.is_regular_file()) {
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
            contents.directory_mode = mode;
        } else {
            throw std::runtime_error("there is no file \"" + name + "\" to change the mode of");
        }
    }
    return contents;
}

}  // namespace bench
