#include "markup.h"

#include <algorithm>
#include <cstring>

#include "utf8.h"

namespace ctlmap {
namespace {

constexpr int REPLACEMENT = 0xFFFD;
constexpr int ELLIPSIS = 0x2026;

bool is_shown(int character) {
    const bool is_control = character < ' ' || (character >= 0x7F && character < 0xA0);
    const bool is_direction = (character >= 0x200B && character <= 0x200F) ||
                              (character >= 0x2028 && character <= 0x202E) ||
                              (character >= 0x2060 && character <= 0x206F);
    const bool is_none =
        (character & 0xFFFE) == 0xFFFE || (character >= 0xFDD0 && character <= 0xFDEF);
    return !is_control && !is_direction && !is_none;
}

bool is_gap(char c) {
    return c == ' ' || c == '_';
}

// As many characters as fit; moves `columns` down by what they take.
const char* fitting(const char* at, const char* end, int columns) {
    while (at < end) {
        const char* next = at;
        columns -= columns_of(take_character(&next));
        if (columns < 0) {
            break;
        }
        at = next;
    }
    return at;
}

}  // namespace

int take_character(const char** at) {
    size_t len = 0;
    const int character = first_character(*at, &len);
    *at += len;
    return is_shown(character) ? character : REPLACEMENT;
}

int columns_of(int character) {
    const bool is_wide = character >= 0x1100 && character != REPLACEMENT &&
                         (character < 0x1E00 || character > 0x2BFF);
    return is_wide ? 2 : 1;
}

void put_character(int character, FILE* out) {
    if (character < 0x80 && strchr("&<>\"'", character) != nullptr) {
        fprintf(out, "&#%d;", character);
    } else {
        put_utf8(character, out);
    }
}

void put_text(const char* text, FILE* out) {
    while (*text != '\0') {
        put_character(take_character(&text), out);
    }
}

int break_text(const char* text, const char* end, int columns, int most_lines, text_line* lines) {
    int count = 0;
    for (const char* at = text; at < end && count < most_lines; ++count) {
        const char* stop = fitting(at, end, columns);
        const bool is_last = count + 1 == most_lines;
        lines[count] = {at, stop, stop < end && is_last};
        if (lines[count].is_cut) {
            lines[count].end = fitting(at, end, columns - 1);
        } else if (stop < end && !is_gap(*stop)) {
            const char* gap = stop;
            while (gap > at && !is_gap(gap[-1])) {
                --gap;
            }
            stop = gap > at + 1 ? gap : std::max(stop, at + 1);
            lines[count].end = stop;
        }
        at = stop;
        while (at < end && is_gap(*at)) {
            ++at;
        }
    }
    return count;
}

void put_line(const text_line& line, FILE* out) {
    for (const char* at = line.begin; at < line.end;) {
        const int character = take_character(&at);
        put_character(character == '_' ? ' ' : character, out);
    }
    if (line.is_cut) {
        put_character(ELLIPSIS, out);
    }
}

}  // namespace ctlmap
