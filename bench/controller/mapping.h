// The controls of the controller, as the mapping files describe them: which number the board, the
// host and the daemon's two ways out use for each. Read here anew, without the daemon's own reader,
// so that what the daemon sends can be checked against it. Strictly, a record a line: what the
// daemon makes of others a scenario has to say in bytes.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

enum class Kind { Pot, Platter, Partner, Encoder, Button, Light, Meter, Spare };

// A block of controls, by configuration index, and what the control board calls the first of them.
// The numbers of the others count up.
struct Block {
    int first, last;
    Kind kind;
    int board_sends;  // -1: nothing
    int host_sees;    // by default; -1: nothing
    int host_sends;   // default of the commands' numbers, both ways; -1: no light, no meter
    bool commands_count_up = false;
};
constexpr Block BLOCKS[] = {
    {0, 11, Kind::Pot, 0x00, 0, -1},          {12, 13, Kind::Platter, 0x0C, 12, -1},
    {14, 15, Kind::Partner, 0x0E, 14, -1},    {16, 17, Kind::Pot, 0x10, 16, -1},
    {18, 18, Kind::Encoder, 0x40, 18, -1},    {19, 20, Kind::Pot, 0x41, 19, -1},
    {21, 64, Kind::Button, 0x01, 1, 1, true}, {65, 70, Kind::Button, 0x40, 64, 64, true},
    {71, 71, Kind::Button, 0x46, 70, 0},      {72, 81, Kind::Light, -1, -1, 0},
    {82, 83, Kind::Meter, -1, -1, 0},         {84, 84, Kind::Spare, -1, -1, -1},
};

constexpr const Block& block_of(Kind kind) {  // the first of its kind
    const Block* block = BLOCKS;
    while (block->kind != kind) {
        ++block;
    }
    return *block;
}

constexpr int CONTROL_COUNT = std::end(BLOCKS)[-1].last + 1;
// From a platter's index to its partner's.
constexpr int TO_PARTNER = block_of(Kind::Partner).first - block_of(Kind::Platter).first;
// A note for this light makes the daemon forget its host side.
constexpr int FORGET_INDEX = block_of(Kind::Light).last;

struct Control {
    int index = 0;
    Kind kind = Kind::Pot;
    std::string name;            // "unmapped_N" for a control that the mapping does not name
    bool mapped = false;         // a line of the mapping names it
    bool lost = false;           // a line was for it, but was refused
    std::string lost_name = {};  // the name in that line, if it could be told
    int board_sends = -1;  // controller or note number in the board's reports; -1: it sends none
    int host_sees = -1;    // number of those reports at the host
    int host_sends = -1;   // number by which the host drives its light or meter; -1: it has none
    int board_sees = -1;   // number of those commands at the board
    int control_type = 0;  // 0 pot, 1 button, 2 light, 3 button with light, 4 meter
    int data_type = 0;     // 0 absolute, 1 relative
    int extra = 0;  // lights: not 0: a note-off turns it off; relative: 16 times the zoom number
    int rate = 2;   // fewest scans between two messages of a pot

    bool sends_notes() const { return kind == Kind::Button; }
    bool sends_position() const { return kind == Kind::Pot; }
    bool sends_steps() const;
    // A pot that the host does not get as steps.
    bool host_sees_position() const { return sends_position() && data_type == 0; }
    // The host drives it by notes, else by control changes.
    bool takes_notes() const { return kind != Kind::Meter; }
    // The board gets its commands as notes; everything else goes there as control changes.
    bool is_note_light() const { return control_type == 2 || control_type == 3; }
    // Units of movement that make one step at the host.
    int units_per_step() const;
};

// The text of a file of the resources directory, nothing if it is missing.
using ReadFile = std::function<std::optional<std::string>(const std::string& name)>;

class Mapping {
  public:
    // All controls under their default numbers.
    Mapping();

    // Applies the records of a base mapping; of one that cannot be read the control keeps its
    // place.
    void apply_base(std::string_view text);
    // Applies the records of a preset; names are looked up in the base mapping as grep -i finds
    // them.
    void apply_preset(std::string_view preset, std::string_view base);

    const std::array<Control, CONTROL_COUNT>& controls() const { return controls_; }
    const Control& at(int index) const { return controls_.at(static_cast<std::size_t>(index)); }

    // All look-ups: null when there is none. `status` is a status byte of any channel.
    const Control* find(std::string_view name) const;
    const Control* sent_by_board(std::uint8_t status, int number) const {
        return find(status, number, &Control::board_sends, &Control::sends_notes);
    }
    const Control* seen_by_host(std::uint8_t status, int number) const {
        return find(status, number, &Control::host_sees, &Control::sends_notes);
    }
    const Control* sent_by_host(std::uint8_t status, int number) const {
        return find(status, number, &Control::host_sends, &Control::takes_notes);
    }
    const Control* seen_by_board(std::uint8_t status, int number) const {
        return find(status, number, &Control::board_sees, &Control::is_note_light);
    }

  private:
    void apply_numbers(Control& control, int board_number, int host_number);
    const Control* find(std::uint8_t status, int number, int Control::*known,
                        bool (Control::*as_note)() const) const;

    std::array<Control, CONTROL_COUNT> controls_;
};

// What the daemon makes of a resources directory.
struct Setup {
    Mapping mapping;
    int channel = 0;  // 0 to 15; -1: none is set, host messages are dropped
};

// Reads base mapping, settings and preset. `options` is the daemon's command line: -m wins.
Setup read_setup(const ReadFile& read, const std::vector<std::string>& options);

// The value of a key of the settings file: of the first line that holds the key anywhere.
std::string setting(std::string_view settings, std::string_view key);

}  // namespace bench
