// What an end of the virtual controller can be connected to: a MIDI port of this computer, a raw
// device, a serial line.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

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
    // Readable when something has come in; -1 while there is nothing to wait for.
    virtual int fd() const = 0;
    // Sends one message, whole or not at all.
    virtual Sent send(const Bytes& message) = 0;
    // The messages that have come in since the last call.
    virtual std::vector<Bytes> receive() = 0;
    // Looks who is connected, and whether what has gone is back. To be called often.
    virtual void look() = 0;
    // "→1 ←2": how many programs get from it and send to it; "open", "gone".
    virtual std::string state() const = 0;
    // Messages that were lost in it, both ways, since it was opened.
    virtual long long lost() const = 0;
};

// Why this file cannot be opened for both ways, with errno set; empty if it can.
std::string why_not_open(const std::string& path);

// A port of ALSA's sequencer that other programs see by this name. Throws NoOutside.
std::unique_ptr<Outside> open_midi_port(const std::string& name);

// AsItIs gives whole messages. Serial is 115200 bit/s, 8 data bits, no flow control; what comes is
// given to the byte.
enum class Line { AsItIs, Serial };

// A character device; a terminal is made raw. One that goes is opened again when it is back. Throws
// NoOutside.
std::unique_ptr<Outside> open_device(const std::string& path, Line line);

}  // namespace bench
