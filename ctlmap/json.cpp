#include "json.h"

namespace ctlmap {

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

// Bytes above 0x7F are taken for Latin-1: files need not be UTF-8, JSON must.
void json_writer::quote(std::string_view text) {
    fputc('"', out_);
    for (const char c : text) {
        const unsigned char code = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            fprintf(out_, "\\%c", c);
        } else if (code < ' ' || code >= 0x7F) {
            fprintf(out_, "\\u%04x", code);
        } else {
            fputc(c, out_);
        }
    }
    fputc('"', out_);
}

}  // namespace ctlmap
