// The parts of the page.
#pragma once

#include "control.h"
#include "findings.h"
#include "markup.h"
#include "model.h"
#include "target_cfg.h"

namespace ctlmap {

// What all parts are drawn from.
struct chart {
    const model& of;
    const findings& found;
    FILE* out;
    control controls[TOTAL_CFG_ITEM];
    int control_at[MAX_FINDINGS];  // the control that a finding is about, or NONE
};

// Whether the finding with this number, from 0, is about the control.
bool is_about(const chart& from, int finding, int idx);

// --- Places ---

enum side { LEFT, MIDDLE, RIGHT, SIDES };
constexpr const char* SIDE_NAMES[SIDES] = {"Deck A", "Mixer", "Deck B"};

// Where a control stands: by the end of its name, _A or _B; without a name where it was built in.
side side_of(const control& of);

// The name as the front shows it, without _A or _B; "index 21" where there is none.
struct short_name {
    char spare[16];
    const char* begin;
    const char* end;

    explicit short_name(const control& of);
};

// The text of a label as shown, without the blanks after it.
text_line label_text(const t_soft_label& label);

// --- Numbers ---

// Channel of messages to the host, 0 to 15.
int sent_channel(const model& of);

// Whether the host's messages for this control have an effect: a channel is set.
bool is_heard(const model& of);

// --- The parts ---

void put_front(const chart& from);
void put_screens(const chart& from);
void put_controls(const chart& from);
void put_midi_chart(const chart& from);
void put_findings(const chart& from);

// Links to the findings about this control.
void put_finding_links(const chart& from, int idx);

}  // namespace ctlmap
