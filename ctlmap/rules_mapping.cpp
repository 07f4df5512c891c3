// The lines of the base mapping, each for itself.
#include <cstdlib>
#include <cstring>

#include "check.h"
#include "target_cfg.h"

namespace ctlmap {
namespace {

using base_record = lined<cfg_base_record>;

bool sets_host_number_only(const base_record& record) {
    return record.cf_cc == -1;
}

void check_index_twice(const model& what, findings* to) {
    const base_record* first[TOTAL_CFG_ITEM] = {};
    for (const base_record& record : what.base) {
        const auto*& earlier = first[record.idx];
        if (earlier != nullptr && !sets_host_number_only(record)) {
            report(to, "index-twice", BASE_FILE, record.line,
                   "index %d, here %s, already has a line: %s in line %d, which this one "
                   "overrides; give each control one line",
                   record.idx, record.name, earlier->name, earlier->line);
        }
        earlier = &record;
    }
}

// --- Controls without a line ---

// A line that the daemon has refused, with a message, is a line.
void mark_written(const model& what, bool (&written)[TOTAL_CFG_ITEM]) {
    for (lines in(what, BASE_FILE); in.next();) {
        word first;
        const bool is_data = in.text()[0] != '#' && in.text()[0] != ' ';
        if (is_data && split(in.text(), &first, 1) > 0 && is_number(first)) {
            const int idx = atoi(first.data());
            if (idx >= 0 && idx < TOTAL_CFG_ITEM) {
                written[idx] = true;
            }
        }
    }
}

struct missing_indices {
    char list[256] = "";
    int count = 0;
    int last = NONE;
};

missing_indices missing_of(const model& what) {
    bool written[TOTAL_CFG_ITEM] = {};
    mark_written(what, written);
    const auto is_missing = [&](int idx) {
        return idx < TOTAL_CFG_ITEM && !written[idx] && control_of(what, idx).kind != SPARE;
    };
    missing_indices found;
    for (int idx = 0; idx < TOTAL_CFG_ITEM; ++idx) {
        const int begin = idx;
        while (is_missing(idx)) {
            ++idx;
        }
        if (idx > begin) {
            const size_t len = strlen(found.list);
            snprintf(found.list + len, sizeof found.list - len,
                     idx == begin + 1 ? "%s%d" : "%s%d to %d", len == 0 ? "" : ", ", begin,
                     idx - 1);
            found.count += idx - begin;
            found.last = idx - 1;
        }
    }
    return found;
}

void check_no_line(const model& what, findings* to) {
    const missing_indices missing = missing_of(what);
    if (missing.count == 1) {
        const control one = control_of(what, missing.last);
        report(to, "no-line", BASE_FILE, 0,
               "index %d (%s) has no line: it keeps its built-in number %d%s; give it one", one.idx,
               KIND_NAMES[one.kind], one.host_sees != NONE ? one.host_sees : one.host_sends,
               one.kind == BUTTON       ? ", and its LED stays dark"
               : one.host_sends != NONE ? ", and stays dark"
                                        : "");
    } else if (missing.count > 1 && what.base.count > 0) {
        report(to, "no-line", BASE_FILE, 0,
               "%d indices have no line: %s; they keep built-in numbers, and their LEDs and meters "
               "stay dark; give each a line",
               missing.count, missing.list);
    }
}

// --- Types ---

struct kind_types {
    control_kind kind;
    int right[2];
    const char* write;
};
constexpr kind_types KIND_TYPES[] = {
    {POT, {0, 0}, "write 0"},
    {PLATTER, {0, 0}, "write 0"},
    {TOUCHED_PLATTER, {0, 0}, "write 0"},
    {ENCODER, {0, 0}, "write 0"},
    {BUTTON, {1, 3}, "write 3, or 1 if it has no LED"},
    {LED, {2, 3}, "write 2"},
    {METER, {4, 4}, "write 4"},
};

void check_type(const model& what, const base_record& record, control_kind kind, findings* to) {
    // What goes to the board as the wrong kind of message shows nothing.
    const bool goes_as_note = control_of(what, record.idx).board_sees_note;
    const bool is_dark = (kind == LED && !goes_as_note) || (kind == METER && goes_as_note);
    for (const kind_types& types : KIND_TYPES) {
        const bool fits = record.ctl_type == types.right[0] || record.ctl_type == types.right[1];
        if (types.kind != kind || fits) {
            continue;
        }
        if (is_dark) {
            report(to, "type-dark", BASE_FILE, record.line,
                   "with ctl_type %d %s (%s) stays dark; %s", record.ctl_type, record.name,
                   KIND_NAMES[kind], types.write);
        } else {
            report(to, "type", BASE_FILE, record.line, "ctl_type %d does not fit %s (%s)%s; %s",
                   record.ctl_type, record.name, KIND_NAMES[kind],
                   kind == BUTTON && !goes_as_note ? ": its LED, if it has one, stays dark" : "",
                   types.write);
        }
    }
}

bool gives_steps(control_kind kind) {
    return kind == PLATTER || kind == TOUCHED_PLATTER || kind == ENCODER;
}

void check_data_type(const base_record& record, control_kind kind, findings* to) {
    if (gives_steps(kind)) {
        if (record.data_type != MIDI_DATA_SLIDER_RELATIVE) {
            report(to, "data-position", BASE_FILE, record.line,
                   "with data_type %d %s, which turns endlessly, sends positions that start over "
                   "at 0 after 127; write 1 for steps",
                   record.data_type, record.name);
        }
    } else if (record.data_type != MIDI_DATA_SLIDER_ABSOLUTE) {
        report(to, "data-type", BASE_FILE, record.line, "with data_type %d %s sends %s; write 0",
               record.data_type, record.name,
               record.idx < TOTAL_POT_NUM ? "steps, although it has a position"
                                          : "a stray message at the start");
    }
}

// --- Numbers ---

bool is_rated(control_kind kind) {
    return kind <= ENCODER || kind == METER;
}

void check_zoom(const base_record& record, control_kind kind, findings* to) {
    const int zoom = record.add_data / ZOOM_SCALE_MAX;
    const bool steps = gives_steps(kind) && record.data_type == MIDI_DATA_SLIDER_RELATIVE;
    if (kind == POT && zoom != 0) {
        report(to, "zoom", BASE_FILE, record.line,
               "add_data %d has no effect: %s sends positions, which have no zoom; write 0",
               record.add_data, record.name);
    } else if (steps && (record.add_data < 0 || zoom >= ZOOM_SCALE_MAX)) {
        report(to, "zoom", BASE_FILE, record.line,
               "add_data %d is not 0 to 255: %s gets zoom %d; write 16 times the zoom number",
               record.add_data, record.name, static_cast<u8>(record.add_data) / ZOOM_SCALE_MAX);
    } else if (steps && record.add_data % ZOOM_SCALE_MAX != 0) {
        report(
            to, "zoom", BASE_FILE, record.line,
            "add_data %d counts as zoom %d, as it is 16 times the zoom number; write %d for zoom "
            "%d, %d for zoom %d",
            record.add_data, zoom, zoom * ZOOM_SCALE_MAX, zoom,
            record.add_data % ZOOM_SCALE_MAX * ZOOM_SCALE_MAX, record.add_data % ZOOM_SCALE_MAX);
    }
}

void check_rate(const base_record& record, control_kind kind, findings* to) {
    const int kept = static_cast<u8>(record.add_data2);
    if (is_rated(kind) && kept != record.add_data2) {
        report(to, "rate", BASE_FILE, record.line,
               "add_data2 %d is not 0 to 255: %s waits %d passes; write %d for the slowest",
               record.add_data2, record.name, kept, UINT8_MAX);
    }
}

void check_midi_numbers(const model& what, const base_record& record, findings* to) {
    const bool is_meter = control_of(what, record.idx).kind == METER;
    if (!is_midi(record.app_cc)) {
        report(to, "number-range", BASE_FILE, record.line,
               "app_cc %d is not 0 to 127: MIDI has no such number, and %s cannot be used; write "
               "one that is free, such as %d",
               record.app_cc, record.name,
               free_number(what, record.app_cc, record.idx >= TOTAL_POT_NUM && !is_meter));
    }
    if (record.idx >= HOST_CFG_BASE && !is_midi(record.cf_cc) && !sets_host_number_only(record)) {
        report(to, "number-range", BASE_FILE, record.line,
               "cf_cc %d is not 0 to 127: the board has no such LED or meter; write the delivered "
               "number of index %d",
               record.cf_cc, record.idx);
    }
}

// --- Words ---

void check_name(const base_record& record, findings* to) {
    if (has_other_letters(record.name)) {
        report(to, "not-ascii", BASE_FILE, record.line,
               "the name %s has accented letters or the like, so no preset can move it; write "
               "letters, "
               "digits and underscores",
               record.name);
    }
}

// A lookup that cuts at blanks gets more than the index.
void check_tabs(const model& what, findings* to) {
    int first = 0;
    int count = 0;
    for (const base_record& record : what.base) {
        char text[CFG_NAME_SIZE];
        read_line(what, BASE_FILE, record.line, text, sizeof text);
        const size_t index = strspn(text, "+0123456789");
        if (text[index] == '\t' || text[0] == '\t') {
            first = count == 0 ? record.line : first;
            ++count;
        }
    }
    if (count > 0) {
        report(to, "tab", BASE_FILE, first,
               "a tab beside the index, in %d line%s: a preset's lookup cuts at blanks and gets "
               "more than the index, of which it uses the number in front; write blanks",
               count, count == 1 ? "" : "s");
    }
}

}  // namespace

void check_mapping(const model& what, findings* to) {
    check_index_twice(what, to);
    check_no_line(what, to);
    check_tabs(what, to);
    for (const base_record& record : what.base) {
        const control_kind kind = control_of(what, record.idx).kind;
        check_name(record, to);
        if (kind != SPARE) {
            check_midi_numbers(what, record, to);
        }
        if (kind != SPARE && !sets_host_number_only(record)) {
            check_type(what, record, kind, to);
            check_data_type(record, kind, to);
            check_zoom(record, kind, to);
            check_rate(record, kind, to);
        }
    }
}

}  // namespace ctlmap
