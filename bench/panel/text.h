// How text is fitted into columns: UTF-8, characters of one column each.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

bool begins_character(char c);
int text_width(std::string_view text);

// The text in lines of at most so many columns, broken at blanks where it can be; all but the first
// are indented.
std::vector<std::string> wrapped(std::string_view text, int width, int indent);

// The text with gaps of one blank, except among its first `head` bytes.
std::string tightened(std::string_view text, std::size_t head);

// A name in at most so many columns: vowels within its words go, from the end. Nothing if that is
// not enough.
std::optional<std::string> abbreviated(std::string name, int width);

// The parts with a gap between them, without those at the end that have no room.
std::string joined(const std::vector<std::string>& parts, int width);

}  // namespace bench
