#include "json.h"

#include "utf8.h"

namespace engine {
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

void json_writer::plain(const char* text) {
    separate();
    fputs(text, out_);
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

}  // namespace engine
