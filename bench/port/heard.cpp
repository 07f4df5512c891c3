#include "port/heard.h"

#include <cstdio>
#include <cstdlib>

#include "controller/board.h"
#include "port/whole.h"

namespace bench {
namespace {

constexpr int MOST_OF_A_STEP = 8;  // units either way that a slow turn sends

std::string numbered(const char* format, int number) {
    char text[64];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

}  // namespace

void Heard::take(const Bytes& message, const Mapping& mapping) {
    const Control* const control =
        has_value(message) ? mapping.sent_by_board(message[0], message[1]) : nullptr;
    const std::string kind = unknown(message, control);
    if (!kind.empty()) {
        ++unknown_[kind];
    } else if (control != nullptr) {
        spoken_[static_cast<std::size_t>(control->index)] = true;
    }
}

// In which way docs/wire.md knows no such message; empty if it does.
std::string Heard::unknown(const Bytes& message, const Control* control) {
    const int status = message[0], channel = status & 0x0F;
    if (!is_whole(message)) {
        return status < 0x80 ? "data byte without a status byte" : "message cut short";
    }
    const bool note = (status & 0xE0) == NOTE_OFF;
    if (!note && (status & 0xF0) != CONTROL_CHANGE) {
        return status == SYSEX_START ? "" : numbered("status byte 0x%02X", status);
    }
    const int channels = control != nullptr && control->sends_position() ? 2 : 1;
    if (control == nullptr && !(note && message[1] == POWER_SWITCH)) {
        return numbered(note ? "note 0x%02X" : "controller 0x%02X", message[1]);
    }
    if (channel >= channels) {
        return numbered(note ? "notes on channel %d" : "controllers on channel %d", channel);
    }
    const bool steps = channels == 2 && sends_steps(*control, message);
    return steps ? "steps from " + control->name + ", a position" : "";
}

// A position that is reported is a new one; steps are the same again and again, and near to rest.
bool Heard::sends_steps(const Control& pot, const Bytes& message) {
    const auto index = static_cast<std::size_t>(pot.index);
    const int reading = (message[0] & 1) << 7 | message[2];
    const bool again = reading == last_[index] && reading != REST;
    strayed_[index] = strayed_[index] || std::abs(reading - REST) > MOST_OF_A_STEP;
    last_[index] = reading;
    return again && !strayed_[index];
}

std::vector<std::string> Heard::lines(const Mapping& mapping) const {
    std::string spoken, silent;
    int count = 0, all = 0;
    for (const Control& control : mapping.controls()) {
        const bool has = has_spoken(control.index);
        if (control.board_sends >= 0) {
            (has ? spoken : silent) += " " + control.name;
            count += has ? 1 : 0;
            ++all;
        }
    }
    std::vector<std::string> lines = {std::to_string(count) + " of " + std::to_string(all) +
                                      " controls have spoken"};
    for (const auto& [kind, times] : unknown_) {
        lines.push_back(UNKNOWN + std::to_string(times) + " × " + kind);
    }
    lines.push_back("never:" + (silent.empty() ? " none" : silent));
    lines.push_back("spoken:" + (spoken.empty() ? " none" : spoken));
    return lines;
}

}  // namespace bench
