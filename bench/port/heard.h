// What a real board has said: which of the controls have spoken, and what docs/wire.md does not
// know.
#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

#include "controller/mapping.h"
#include "controller/midi_text.h"

namespace bench {

class Heard {
  public:
    static constexpr const char* UNKNOWN = "unknown: ";  // before each kind

    Heard() { last_.fill(-1); }
    void take(const Bytes& message, const Mapping& mapping);
    // The board was asked for all positions, which it then repeats.
    void pots_are_wanted() { last_.fill(-1); }

    bool has_spoken(int index) const { return spoken_.at(static_cast<std::size_t>(index)); }
    // "12 of 72 controls have spoken", "unknown: 3 × note 0x50", and the names of those that
    // never have and of those that have.
    std::vector<std::string> lines(const Mapping& mapping) const;

  private:
    std::string unknown(const Bytes& message, const Control* control);
    bool sends_steps(const Control& pot, const Bytes& message);

    std::array<bool, CONTROL_COUNT> spoken_{};
    std::array<int, CONTROL_COUNT> last_{};      // reading of a pot; -1: none to compare with
    std::array<bool, CONTROL_COUNT> strayed_{};  // a reading was none that steps would give
    std::map<std::string, int> unknown_;         // kind, how often
};

}  // namespace bench
