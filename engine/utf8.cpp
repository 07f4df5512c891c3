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

// A terminal might obey a control character, of which Unicode has some more.
size_t write_character(std::string_view text, FILE* out) {
    const size_t len = utf8_length(text);
    const int first = static_cast<unsigned char>(text[0]);
    if (len > 1 && (first != 0xC2 || static_cast<unsigned char>(text[1]) >= 0xA0)) {
        fwrite(text.data(), 1, len, out);
    } else if (len == 1 && first >= 0xA0) {
        fprintf(out, "%c%c", 0xC0 | first >> 6, 0x80 | (first & 0x3F));
    } else {
        fputc(first < ' ' || first >= 0x7F ? '?' : first, out);
    }
    return len;
}

}  // namespace engine
