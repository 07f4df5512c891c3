// What a configuration does, as plain data: two that do the same are equal here.
#pragma once

#include "control.h"
#include "model.h"
#include "target_cfg.h"

namespace ctlmap {

enum direction { FROM_BOARD, TO_HOST, FROM_HOST, TO_BOARD, DIRECTIONS };

struct message {
    bool there;
    bool is_note;  // else a control change
    int number;
    int channel;      // of the host's messages; NONE: they are dropped
    int least, most;  // of its value
    char bytes[24];   // all forms, "90 3C 7F; 80 3C vv"
};

struct shown_label {
    char place[LABEL_TEXT_SIZE];
    char text[LABEL_TEXT_SIZE];
    int note, row, column;
    char on_color[LABEL_TEXT_SIZE], on_sequence[LABEL_TEXT_SIZE];
    char off_color[LABEL_TEXT_SIZE], off_sequence[LABEL_TEXT_SIZE];
};

struct mapped_control {
    int idx;
    control_kind kind;
    char name[CFG_NAME_SIZE];
    message messages[DIRECTIONS];
    bool moves;          // a pot or the like, not a button
    bool relative;       // if it moves
    int units_per_step;  // if relative
    int passes;          // NONE: no limit to its rate
    bool off_darkens;    // if the host sends it notes
    int label;           // NONE: no label follows its note
};

struct mapping {
    int channel;  // NONE: none is valid
    int preset;   // NONE: none applies
    gadget_values usb;
    mapped_control controls[TOTAL_CFG_ITEM];
    shown_label labels[MAX_TOTAL_SOFT_LABELS];
    int label_count;
};

// Loads a directory for its mapping alone, `through` a model. False, with a message on standard
// error, when that cannot be done or the daemon would not start.
bool load_mapping(const char* dir, model* through, mapping* to);

// The same in a process of its own, since the daemon's tables can be filled only once in each.
bool load_mapping_apart(const char* dir, model* through, mapping* to);

}  // namespace ctlmap
