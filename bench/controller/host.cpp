#include "controller/host.h"

namespace bench {

Host::Host(const Mapping& mapping, int channel)
    : mapping_(mapping), channel_(channel < 0 ? 0 : channel) {
    seen_.fill(-1);
}

void Host::receive(const Bytes& message) {
    if (!has_value(message)) {
        return;
    }
    if (const Control* control = mapping_.seen_by_host(message[0], message[1])) {
        const bool off = (message[0] & 0xF0) == NOTE_OFF;
        seen_[static_cast<std::size_t>(control->index)] = off ? 0 : message[2];
    }
}

Bytes Host::light(const Control& control, int value) const {
    return control.takes_notes() ? command(NOTE_ON, control, value) : Bytes();
}

Bytes Host::dark(const Control& control, int value) const {
    return control.takes_notes() ? command(NOTE_OFF, control, value) : Bytes();
}

Bytes Host::meter(const Control& control, int value) const {
    return control.takes_notes() ? Bytes() : command(CONTROL_CHANGE, control, value);
}

Bytes Host::identity_request() {
    return {SYSEX_START, 0x7E, 0x7F, 0x06, 0x01, SYSEX_END};
}

Bytes Host::command(int status, const Control& control, int value) const {
    if (control.host_sends < 0) {
        return {};
    }
    return {byte(status | channel_), byte(control.host_sends & 0x7F), byte(value & 0x7F)};
}

}  // namespace bench
