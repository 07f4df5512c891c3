#include "world/process.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "world/checked.h"
#include "world/platform.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

// All but the first: the daemon's has ended, and tells nothing any more.
std::vector<pid_t> threads(pid_t pid) {
    std::vector<pid_t> numbers;
    std::error_code error;
    const fs::path tasks = fs::path("/proc") / std::to_string(pid) / "task";
    for (const fs::directory_entry& entry : fs::directory_iterator(tasks, error)) {
        const pid_t number = std::stoi(entry.path().filename().string());
        if (number != pid) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

fs::path of_thread(pid_t pid, pid_t thread) {
    return fs::path("/proc") / std::to_string(pid) / "task" / std::to_string(thread);
}

fs::path of_process(pid_t pid) {
    const std::vector<pid_t> others = threads(pid);
    return of_thread(pid, others.empty() ? pid : others.front());
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

int kilobytes(pid_t pid, const std::string& key) {
    return std::atoi(field(of_process(pid) / "status", key).c_str());
}

int kilobytes_below_4_gb(pid_t pid, const std::string& key) {
    std::ifstream in(of_process(pid) / "smaps");
    bool below = false;
    int sum = 0;
    for (std::string line; std::getline(in, line);) {
        if (std::isupper(static_cast<unsigned char>(line[0])) == 0) {
            below = std::stoull(line, nullptr, 16) < 1ULL << 32;
        } else if (below && line.rfind(key, 0) == 0) {
            sum += std::stoi(line.substr(key.size()));
        }
    }
    return sum;
}

}  // namespace

const std::string& this_program() {
    static const std::string path = fs::read_symlink("/proc/self/exe");
    return path;
}

Child start_beside(std::vector<std::string> words, const std::vector<int>& passed, int input,
                   int output) {
    const pid_t owner = getpid();
    const std::vector<char*> pointers = pointers_to(words);
    const pid_t pid = check(fork(), "fork");
    if (pid != 0) {
        return Child(pid);
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
    setsid();
    umask(022);
    const int null = open("/dev/null", O_RDWR);
    dup2(input < 0 ? null : input, STDIN_FILENO);
    dup2(output < 0 ? null : output, STDOUT_FILENO);
    dup2(STDOUT_FILENO, STDERR_FILENO);
    close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    for (const int fd : passed) {
        fcntl(fd, F_SETFD, 0);
    }
    if (getppid() == owner) {
        execvp(pointers[0], pointers.data());
        perror(pointers[0]);
    }
    _exit(EXIT_FAILURE);
}

int resident_kb(pid_t pid) {
    return kilobytes(pid, "VmRSS:");
}

int private_kb(pid_t pid) {
    return kilobytes(pid, "RssAnon:");
}

int emulated_resident_kb(pid_t pid) {
    return kilobytes_below_4_gb(pid, "Rss:");
}

int emulated_private_kb(pid_t pid) {
    return kilobytes_below_4_gb(pid, "Anonymous:");
}

int open_descriptors(pid_t pid) {
    std::error_code error;
    fs::directory_iterator entries(of_process(pid) / "fd", error);
    return error ? 0 : static_cast<int>(std::distance(begin(entries), end(entries)));
}

std::map<pid_t, std::uint64_t> thread_times(pid_t pid) {
    std::map<pid_t, std::uint64_t> times;
    for (const pid_t thread : threads(pid)) {
        std::ifstream file(of_thread(pid, thread) / "schedstat");
        std::uint64_t time;
        if (file >> time) {
            times[thread] = time;
        }
    }
    return times;
}

int inner_number(pid_t pid, pid_t thread) {
    std::istringstream text(field(of_thread(pid, thread) / "status", "NSpid:"));
    int number = 0;
    while (text >> number) {  // the innermost comes last
    }
    return number;
}

}  // namespace bench
