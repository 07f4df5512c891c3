#include "controller/board.h"

#include <algorithm>

namespace bench {
namespace {

Bytes identity_reply() {
    // Manufacturer 0x7D, family 1, model 1, version 1.0.0.0; numbers of two bytes low byte first.
    return {SYSEX_START, 0x7E, 0x00, 0x06, 0x02, 0x7D, 0x01,     0x00,
            0x01,        0x00, 0x01, 0x00, 0x00, 0x00, SYSEX_END};
}

std::vector<Bytes> note(std::uint8_t status, const Control& button, int velocity) {
    if (!button.sends_notes()) {
        return {};
    }
    return {{status, byte(button.board_sends), byte(velocity & 0x7F)}};
}

}  // namespace

Board::Board(const Mapping& mapping) : mapping_(mapping) {}

std::vector<Bytes> Board::press(const Control& button, int velocity) {
    return note(NOTE_ON, button, velocity);
}

std::vector<Bytes> Board::release(const Control& button, int velocity) {
    return note(NOTE_OFF, button, velocity);
}

std::vector<Bytes> Board::turn(const Control& pot, int position) {
    if (!pot.sends_position()) {
        return {};
    }
    const int position_7 = std::clamp(position, 0, 127);
    const int position_8 = position_7 << 1 | position_7 >> 6;  // 0 to 255 over the whole travel
    return {
        {byte(CONTROL_CHANGE | position_8 >> 7), byte(pot.board_sends), byte(position_8 & 0x7F)}};
}

std::vector<Bytes> Board::spin(const Control& control, int units) {
    std::vector<Bytes> messages;
    while (control.sends_steps() && units != 0) {
        const int some = std::clamp(units, -MOST_UNITS, MOST_UNITS);
        messages.push_back({CONTROL_CHANGE, byte(control.board_sends), byte(REST + some)});
        units -= some;
    }
    return messages;
}

std::vector<Bytes> Board::rest(const Control& control) {
    if (!control.sends_steps()) {
        return {};
    }
    return {{CONTROL_CHANGE, byte(control.board_sends), REST}};
}

std::vector<Bytes> Board::report() {
    std::vector<Bytes> messages;
    for (const Control& control : mapping_.controls()) {
        for (Bytes& message : turn(control, position(control.index))) {
            messages.push_back(std::move(message));
        }
    }
    return messages;
}

std::vector<Bytes> Board::receive(const Bytes& message) {
    if (is_identity_request(message)) {
        return {identity_reply()};
    }
    if (!has_value(message)) {
        return {};
    }
    if (message[0] == NOTE_ON && message[1] == 0) {
        return receive_note_0(message[2]);
    }
    if (message[0] == NOTE_ON && message[1] == TRAFFIC_LED) {
        traffic_ = message[2];
    } else if (const Control* control = mapping_.seen_by_board(message[0], message[1])) {
        const int zero = control->kind == Kind::Meter ? METER_ZERO : 0;
        shown_[static_cast<std::size_t>(control->index)] = message[2] - zero;
    }
    return {};
}

std::vector<Bytes> Board::receive_note_0(int value) {
    if (value == SCREEN_TAKING) {
        screen_changes_hands_ = true;
    } else if (value == SCREEN_TAKEN && screen_changes_hands_) {
        screen_changes_hands_ = false;
    } else if (value == SCREEN_TAKEN) {
        return report();
    }
    return {};
}

void Board::sent(const Bytes& message) {
    const Control* const control =
        has_value(message) ? mapping_.sent_by_board(message[0], message[1]) : nullptr;
    if (control == nullptr) {
        return;
    }
    const auto index = static_cast<std::size_t>(control->index);
    if (control->sends_notes()) {
        pressed_[index] = message[0] == NOTE_ON;
    } else if (control->sends_position()) {
        position_[index] = position_in(message);
    }
}

int position_in(const Bytes& message) {
    return ((message[0] & 1) << 7 | message[2]) >> 1;
}

}  // namespace bench
