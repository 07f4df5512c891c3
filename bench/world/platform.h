// The parts that this program plays inside a world, each under the name of the program it stands in
// for: the first process, the two processes that the daemon stops, and the platform's commands,
// which tell how they were called.
#pragma once

#include <sys/types.h>
#include <sys/un.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "world/handles.h"

namespace bench {

// Places in a world.
constexpr const char* PLATFORM_PROGRAM = "/opt/bench/platform";  // this program
constexpr const char* PLATFORM_INIT = "/opt/bench/init";
constexpr const char* PLATFORM_SOCKET = "/run/platform";  // takes the calls, a connection each
constexpr const char* PLATFORM_BUSYBOX = "/bin/busybox";

// Plays the part that argv[0] names, without its directory, and returns its exit status; -1 if
// argv[0] names none. Commands other than killall do nothing but tell, if they are not real.
int platform_main(int argc, char** argv, bool commands_are_real = false);

// The paths in a world under which this program plays its parts.
std::vector<std::string> platform_paths();

// The address of PLATFORM_SOCKET.
sockaddr_un platform_address();

// Starts a program with default signal dispositions and nothing but standard descriptors open:
// `output`, or /dev/null if it is -1.
pid_t spawn(std::vector<std::string> words, int output, int blocked_signal = 0);

// Starts the two processes that the daemon stops.
void start_others(int xfbdev_ignores, std::chrono::milliseconds xfbdev_lingers);

// The words as exec takes them, with a null pointer at the end; valid as long as they are.
std::vector<char*> pointers_to(std::vector<std::string>& words);

// What the first process of a world is to do. The descriptors are those that it was given.
struct InitOrders {
    int control = -1;  // a packet socket: reports go out; when its other end closes, all ends
    int log = -1;      // standard output and error of `command`
    int xfbdev_ignores = 0;
    std::chrono::milliseconds xfbdev_lingers{0};
    std::vector<std::string> command;  // the daemon's words
};

// Its command line, from the word "init" on.
std::vector<std::string> init_words(const InitOrders& orders);

// What is reported from a world over its control socket, one packet each.
enum class Report : char {
    Refused = 'R',  // the machine allows no such world; the text says what was refused
    Failed = 'F',   // something else went wrong; the text says what
    Started = 'S',  // the daemon runs
    Ended = 'E',    // the daemon ended; the text is its exit status, 128 + signal if it was killed
};

void send_report(int control, Report report, const std::string& text = {});

// Receives one report, waiting for it if `wait`. Nothing if there is none or the world is gone;
// then errno is EAGAIN or ECONNRESET.
std::optional<std::pair<Report, std::string>> receive_report(int control, bool wait);

// Takes the next call from the socket; the caller waits until `caller` is closed. Nothing if there
// is none.
std::optional<std::string> receive_call(int socket, Fd& caller);

}  // namespace bench
