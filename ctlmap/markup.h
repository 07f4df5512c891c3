// Text of any bytes, as it may stand in a page of HTML.
#pragma once

#include <cstdio>

namespace ctlmap {

// The character that begins here; moves on to the next. Bytes that are not UTF-8 are taken for
// Latin-1, and control characters for U+FFFD.
int take_character(const char** at);

// Columns that a character takes in a font of fixed width.
int columns_of(int character);

// Writes a character as UTF-8, escaped if it means something in HTML.
void put_character(int character, FILE* out);

// Writes a text as the content of an element or, in quotes, of an attribute.
void put_text(const char* text, FILE* out);

// The part of a text that fits into a line.
struct text_line {
    const char* begin;
    const char* end;
    bool is_cut;  // the text goes on, and there is no line for it
};
constexpr int MAX_TEXT_LINES = 4;

// Breaks a text at blanks and underscores, or within a word that is longer than a line. Returns the
// number of lines; the last one has a column left for an ellipsis if it is cut.
int break_text(const char* text, const char* end, int columns, int most_lines, text_line* lines);

// Writes a line, its underscores as blanks.
void put_line(const text_line& line, FILE* out);

}  // namespace ctlmap
