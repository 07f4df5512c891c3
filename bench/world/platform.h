// The parts that this program plays inside a world, each under the name of the program it stands in
// for: the first process, the two processes that the daemon stops, and the platform's commands,
// which tell how they were called.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
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

// Starts a program with default signal dispositions and nothing but standard descriptors open:
// `output`, or /dev/null if it is -1.
pid_t spawn(std::vector<std::string> words, int output, int blocked_signal = 0);

// Starts the two processes that the daemon stops.
void start_others(int xfbdev_ignores, std::chrono::milliseconds xfbdev_lingers);

// The words as exec takes them, with a null pointer at the end; valid as long as they are.
std::vector<char*> pointers_to(std::vector<std::string>& words);

// The first process of a world is PLATFORM_INIT with these words: the number of the socket that is
// to take the calls, what is said of Xfbdev in WorldConfig, and the daemon's own words. Its
// standard output takes those of the daemon; its standard input is a packet socket, over which it
// sends WORLD_STARTED and, when the daemon has ended, its exit status, 128 + signal if it was
// killed. When the other end closes, all ends.
constexpr const char* WORLD_STARTED = "started";

// Listens for calls at PLATFORM_SOCKET with this socket.
void take_calls(int socket);

// A packet that has come, waiting for it if `wait`. Nothing if there is none or the other end has
// gone; then errno is EAGAIN or ECONNRESET.
std::optional<std::string> receive_packet(int socket, bool wait);

// Takes the next call from the socket; the caller waits until `caller` is closed. Nothing if there
// is none.
std::optional<std::string> receive_call(int socket, Fd& caller);

}  // namespace bench
