// The platform around the modules under test: pseudo-terminals at the paths that the daemon opens,
// in a /dev of this process's own, a resources directory, BusyBox as the shell, and stand-ins for
// platform commands. Bytes are written as in "90 3c 7f".
#pragma once

#include <string>

// Moves the process to a private mount namespace and sets everything up. Once, before any test.
void make_platform();

void board_sends(const std::string& bytes);
void host_sends(const std::string& bytes);

// What has arrived since the last call. host_got() flushes the MIDI output buffer first.
std::string board_got();
std::string host_got();

// Pulls the cable of the host's end.
void hang_up_midi();

// Writes ../resources/NAME. The directory starts out empty.
void write_resource(const std::string& name, const std::string& content);
std::string read_resource(const std::string& name);

// What the last command wrote to the text console.
std::string console_got();

// The platform commands called so far, one a line.
std::string commands_called();
