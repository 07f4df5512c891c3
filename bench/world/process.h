// Programs beside this one, and what the system tells of a running process.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "world/handles.h"

namespace bench {

// The path of this one, also when it has been built again since.
const std::string& this_program();

// Starts a program, found as the shell finds it, that ends with this one and is away from its
// terminal. It gets these descriptors besides the standard ones, which are /dev/null if not given.
Child start_beside(std::vector<std::string> words, const std::vector<int>& passed, int input = -1,
                   int output = -1);

// Resident memory in kB, and the part of it that is no page of a file; 0 for a process that does
// not run.
int resident_kb(pid_t pid);
int private_kb(pid_t pid);

// The same of a 32-bit program that runs under user-mode emulation: the emulator's own memory lies
// above its 4 GB.
int emulated_resident_kb(pid_t pid);
int emulated_private_kb(pid_t pid);

// Open descriptors.
int open_descriptors(pid_t pid);

// Processor time of each of its threads but the first in nanoseconds, by thread number.
std::map<pid_t, std::uint64_t> thread_times(pid_t pid);

// The number that a thread of it goes by in its own world.
int inner_number(pid_t pid, pid_t thread);

}  // namespace bench
