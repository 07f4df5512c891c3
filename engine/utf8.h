// Text that may be in any encoding: an owner's editor decides, and what is written here is UTF-8.
#pragma once

#include <cstdio>
#include <string_view>

namespace engine {

// The character that a text begins with; `len` gets how many bytes it takes. A byte that is not
// UTF-8 is taken for Latin-1.
int first_character(std::string_view text, size_t* len);

// True for text that needs no such guess.
bool is_utf8(std::string_view text);

// Writes a character as UTF-8; for a control character, a question mark.
void put_utf8(int character, FILE* out);

// Writes the character that a text begins with and returns how many bytes of it that was.
size_t write_character(std::string_view text, FILE* out);

}  // namespace engine
