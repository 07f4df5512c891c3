// The labels, their places and their colours.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "check.h"
#include "target_cfg.h"

namespace ctlmap {
namespace {

using label_record = lined<sl_customization>;
using color_record = lined<t_labellist>;
using place_record = lined<t_soft_label>;

constexpr int ROWS = 17;
constexpr int COLUMNS = 60;

// --- Colours ---

// The colours by their indices.
struct color_slots {
    const color_record* at[MAX_LIST_NUM] = {};
};

color_slots check_slots(const model& what, findings* to) {
    color_slots slots;
    for (const color_record& color : what.colors) {
        const auto*& earlier = slots.at[color.idx];
        if (earlier != nullptr) {
            report(to, "color-twice", COLORS_FILE, color.line,
                   "index %d is that of %s in line %d, which can no longer be found; give each "
                   "colour its own",
                   color.idx, earlier->key_name, earlier->line);
        }
        earlier = &color;
    }
    return slots;
}

void check_color_name(const color_record& color, const color_slots& slots, findings* to) {
    const int found = idx_colorname_in_color_list(color.key_name);
    const color_record* const first = found >= 0 ? slots.at[found] : nullptr;
    if (first != nullptr && found < color.idx) {
        report(to, "color-twice", COLORS_FILE, color.line,
               "labels that name %s get index %d, from line %d; give each colour its own name",
               color.key_name, found, first->line);
    }
}

void check_gaps(const color_slots& slots, findings* to) {
    const color_record* const* const free_slot = std::find(slots.at, std::end(slots.at), nullptr);
    for (int i = total_color_list; i < MAX_LIST_NUM; ++i) {
        if (slots.at[i] != nullptr) {
            report(to, "color-gap", COLORS_FILE, slots.at[i]->line,
                   "%s is not found: of %d colours, indices 0 to %d are looked at; give it index "
                   "%d, which is free",
                   slots.at[i]->key_name, total_color_list, total_color_list - 1,
                   static_cast<int>(free_slot - slots.at));
        }
    }
}

template <typename type>
const lined<type>* with_key(const records<type>& list, const char* key,
                            bool (*same)(const char*, const char*)) {
    for (const auto& record : list) {
        if (same(record.key_name, key)) {
            return &record;
        }
    }
    return nullptr;
}

bool same_text(const char* a, const char* b) {
    return strcmp(a, b) == 0;
}

bool has_color(const label_record& label, const char* name) {
    return same_text(label.on_color, name) || same_text(label.off_color, name);
}

// Reported once, at the first label that uses it.
void check_color(const model& what, const label_record& label, const char* name, findings* to) {
    if (what.colors.count == 0 || idx_colorname_in_color_list(name) >= 0 ||
        with_key(what.colors, name, same_text) != nullptr) {
        return;  // there, or reported at its own line
    }
    int users = 0;
    for (const label_record& other : what.labels) {
        if (has_color(other, name)) {
            if (users == 0 && &other != &label) {
                return;
            }
            ++users;
        }
    }
    const color_record* const alike = with_key(what.colors, name, same_letters);
    report(to, "label-color", LABELS_FILE, label.line,
           "there is no colour %s, which %d label%s: colour 0 is drawn instead; %s%s", name, users,
           users == 1 ? " uses" : "s use",
           alike != nullptr ? "names are case-sensitive: write " : "write a name of ",
           alike != nullptr ? alike->key_name : COLORS_FILE);
}

// --- Places ---

bool has_label(const model& what, const place_record& one) {
    return with_key(what.labels, one.key_name, same_text) != nullptr;
}

void check_place(const model& what, const place_record& one, findings* to) {
    const int last_column = COLUMNS - MAX_LABEL_LEN + 1;
    if (one.x_pos < 1 || one.x_pos > ROWS || one.y_pos < 1 || one.y_pos > last_column) {
        report(
            to, "place-range", POSITIONS_FILE, one.line,
            "%s in row %d, column %d does not fit the screen; use rows 1 to %d and columns 1 to %d",
            one.key_name, one.x_pos, one.y_pos, ROWS, last_column);
    }
    for (const place_record& earlier : what.positions) {
        if (&earlier == &one) {
            return;
        }
        const int distance = one.y_pos - earlier.y_pos;
        if (same_text(earlier.key_name, one.key_name)) {
            report(to, "label-twice", POSITIONS_FILE, one.line,
                   "%s already has a place in line %d, which its label uses; give this one another "
                   "key",
                   one.key_name, earlier.line);
        } else if (earlier.x_pos == one.x_pos && distance < MAX_LABEL_LEN &&
                   distance > -MAX_LABEL_LEN && has_label(what, one) && has_label(what, earlier)) {
            report(to, "place-overlap", POSITIONS_FILE, one.line,
                   "%s covers %s in line %d, %d columns apart in row %d; leave %d between them",
                   one.key_name, earlier.key_name, earlier.line,
                   distance < 0 ? -distance : distance, one.x_pos, MAX_LABEL_LEN);
        }
    }
}

// --- Labels ---

bool check_key(const model& what, const label_record& label, findings* to) {
    if (what.positions.count == 0 && &label != what.labels.begin()) {
        return false;  // reported for the first
    }
    if (idx_keyname_in_soft_label_array(label.key_name) < 0) {
        const place_record* const alike = with_key(what.positions, label.key_name, same_letters);
        report(to, "label-place", LABELS_FILE, label.line,
               "there is no place %s, so this label is not drawn; %s%s", label.key_name,
               alike != nullptr ? "keys are case-sensitive: write " : "write a key of ",
               alike != nullptr ? alike->key_name : POSITIONS_FILE);
        return false;
    }
    for (const label_record* later = &label + 1; later < what.labels.end(); ++later) {
        if (same_text(later->key_name, label.key_name)) {
            report(to, "label-twice", LABELS_FILE, label.line,
                   "%s has another label in line %d, which counts; remove one of them",
                   label.key_name, later->line);
            return false;
        }
    }
    return true;
}

void check_text(const label_record& label, findings* to) {
    const size_t len = strlen(label.text);
    if (has_other_letters(label.text)) {
        report(to, "not-ascii", LABELS_FILE, label.line,
               "%s has accented letters or the like, which the screen may show as other "
               "characters, two for one; write plain letters",
               label.text);
    } else if (len > MAX_LABEL_LEN) {
        report(to, "label-cut", LABELS_FILE, label.line,
               "%s is shown as %.*s; write a text of at most %d characters", label.text,
               MAX_LABEL_LEN, label.text, MAX_LABEL_LEN);
    }
}

const label_record* label_at(const model& what, int idx) {
    const label_record* found = nullptr;
    for (const label_record& label : what.labels) {
        found = idx_keyname_in_soft_label_array(label.key_name) == idx ? &label : found;
    }
    return found;
}

bool has_note(const control& one, int note) {
    return (one.host_sees_note && one.host_sees == note) ||
           (one.host_sends_note && one.host_sends == note);
}

// Who has the note in the end, and who had it before the preset.
void check_note_use(const model& what, const label_record& label, findings* to) {
    const lined<cfg_base_record>* before = nullptr;
    for (int idx = HOST_CFG_BASE; idx < TOTAL_CFG_ITEM; ++idx) {
        const control one = control_of(what, idx);
        if (has_note(one, label.note)) {
            return;
        }
        if (one.kind != METER && one.kind != SPARE && one.record != nullptr &&
            one.record->app_cc == label.note) {
            before = one.record;
        }
    }
    if (before != nullptr && is_digits(what.of(PRESET).value)) {
        report(to, "label-left", LABELS_FILE, label.line,
               "the preset has moved %s from note %d to %d, and this label does not follow it; "
               "write %d",
               before->name, label.note, control_of(what, before->idx).host_sends,
               control_of(what, before->idx).host_sends);
    } else if (before == nullptr && what.base.count > 0) {
        report(to, "label-alone", LABELS_FILE, label.line,
               "no control or LED has note %d, so only a host that knows this label draws it; if "
               "it belongs to a control, write its note",
               label.note);
    }
}

void check_note(const model& what, const label_record& label, findings* to) {
    if (!is_midi(label.note)) {
        report(to, "number-range", LABELS_FILE, label.line,
               "note %d is not 0 to 127: the host cannot reach this label; write the note of its "
               "control",
               label.note);
        return;
    }
    const int idx = idx_keyname_in_soft_label_array(label.key_name);
    const int follows = idx_soft_label_ctl(static_cast<u8>(label.note));
    const label_record* const other = label_at(what, follows);
    if (follows != idx && other != nullptr) {
        report(to, "label-note", LABELS_FILE, label.line,
               "note %d draws %s in line %d, whose place comes first, and never this label; give "
               "it the note of its own control",
               label.note, other->key_name, other->line);
        return;
    }
    check_note_use(what, label, to);
}

}  // namespace

void check_labels(const model& what, findings* to) {
    const color_slots slots = check_slots(what, to);
    for (const color_record& color : what.colors) {
        check_color_name(color, slots, to);
    }
    check_gaps(slots, to);
    for (const place_record& one : what.positions) {
        check_place(what, one, to);
    }
    for (const label_record& label : what.labels) {
        if (!check_key(what, label, to)) {
            continue;
        }
        check_color(what, label, label.on_color, to);
        check_color(what, label, label.off_color, to);
        if (idx_colorname_in_color_list(label.on_color) == 0) {
            report(to, "on-color-0", LABELS_FILE, label.line,
                   "%s is colour 0: a label that the host changes is drawn in %s instead; use "
                   "another on colour",
                   label.on_color, label.off_color);
        }
        check_text(label, to);
        check_note(what, label, to);
    }
}

}  // namespace ctlmap
