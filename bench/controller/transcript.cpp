#include "controller/transcript.h"

#include <cstdio>

namespace bench {
namespace {

constexpr std::size_t HEX_COLUMN = 19;  // width of the bytes: six and a blank
constexpr std::size_t HEX_BYTES = 6;
constexpr const char* TRAFFIC[] = {"none", "to the board", "to the host", "both ways"};

struct Request {
    int value;
    const char* words;
};
constexpr Request REQUESTS[] = {
    {SCREEN_TAKEN, "screen taken"},
    {SCREEN_TAKING, "screen about to be taken"},
    {POWER_OFF, "power off"},
};

std::string from_board(const Bytes& message, const Control& control) {
    if (control.sends_notes()) {
        return control.name + ((message[0] & 0xF0) == NOTE_ON ? " pressed" : " released");
    }
    if (control.sends_position()) {
        return control.name + " at " + std::to_string(position_in(message));
    }
    const int units = message[2] - REST;
    if (units == 0) {
        return control.name + " at rest";
    }
    return control.name + (units > 0 ? " +" : " ") + std::to_string(units);
}

std::string to_board(const Bytes& message, const Control* control) {
    const int value = message[2];
    if (message[0] == NOTE_ON && message[1] == 0) {
        for (const Request& request : REQUESTS) {
            if (request.value == value) {
                return request.words;
            }
        }
    }
    if (message[0] == NOTE_ON && message[1] == TRAFFIC_LED) {
        return std::string("traffic LED: ") + TRAFFIC[value & 3];
    }
    if (control == nullptr) {
        return describe(message);
    }
    if (control->kind == Kind::Meter) {
        return control->name + " level " + std::to_string(value - METER_ZERO);
    }
    return control->name + (value == 0 ? " light off" : " light " + std::to_string(value));
}

std::string visible(const Bytes& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (byte == 0x1B) {
            text += "\\e";
        } else {
            text += byte < 0x20 ? '.' : static_cast<char>(byte);
        }
    }
    return text;
}

}  // namespace

bool is_traffic_led(const Event& event) {
    return event.came_to(End::Board) && event.bytes.size() == 3 && event.bytes[0] == NOTE_ON &&
           event.bytes[1] == TRAFFIC_LED;
}

std::string words_for(const Event& event, const Mapping& mapping) {
    if (event.place == Place::Console) {
        return visible(event.bytes);
    }
    if (!event.is_message()) {
        return event.text;
    }
    const Control* const control = event.control < 0 ? nullptr : &mapping.at(event.control);
    if (event.place == Place::Board && has_value(event.bytes)) {
        if (!event.to_daemon) {
            return event.wants_pots ? "all pots wanted" : to_board(event.bytes, control);
        }
        if (control != nullptr) {
            return from_board(event.bytes, *control);
        }
        if (event.bytes[1] == POWER_SWITCH && event.bytes[0] < CONTROL_CHANGE) {
            return event.bytes[0] == NOTE_ON ? "power switch pressed" : "power switch released";
        }
    }
    return describe(event.bytes) + (control == nullptr ? "" : "   " + control->name);
}

std::string transcript_line(const Event& event, const Mapping& mapping) {
    static constexpr const char* NAMES[] = {"board", "host ", "call ", "log  ", "tty0 ", "world"};
    std::string line = std::string(NAMES[static_cast<std::size_t>(event.place)]) + " ";
    if (event.is_message()) {
        std::string bytes = hex(event.bytes, HEX_BYTES);
        bytes.resize(std::max(bytes.size() + 1, HEX_COLUMN), ' ');
        line += (event.to_daemon ? "→ " : "← ") + bytes;
    }
    return line + words_for(event, mapping);
}

Transcript::Transcript(const Mapping& mapping, bool no_traffic, bool quiet)
    : mapping_(mapping), no_traffic_(no_traffic), quiet_(quiet) {}

void Transcript::print(const std::vector<Event>& events) {
    for (; printed_ < events.size(); ++printed_) {
        const Event& event = events[printed_];
        const bool hidden = quiet_ || (no_traffic_ && is_traffic_led(event));
        if (!hidden) {
            std::puts(transcript_line(event, mapping_).c_str());
        }
    }
    std::fflush(stdout);
}

void Transcript::note(const std::string& text) const {
    if (!quiet_) {
        std::puts(text.c_str());
    }
}

void Transcript::heading(const std::string& text) const {
    note("\n" + text);
}

}  // namespace bench
