// Writes JSON, a value at a time.
#pragma once

#include <cstdio>
#include <string_view>

namespace engine {

class json_writer {
  public:
    explicit json_writer(FILE* out) : out_(out) {}

    json_writer& begin_object() { return open('{'); }
    json_writer& begin_array() { return open('['); }
    void end_object() { close('}'); }
    void end_array() { close(']'); }

    // In an object: before each value.
    json_writer& key(std::string_view name);

    void value(std::string_view text);
    void value(const char* text) { value(std::string_view(text)); }
    void value(int number);
    void plain(const char* text);  // as it is, such as null

  private:
    json_writer& open(char bracket);
    void close(char bracket);
    void separate();
    void quote(std::string_view text);

    FILE* out_;
    int depth_ = 0;
    bool first_ = true;  // in this object or array
    bool after_key_ = false;
};

}  // namespace engine
