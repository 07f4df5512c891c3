// What a configuration does, found out by playing it on the daemon's own modules: each control is
// pressed, released and turned, each note and controller of the host is sent, and what comes out is
// written down. Plain data: two configurations that do the same are equal here.
#pragma once

#include "model.h"
#include "target_cfg.h"

namespace engine {

constexpr int SCREEN_ROWS = 17;
constexpr int SCREEN_COLUMNS = 60;

constexpr const char* KIND_NAMES[] = {"pot",    "platter", "touched platter", "encoder",
                                      "button", "LED",     "meter",           "spare"};

enum direction { FROM_BOARD, TO_HOST_WAY, FROM_HOST, TO_BOARD_WAY, DIRECTIONS };

// Messages that differ in the last byte at most.
struct message_form {
    u8 status, number;
    int value;  // NONE: it varies
};

constexpr int MAX_FORMS = 4;

// All messages of a control in one direction; none: there are none.
struct messages {
    int count;
    message_form forms[MAX_FORMS];
    int least, most;  // of the last byte; from the board, of a position of eight bits

    bool are_notes() const;
    bool are_controllers() const;
    int number() const { return count > 0 ? forms[0].number : NONE; }
};

struct shown_label {
    int entry;  // of the daemon's table
    int line;   // of the labels' file, that counts
    char place[LABEL_TEXT_SIZE];
    char text[LABEL_TEXT_SIZE];
    int note;
    int row, column;  // where the screen has it, which has nothing beyond its edges; NONE: nowhere
    bool is_drawn;    // some note of the host draws it
    char on_color[LABEL_TEXT_SIZE], on_sequence[LABEL_TEXT_SIZE];
    char off_color[LABEL_TEXT_SIZE], off_sequence[LABEL_TEXT_SIZE];
};

struct mapped_control {
    int idx;
    char name[CFG_NAME_SIZE];
    int line;         // of the base mapping, that counts; 0: none
    int preset_line;  // 0: the preset does not move it
    messages ways[DIRECTIONS];
    messages at_start;  // what it sends, to either side, before anything has happened
    bool relative;      // the host gets steps
    bool rests;         // and a message when they end
    int units_per_step;
    int passes;        // fewest between two messages; NONE: no limit
    bool off_darkens;  // a note-off turns its light off
    int label;         // that its note draws; NONE: none

    const ctl_info& info() const { return CONTROLS[idx]; }
    // The number that it has towards the host, also where nothing is sent under it.
    int number;
};

struct answers {
    int channel;  // NONE: none is valid
    int preset;   // NONE: none applies
    gadget_values usb;
    mapped_control controls[TOTAL_CFG_ITEM];
    shown_label labels[MAX_TOTAL_SOFT_LABELS];
    int label_count;
    int label_of_note[MIDI_NUMBERS];    // NONE: it draws none
    int control_of_note[MIDI_NUMBERS];  // whose light it drives; NONE: none
    int control_of_controller[MIDI_NUMBERS];
};

// Plays the configuration that is loaded.
void ask(const model& from, answers* to);

}  // namespace engine
