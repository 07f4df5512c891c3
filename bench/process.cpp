#include "process.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace bench {
namespace {

namespace fs = std::filesystem;

// By one of its threads: the daemon's first one has ended, and tells nothing any more.
fs::path proc(pid_t pid) {
    fs::path last;
    std::error_code error;
    const fs::path tasks = fs::path("/proc") / std::to_string(pid) / "task";
    for (const fs::directory_entry& entry : fs::directory_iterator(tasks, error)) {
        last = std::max(last, entry.path());
    }
    return last;
}

// The rest of the line that begins with a key.
std::string field(const fs::path& file, const std::string& key) {
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        if (line.rfind(key, 0) == 0) {
            return line.substr(key.size());
        }
    }
    return {};
}

int number(const std::string& text) {
    return std::atoi(text.c_str());
}

}  // namespace

int resident_kb(pid_t pid) {
    return number(field(proc(pid) / "status", "VmRSS:"));
}

int private_kb(pid_t pid) {
    return number(field(proc(pid) / "status", "RssAnon:"));
}

int open_descriptors(pid_t pid) {
    std::error_code error;
    fs::directory_iterator entries(proc(pid) / "fd", error);
    return error ? 0 : static_cast<int>(std::distance(begin(entries), end(entries)));
}

std::map<pid_t, std::uint64_t> thread_times(pid_t pid) {
    std::map<pid_t, std::uint64_t> times;
    std::error_code error;
    const fs::path tasks = fs::path("/proc") / std::to_string(pid) / "task";
    for (const fs::directory_entry& entry : fs::directory_iterator(tasks, error)) {
        std::ifstream file(entry.path() / "schedstat");
        std::uint64_t time;
        if (file >> time) {
            times[std::stoi(entry.path().filename().string())] = time;
        }
    }
    return times;
}

int inner_number(pid_t pid, pid_t thread) {
    std::istringstream text(
        field(proc(pid).parent_path() / std::to_string(thread) / "status", "NSpid:"));
    int number = 0;
    while (text >> number) {  // the innermost comes last
    }
    return number;
}

}  // namespace bench
