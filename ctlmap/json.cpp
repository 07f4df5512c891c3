#include "json.h"

namespace ctlmap {
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

json_writer& json_writer::key(std::string_view name) {
    separate();
    quote(name);
    fputs(": ", out_);
    after_key_ = true;
    return *this;
}

void json_writer::value(std::string_view text) {
    separate();
    quote(text);
}

void json_writer::value(int number) {
    separate();
    fprintf(out_, "%d", number);
}

void json_writer::value(bool truth) {
    separate();
    fputs(truth ? "true" : "false", out_);
}

void json_writer::null() {
    separate();
    fputs("null", out_);
}

json_writer& json_writer::open(char bracket) {
    separate();
    fputc(bracket, out_);
    ++depth_;
    first_ = true;
    return *this;
}

void json_writer::close(char bracket) {
    --depth_;
    if (!first_) {
        fprintf(out_, "\n%*s", 2 * depth_, "");
    }
    fputc(bracket, out_);
    first_ = false;
    if (depth_ == 0) {
        fputc('\n', out_);
    }
}

// What goes between the value before and this one.
void json_writer::separate() {
    if (after_key_) {
        after_key_ = false;
        return;
    }
    if (depth_ > 0) {
        fprintf(out_, "%s\n%*s", first_ ? "" : ",", 2 * depth_, "");
    }
    first_ = false;
}

void json_writer::quote(std::string_view text) {
    fputc('"', out_);
    while (!text.empty()) {
        const unsigned char code = static_cast<unsigned char>(text[0]);
        if (code == '"' || code == '\\') {
            fprintf(out_, "\\%c", code);
        } else if (code < ' ' || code == 0x7F) {
            fprintf(out_, "\\u%04x", code);
        } else {
            text.remove_prefix(write_character(text, out_));
            continue;
        }
        text.remove_prefix(1);
    }
    fputc('"', out_);
}

size_t write_character(std::string_view text, FILE* out) {
    const size_t len = utf8_length(text);
    const unsigned char code = static_cast<unsigned char>(text[0]);
    if (len > 1 || code < 0x80) {
        fwrite(text.data(), len, 1, out);
    } else {
        fputc(0xC0 | code >> 6, out);
        fputc(0x80 | (code & 0x3F), out);
    }
    return len;
}

}  // namespace ctlmap
