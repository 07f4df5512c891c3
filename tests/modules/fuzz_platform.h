// What stands around the daemon's code while it is fuzzed: the files and devices of the module
// tests, and, at the daemon's own system calls, its two lines, its shell and its clock.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "controller/midi_text.h"

namespace fuzz {

// A line as the daemon's reads and writes see it: bytes that wait, and each write by itself.
struct Line {
    std::string waiting;
    std::vector<std::string> written;
};
extern Line board;
extern Line host;

// The time that the daemon is told, whichever clock it asks.
extern std::int64_t time_ms;

// Whether a shell runs the commands. Else look-ups are answered here and others do nothing.
extern bool shell_runs;

// The daemon's commands of this input. One with anything in it that a shell would interpret fails.
extern std::vector<std::string> commands;

// Builds the platform and silences the daemon's standard output. Paths on the command line are
// made absolute, as the working directory changes. To be called by LLVMFuzzerInitialize.
void set_up(int* argc, char*** argv);

// Stands as long as one input runs.
struct Input {
    Input();
    ~Input();
};

// What the daemon has said on standard error since the last call.
std::string diagnostics();

// Prints what was found and ends the process; the fuzzer saves the input.
[[noreturn, gnu::format(printf, 1, 2)]] void fail(const char* format, ...);

// Bytes in hexadecimal.
inline std::string hex(const std::string& bytes) {
    return bench::hex({bytes.begin(), bytes.end()});
}

}  // namespace fuzz
