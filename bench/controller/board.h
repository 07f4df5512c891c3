// The control board: what its controls stand at, what its lights and meters show, the messages that
// a hand on them makes it send, and its answers to the daemon's questions.
#pragma once

#include <array>
#include <vector>

#include "controller/mapping.h"
#include "controller/midi_text.h"

namespace bench {

constexpr std::uint8_t TRAFFIC_LED = 0x38;   // board note of the traffic LED
constexpr std::uint8_t POWER_SWITCH = 0x60;  // board note of the power switch, no mapped button
constexpr std::uint8_t REST = 0x40;          // a relative control's value at rest
constexpr int MOST_UNITS = 63;               // of a relative control in one message
constexpr std::uint8_t METER_ZERO = 0x30;    // what the board gets for a meter's level 0
constexpr int METER_TOP = 7;                 // a meter's highest level
constexpr int METER_WIDTH = 18;              // values of the host to a level
// Note 0 towards the board stands for the daemon's requests: by velocity.
constexpr std::uint8_t SCREEN_TAKEN = 0x00;  // at any other time: all pots wanted
constexpr std::uint8_t SCREEN_TAKING = 0x05;
constexpr std::uint8_t POWER_OFF = 0x5A;

class Board {
  public:
    explicit Board(const Mapping& mapping);

    // Gestures. Each returns the messages that the board then sends; a control of another kind than
    // the gesture needs sends none.
    static std::vector<Bytes> press(const Control& button, int velocity = 127);
    static std::vector<Bytes> release(const Control& button, int velocity = 0);
    // Moves a pot to a position, 0 to 127.
    static std::vector<Bytes> turn(const Control& pot, int position);
    // Moves a relative control by so many units, more than one message's 63 in several.
    static std::vector<Bytes> spin(const Control& control, int units);
    // Lets a relative control come to rest.
    static std::vector<Bytes> rest(const Control& control);
    // Every pot's position.
    std::vector<Bytes> report();

    // Takes one message from the daemon; returns the board's answers.
    std::vector<Bytes> receive(const Bytes& message);
    // Takes note of a message that the board sends as it is, without a gesture.
    void sent(const Bytes& message);

    // By configuration index: a pot's position 0 to 127, a light's value, a meter's level 0 to 7.
    int position(int index) const { return at(position_, index); }
    bool pressed(int index) const { return at(pressed_, index); }
    int light(int index) const { return at(shown_, index); }
    // Bit 0: towards the board, bit 1: towards the host.
    int traffic() const { return traffic_; }

  private:
    template <typename T>
    using PerControl = std::array<T, CONTROL_COUNT>;
    template <typename T>
    static T at(const PerControl<T>& values, int index) {
        return values.at(static_cast<std::size_t>(index));
    }
    std::vector<Bytes> receive_note_0(int value);

    const Mapping& mapping_;
    PerControl<int> position_{};
    PerControl<bool> pressed_{};
    PerControl<int> shown_{};
    int traffic_ = 0;
    bool screen_changes_hands_ = false;
};

// A board message's reading of a pot: the 8-bit position halved, 0 to 127.
int position_in(const Bytes& message);

}  // namespace bench
