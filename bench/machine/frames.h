// What the bench and the program inside the machine say to each other over a serial line of its
// own: a kind, the length in two bytes, the lower first, and a text that long.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace bench {

enum class Frame : char {
    // From inside.
    Booted = 'B',  // all is prepared
    Log = 'L',     // output of the daemon and of commands, in pieces as they come
    Screen = 'S',  // what brings a console up to date
    Call = 'C',    // the daemon runs a command of the platform, which waits for an answer
    Ready = 'R',   // the daemon and the host have opened their devices
    Exit = 'E',    // the daemon's exit status, 128 + signal if it was killed
    Done = 'D',    // the exit status of a command
    // From outside.
    Answer = 'A',  // the caller goes on
    Run = 'X',     // a command for the shell
};

constexpr std::size_t LONGEST_FRAME = 4096;

inline std::string framed(Frame kind, std::string_view text) {
    text = text.substr(0, LONGEST_FRAME);
    std::string frame = {static_cast<char>(kind), static_cast<char>(text.size() & 0xFF),
                         static_cast<char>(text.size() >> 8)};
    return frame.append(text);
}

// Takes pieces as they come, and hands on whole frames.
class Deframer {
  public:
    void feed(std::string_view piece,
              const std::function<void(Frame kind, const std::string& text)>& take) {
        constexpr std::size_t HEAD = 3;
        pending_ += piece;
        while (pending_.size() >= HEAD) {
            const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(pending_[i]); };
            const std::size_t size = HEAD + byte(1) + 256U * byte(2);
            if (pending_.size() < size) {
                return;
            }
            const std::string frame = pending_.substr(0, size);
            pending_.erase(0, size);
            take(static_cast<Frame>(frame[0]), frame.substr(HEAD));
        }
    }

  private:
    std::string pending_;
};

}  // namespace bench
