// Text that may be in any encoding: an owner's editor decides, and what is written here is UTF-8.
#pragma once

#include <cstdio>
#include <string_view>

namespace engine {

// True for text that is UTF-8.
bool is_utf8(std::string_view text);

// Writes the character that a text begins with as UTF-8 and returns how many bytes of it that was.
// A byte that is not UTF-8 is taken for Latin-1; a control character becomes a question mark.
size_t write_character(std::string_view text, FILE* out);

}  // namespace engine
