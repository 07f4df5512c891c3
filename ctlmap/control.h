// The controls of the controller under their numbers, as the loaded configuration has them.
#pragma once

#include "model.h"

namespace ctlmap {

constexpr int NONE = -1;

enum control_kind { POT, PLATTER, TOUCHED_PLATTER, ENCODER, BUTTON, LED, METER, SPARE };
constexpr const char* KIND_NAMES[] = {"pot",    "platter", "touched platter", "encoder",
                                      "button", "LED",     "meter",           "spare"};

struct control {
    int idx;
    control_kind kind;
    const lined<cfg_base_record>* record;  // the line that counts; null: it has none
    const char* name;                      // empty: it has none
    // Numbers of notes, or of controllers for what is not a button or LED; NONE where it has no
    // such message.
    int board_sends;  // pressed or moved
    int host_sees;
    int host_sends;  // to light it
    int board_sees;
    bool host_sees_note, host_sends_note, board_sees_note;
    bool relative;       // it reports steps to the host
    int units_per_step;  // if relative
    int passes;          // fewest between two messages of a pot or meter
    bool off_darkens;    // a note-off turns its LED off
};

// The control with this index, 0 to 84.
control control_of(const model& from, int idx);

// The label that a note drives, the first one with it, or null.
const t_soft_label* label_of(int note);

}  // namespace ctlmap
