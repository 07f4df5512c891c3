#include "utf8.h"

namespace engine {
namespace {

// UTF-8 characters of more than one byte, by the ranges of their first and second byte.
struct utf8_range {
    unsigned char first_min, first_max, second_min, second_max;
    size_t len;
};
constexpr utf8_range UTF8_RANGES[] = {
    {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3}, {0xE1, 0xEC, 0x80, 0xBF, 3},
    {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3}, {0xF0, 0xF0, 0x90, 0xBF, 4},
    {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

// The length of the one that the text begins with; 1: it begins with none.
size_t utf8_length(std::string_view text) {
    const auto is_in = [&](size_t at, int min, int max) {
        const int byte = at < text.size() ? static_cast<unsigned char>(text[at]) : -1;
        return byte >= min && byte <= max;
    };
    for (const utf8_range& range : UTF8_RANGES) {
        if (is_in(0, range.first_min, range.first_max) &&
            is_in(1, range.second_min, range.second_max) &&
            (range.len < 3 || is_in(2, 0x80, 0xBF)) && (range.len < 4 || is_in(3, 0x80, 0xBF))) {
            return range.len;
        }
    }
    return 1;
}

}  // namespace

int first_character(std::string_view text, size_t* len) {
    *len = utf8_length(text);
    const int lead = static_cast<unsigned char>(text[0]);
    if (*len == 1) {
        return lead;
    }
    int character = lead & (0x7F >> *len);
    for (size_t i = 1; i < *len; ++i) {
        character = character << 6 | (text[i] & 0x3F);
    }
    return character;
}

bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        const size_t len = utf8_length(text);
        if (len == 1 && static_cast<unsigned char>(text[0]) >= 0x80) {
            return false;
        }
        text.remove_prefix(len);
    }
    return true;
}

void put_utf8(int character, FILE* out) {
    if (character < 0xA0) {
        const bool is_control = character < ' ' || character >= 0x7F;
        fputc(is_control ? '?' : character, out);  // a terminal might obey it
        return;
    }
    int shift = character < 0x800 ? 6 : character < 0x10000 ? 12 : 18;
    constexpr int LEADS[] = {0xC0, 0xE0, 0xF0};
    fputc(LEADS[shift / 6 - 1] | character >> shift, out);
    while (shift > 0) {
        shift -= 6;
        fputc(0x80 | (character >> shift & 0x3F), out);
    }
}

size_t write_character(std::string_view text, FILE* out) {
    size_t len = 0;
    put_utf8(first_character(text, &len), out);
    return len;
}

}  // namespace engine
