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

// One pass of each worker over what the two ends have just sent. Tells what reaches them, the LED
// of the traffic apart, and what waits in the rings: "host 90 3c 7f board 90 01 05 ring0 2".
std::string pass(const std::string& from_board, const std::string& from_host);

// Pulls the cables of both ends.
void hang_up();

// The bytes of a file; none when it cannot be read.
std::string read_file(const std::string& path);

// Writes ../resources/NAME. The directory starts out empty.
void write_resource(const std::string& name, const std::string& content);
std::string read_resource(const std::string& name);

// What the last command wrote to the text console.
std::string console_got();

// The platform commands called so far, one a line.
std::string commands_called();
