#include "markup.h"

#include <algorithm>
#include <cstring>

namespace ctlmap {
namespace {

constexpr int REPLACEMENT = 0xFFFD;
constexpr int ELLIPSIS = 0x2026;

struct utf8_form {
    int mask, lead, more, least;
};
constexpr utf8_form UTF8_FORMS[] = {
    {0xE0, 0xC0, 1, 0x80}, {0xF0, 0xE0, 2, 0x800}, {0xF8, 0xF0, 3, 0x10000}};

constexpr int byte_at(const char* at) {
    return static_cast<unsigned char>(*at);
}

bool is_shown(int character) {
    const bool is_control = character < ' ' || (character >= 0x7F && character < 0xA0);
    const bool is_surrogate = character >= 0xD800 && character < 0xE000;
    const bool is_direction = (character >= 0x200B && character <= 0x200F) ||
                              (character >= 0x2028 && character <= 0x202E) ||
                              (character >= 0x2060 && character <= 0x206F);
    const bool is_none = (character & 0xFFFE) == 0xFFFE ||
                         (character >= 0xFDD0 && character <= 0xFDEF) || character > 0x10FFFF;
    return !is_control && !is_surrogate && !is_direction && !is_none;
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
    const int lead = byte_at(*at);
    for (const utf8_form& form : UTF8_FORMS) {
        if ((lead & form.mask) != form.lead) {
            continue;
        }
        int character = lead & ~form.mask;
        int count = 1;
        for (; count <= form.more && (byte_at(*at + count) & 0xC0) == 0x80; ++count) {
            character = character << 6 | (byte_at(*at + count) & 0x3F);
        }
        if (count > form.more && character >= form.least) {
            *at += count;
            return is_shown(character) ? character : REPLACEMENT;
        }
    }
    ++*at;
    return is_shown(lead) ? lead : REPLACEMENT;
}

int columns_of(int character) {
    const bool is_wide = character >= 0x1100 && character != REPLACEMENT &&
                         (character < 0x1E00 || character > 0x2BFF);
    return is_wide ? 2 : 1;
}

void put_character(int character, FILE* out) {
    if (character < 0x80) {
        const bool has_meaning = strchr("&<>\"'", character) != nullptr;
        fprintf(out, has_meaning ? "&#%d;" : "%c", character);
    } else {
        int form = 0;
        while (form < 2 && character >= UTF8_FORMS[form + 1].least) {
            ++form;
        }
        int shift = 6 * UTF8_FORMS[form].more;
        fputc(UTF8_FORMS[form].lead | character >> shift, out);
        while (shift > 0) {
            shift -= 6;
            fputc(0x80 | (character >> shift & 0x3F), out);
        }
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
