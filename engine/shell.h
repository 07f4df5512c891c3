// What the daemon has the shell do, done here in the way of the controller's BusyBox: look-ups,
// the check script, and the echo that draws a label.
#pragma once

#include <cstddef>
#include <string_view>

namespace engine {

struct found_line {
    int number;  // 0: no line has the key
    std::string_view text;
};

// The first line that contains the key, as grep -i finds it, where a dot is any character. Of a
// line with a byte 0, what stands in front of it: cut takes the rest for another line.
found_line look_up(std::string_view text, std::string_view key);

// The field with this number, from 1, as cut gives it; all of a line without the separator.
std::string_view cut_field(std::string_view line, char separator, int number);

// Makes the checked copy of a file, as the delivered script does, and reports what it refuses.
void make_checked_copy(std::string_view name, int fields);

// Writes the bytes that a double-quoted argument of echo -ne prints; returns how many.
size_t echo_bytes(std::string_view quoted, char* bytes, size_t size);

}  // namespace engine
