// Bytes that come in any pieces, put together to the messages that a USB host sends.
#pragma once

#include <optional>
#include <vector>

#include "controller/midi_text.h"

namespace bench {

bool is_whole(const Bytes& message);

// Each message has its status byte, also where the sender left it out as running status, and comes
// when it is whole. Real-time bytes come at once, before the message that they stand in.
class WholeMessages {
  public:
    std::vector<Bytes> feed(const Bytes& bytes);
    // Pieces that are no message: a data byte without a status, a message cut short, a system
    // exclusive message of more than LONGEST bytes.
    long long dropped() const { return dropped_; }

    static constexpr std::size_t LONGEST = 1 << 16;

  private:
    void take(const Bytes& message, std::vector<Bytes>& whole);

    Splitter splitter_;
    std::uint8_t running_ = 0;  // the last channel status; 0: none
    long long dropped_ = 0;
};

}  // namespace bench
