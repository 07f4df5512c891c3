// What an end of the virtual controller can be connected to: a MIDI port of this computer, a raw
// device, a serial line.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "controller/midi_text.h"

namespace bench {

// It cannot be had; the text says why, and what to do.
struct NoOutside : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Outside {
  public:
    enum class Sent { Taken, Later, Lost };

    virtual ~Outside() = default;
    // Readable when something has come in or has changed; -1 while there is nothing to wait for.
    virtual int fd() const = 0;
    // Sends one message, whole or not at all.
    virtual Sent send(const Bytes& message) = 0;
    // What has come in since the last call, in whatever pieces.
    virtual Bytes receive() = 0;
    // Looks who is connected, and whether what has gone is back. To be called often.
    virtual void look() = 0;
    // "→1 ←2": how many programs get from it and send to it; "open", "gone".
    virtual std::string state() const = 0;
    // Messages that were lost in it, both ways, since it was opened.
    virtual long long lost() const = 0;
};

// A port that other programs see by this name. `api` is "alsa", "jack", or empty: ALSA's sequencer
// where there is one, else JACK. Throws NoOutside.
std::unique_ptr<Outside> open_midi_port(const std::string& name, const std::string& api);

enum class Line { AsItIs, Serial };  // Serial: 115200 bit/s, 8 data bits, no flow control

// A character device; a terminal is made raw. One that goes is opened again when it is back. Throws
// NoOutside.
std::unique_ptr<Outside> open_device(const std::string& path, Line line);

}  // namespace bench
