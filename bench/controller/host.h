// The host computer at the other end of the USB cable: what it saw of each control, and the
// messages by which it drives lights and meters.
#pragma once

#include <array>

#include "controller/mapping.h"
#include "controller/midi_text.h"

namespace bench {

class Host {
  public:
    // `channel` 0 to 15; with -1, where the daemon has none, messages go out on channel 0.
    Host(const Mapping& mapping, int channel);

    // Takes one message from the daemon.
    void receive(const Bytes& message);

    // The messages for a light (a note) or a meter (a control change). Empty if the control has
    // neither. `dark` is a note-off, `value` its velocity.
    Bytes light(const Control& control, int value) const;
    Bytes dark(const Control& control, int value = 0) const;
    Bytes meter(const Control& control, int value) const;
    static Bytes identity_request();

    int channel() const { return channel_; }
    // The last value seen of a control: a velocity, 0 after a note-off, or a controller's value; -1
    // if nothing was seen.
    int seen(int index) const { return seen_.at(static_cast<std::size_t>(index)); }

  private:
    Bytes command(int status, const Control& control, int value) const;

    const Mapping& mapping_;
    int channel_;
    std::array<int, CONTROL_COUNT> seen_;
};

}  // namespace bench
