// The lines of the base mapping, each by itself: what is written against what is played.
#include <algorithm>

#include "pot.h"
#include "rules_parts.h"

namespace engine {
namespace {

using base_record = lined<cfg_base_record>;

void check_index_twice(const model& of) {
    const base_record* first[TOTAL_CFG_ITEM] = {};
    for (const base_record& record : of.base) {
        const auto*& earlier = first[record.idx];
        if (earlier != nullptr && record.cf_cc != NONE) {
            report("index-twice", BASE_FILE, record.line, record.idx,
                   "index %d, here %s, already has a line: %s in line %d, which this one "
                   "overrides; give each control one line",
                   record.idx, record.name, earlier->name, earlier->line);
        }
        earlier = &record;
    }
}

// --- Controls without a line ---

// A line that the daemon refuses, takes for a comment or for part of another one, or that has the
// index of another control, is reported for that.
bool is_missing(const mapped_control& one) {
    const auto is_lost_here = [&](const cfg_base_record& record) {
        return record.idx == one.idx && is_lost(BASE_FILE, record.name);
    };
    return one.info().kind != CTL_SPARE && one.line == 0 && !is_reported(one.idx) &&
           std::none_of(delivered_base().begin(), delivered_base().end(), is_lost_here);
}

void check_no_line(const answers& does) {
    constexpr int MOST_LISTED = 20;
    const mapped_control* missing[TOTAL_CFG_ITEM];
    int count = 0;
    bool is_dark = false;
    for (const mapped_control& one : does.controls) {
        if (is_missing(one)) {
            missing[count++] = &one;
            is_dark |= one.info().light != NONE;
        }
    }
    char list[8 * MOST_LISTED] = "";
    for (int i = 0, len = 0; i < std::min(count, MOST_LISTED); ++i) {
        len += snprintf(list + len, sizeof list - static_cast<size_t>(len), "%s%d",
                        i == 0 ? "" : ", ", missing[i]->idx);
    }
    if (count == 1) {
        report("no-line", BASE_FILE, 0, missing[0]->idx,
               "index %s (%s) has no line that counts: it keeps its built-in number %d%s; give it "
               "one",
               list, KIND_NAMES[missing[0]->info().kind], missing[0]->number,
               is_dark ? ", and its light stays dark" : "");
    } else if (count > 1) {
        report("no-line", BASE_FILE, 0, NONE,
               "%d indices have no line that counts, %s%s: they keep built-in numbers%s; give each "
               "one",
               count, list, count > MOST_LISTED ? " and more" : "",
               is_dark ? ", and their lights stay dark" : "");
    }
}

// --- The board's number ---

// Whose light the board's number is, in messages of the kind that it gets; null: nobody's.
const mapped_control* owner_of_light(const answers& does, const mapped_control& one, int number) {
    for (const mapped_control& other : does.controls) {
        const bool is_meter = other.info().kind == CTL_METER;
        if (other.info().kind != CTL_SPARE && other.info().light == number &&
            is_meter == (one.info().kind == CTL_METER)) {
            return &other;
        }
    }
    return nullptr;
}

void check_board_number(const examined& what, const mapped_control& one,
                        const base_record& record) {
    const int right = delivered_number(one.info());
    if (record.cf_cc == right) {
        return;
    }
    const mapped_control* const other =
        one.ways[TO_BOARD_WAY].are_notes() || one.info().light != NONE
            ? owner_of_light(what.does, one, static_cast<u8>(record.cf_cc))
            : nullptr;
    if (other != nullptr && other != &one) {
        const mention name(what.of, *other, BASE_FILE);
        report("board-number", BASE_FILE, record.line, one.idx,
               "cf_cc %d is the light of %s, not of %s; write %d", record.cf_cc, name.text,
               record.name, right);
    } else if (other == nullptr && one.info().light != NONE) {
        report("board-number", BASE_FILE, record.line, one.idx,
               "cf_cc %d is no %s of the board, so that of %s stays dark; write %d", record.cf_cc,
               one.info().kind == CTL_METER ? "meter" : "LED", record.name, right);
    } else {
        report("board-ignored", BASE_FILE, record.line, one.idx,
               "cf_cc %d changes nothing: the board's number of %s is %d; write that", record.cf_cc,
               record.name, right);
    }
}

// --- Types ---

// What goes to the board as the wrong kind of message shows nothing.
void check_type(const mapped_control& one, const base_record& record) {
    const messages& sent = one.ways[TO_BOARD_WAY];
    const bool is_meter = one.info().kind == CTL_METER;
    const bool lights = is_meter ? sent.are_controllers() : sent.are_notes();
    if (one.info().light != NONE && sent.count > 0 && !lights) {
        report("type-dark", BASE_FILE, record.line, one.idx,
               "with ctl_type %d %s%s stays dark; write %d", record.ctl_type,
               one.info().kind == CTL_BUTTON ? "the LED of " : "", record.name,
               is_meter                     ? MIDI_CTL_TYPE_LED_METER
               : one.info().kind == CTL_LED ? MIDI_CTL_TYPE_LED
                                            : MIDI_CTL_TYPE_BTN_LED);
    }
}

void check_data_type(const mapped_control& one, const base_record& record) {
    const bool gives_steps = one.idx < TOTAL_POT_NUM && pot_is_relative_in(one.idx);
    if (gives_steps && !one.relative) {
        report("data-position", BASE_FILE, record.line, one.idx,
               "with data_type %d %s, which turns endlessly, sends positions that start over at "
               "0 after 127; write 1 for steps",
               record.data_type, record.name);
    } else if (one.relative && !gives_steps) {
        report("data-type", BASE_FILE, record.line, one.idx,
               "with data_type %d %s sends steps, although it has a position; write 0",
               record.data_type, record.name);
    } else if (one.at_start.count > 0) {
        const message_form& stray = one.at_start.forms[0];
        report("data-type", BASE_FILE, record.line, one.idx,
               "with data_type %d %s sends a stray message at the start, %02X %02X %02X; write 0",
               record.data_type, record.name, stray.status, stray.number,
               static_cast<u8>(stray.value));
    }
}

// What counts of add_data: a zoom for steps, whether it is 0 for LEDs.
void check_add_data(const mapped_control& one, const base_record& record) {
    const bool is_led = one.ways[FROM_HOST].are_notes();
    int counts = record.add_data;
    if (one.idx < TOTAL_POT_NUM && one.relative == pot_is_relative_in(one.idx)) {
        counts = one.relative ? static_cast<u8>(counts) / ZOOM_SCALE_MAX * ZOOM_SCALE_MAX : 0;
    } else if (is_led && one.off_darkens != (counts != 0)) {
        counts = 0;
    }
    if (counts != record.add_data) {
        report("add-data", BASE_FILE, record.line, one.idx,
               "add_data %d of %s counts as %d; write %s", record.add_data, record.name, counts,
               is_led         ? "0 or 1"
               : one.relative ? "16 times a zoom number, 0 to 15"
                              : "0: positions have no zoom");
    }
}

void check_rate(const mapped_control& one, const base_record& record) {
    const bool is_rated = one.idx < TOTAL_POT_NUM || one.info().kind == CTL_METER;
    if (is_rated && one.passes != NONE && one.passes != record.add_data2) {
        report("rate", BASE_FILE, record.line, one.idx,
               "add_data2 %d is not 0 to 255: %s waits %d passes; write %d for the slowest",
               record.add_data2, record.name, one.passes, UINT8_MAX);
    }
}

void check_control(const examined& what, const mapped_control& one) {
    const base_record* const record = record_of(what.of, one.idx, true);
    if (is_reported(one.idx)) {
        return;  // what else its line does follows from that
    }
    if (record == nullptr) {
        report("host-only", BASE_FILE, one.line, one.idx,
               "cf_cc -1 sets the host's number and nothing else, and %s has no other line: all "
               "else in it is ignored; write %d",
               one.name, delivered_number(one.info()));
        return;
    }
    check_board_number(what, one, *record);
    check_type(one, *record);
    check_data_type(one, *record);
    check_add_data(one, *record);
    check_rate(one, *record);
}

}  // namespace

void check_mapping(const examined& what) {
    check_index_twice(what.of);
    check_no_line(what.does);
    for (const mapped_control& one : what.does.controls) {
        if (one.info().kind != CTL_SPARE && one.line > 0) {
            check_control(what, one);
        }
    }
    for (const base_record& record : what.of.base) {
        if (has_other_letters(record.name)) {
            report("not-ascii", BASE_FILE, record.line, record.idx,
                   "the name %s has accented letters or the like, so no preset can name it; write "
                   "letters, digits and underscores",
                   record.name);
        }
    }
}

}  // namespace engine
