// Raw MIDI as the observing ends read it: what leaves the daemon, cut into messages, in words and
// in hexadecimal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t byte(int value) {
    return static_cast<std::uint8_t>(value);
}

constexpr std::uint8_t NOTE_OFF = 0x80;
constexpr std::uint8_t NOTE_ON = 0x90;
constexpr std::uint8_t CONTROL_CHANGE = 0xB0;
constexpr std::uint8_t SYSEX_START = 0xF0;
constexpr std::uint8_t SYSEX_END = 0xF7;

// Cuts a byte stream into messages. There is no running status: a data byte that no status byte
// asks for is a stray, a message of its own. A real-time byte is handed on at once, even from the
// middle of another message; any other status byte ends an unfinished message, which is then handed
// on as far as it came.
class Splitter {
  public:
    std::vector<Bytes> feed(const std::uint8_t* data, std::size_t size);
    // What has come of a message that is not complete yet.
    const Bytes& pending() const { return pending_; }

  private:
    void take(std::uint8_t byte, std::vector<Bytes>& messages);

    Bytes pending_;
};

// How many bytes a message with this status byte has; 0 for system exclusive: up to its 0xF7.
std::size_t message_length(std::uint8_t status);

// A channel message with two data bytes: a number and a value.
bool has_value(const Bytes& message);
bool is_identity_request(const Bytes& message);
bool is_identity_reply(const Bytes& message);

// "note-on   ch 1  note 60  velocity 127": a message in the field's terms, channels counted from 1.
std::string describe(const Bytes& message);

// "90 3c 7f". With a limit, the middle of a longer text gives way to "..".
std::string hex(const Bytes& bytes, std::size_t limit = 0);

// Reads "90 3c 7f". Nothing if a word is not a byte of one or two hexadecimal digits.
std::optional<Bytes> parse_hex(std::string_view text);

// A system-exclusive message of `size` bytes, at least 2, that no other size is the beginning of.
// `open` leaves its 0xF7 out; the size then still counts it.
Bytes make_sysex(std::size_t size, bool open);

}  // namespace bench
