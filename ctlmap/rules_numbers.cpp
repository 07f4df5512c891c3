// The numbers as the controls have them in the end, after the preset: what clashes.
#include <algorithm>
#include <cstring>

#include "check.h"
#include "pot.h"
#include "target_cfg.h"

namespace ctlmap {
namespace {

bool has_led(const control& one) {
    return one.record != nullptr && one.idx >= HOST_CFG_BASE && one.board_sees_note;
}

const char* kind_of_number(bool is_note) {
    return is_note ? "note" : "controller";
}

// A touched platter speaks for the same platter.
bool is_same_platter(const control& lower, const control& upper) {
    return lower.kind == PLATTER && upper.idx == lower.idx + PARTNER_OFFSET;
}

// True when the number of `one` stands after that of `other`: that edit made the clash.
bool is_later(const model& what, const control& one, const control& other) {
    const place a = place_of(what, one);
    const place b = place_of(what, other);
    const bool same_file = strcmp(a.file, b.file) == 0;
    return same_file ? a.line > b.line : strcmp(a.file, BASE_FILE) != 0;
}

// --- Towards the host ---

void report_same_message(const model& what, const control& lower, const control& upper,
                         findings* to) {
    const bool upper_later = is_later(what, upper, lower);
    const control& later = upper_later ? upper : lower;
    const control& earlier = upper_later ? lower : upper;
    const place at = place_of(what, later);
    const mention other(what, earlier, at.file);
    const char* const kind = kind_of_number(later.host_sees_note);
    if (earlier.record == nullptr) {
        report(
            to, "built-in", at.file, at.line,
            "%s sends %s %d, the built-in number of %s; give that one a line, or this one a free "
            "%s, such as %d",
            later.name, kind, later.host_sees, other.text, kind,
            free_number(what, later.host_sees, later.host_sees_note));
        return;
    }
    report(to, "same-message", at.file, at.line,
           "%s sends the same %s %d as %s, so the host cannot tell them apart%s; give one of them "
           "a %s that is free, such as %d",
           later.name, kind, later.host_sees, other.text, has_led(upper) ? " or light both" : "",
           kind, free_number(what, later.host_sees, later.host_sees_note));
}

void check_sent(const model& what, findings* to) {
    for (int idx = 0; idx < TOTAL_CTL_NUM; ++idx) {
        const control upper = control_of(what, idx);
        for (int i = 0; i < idx && is_midi(upper.host_sees); ++i) {
            const control lower = control_of(what, i);
            const bool same =
                lower.host_sees == upper.host_sees && lower.host_sees_note == upper.host_sees_note;
            const bool both_built_in = lower.record == nullptr && upper.record == nullptr;
            if (same && !both_built_in && !is_same_platter(lower, upper)) {
                report_same_message(what, lower, upper, to);
                break;
            }
        }
    }
}

// --- From the host ---

// The index of the LED or meter that the daemon finds under the number.
int taker_of(const control& one) {
    const int found = one.kind == METER ? pot_meter_ctl_idx(static_cast<u8>(one.host_sends))
                                        : led_btn_idx(one.host_sends);
    return found + HOST_CFG_BASE;
}

void report_taken(const model& what, const control& one, const control& taker, findings* to) {
    const place at = place_of(what, one);
    const mention other(what, taker, at.file);
    const char* const kind = kind_of_number(one.host_sends_note);
    const int other_number = free_number(what, one.host_sends, one.host_sends_note);
    if (one.idx == LED_ZERO + HOST_CFG_BASE) {
        report(to, "forget", at.file, at.line,
               "%s %d from the host goes to %s: %s never lights, and never makes the daemon forget "
               "what it has sent; give it a note that is free, such as %d",
               kind, one.host_sends, other.text, one.name, other_number);
    } else if (taker.record == nullptr) {
        report(to, "built-in", at.file, at.line,
               "%s %d from the host goes to %s and keeps this built-in number: %s stays dark; give "
               "that one a line, or this one a free %s, such as %d",
               kind, one.host_sends, other.text, one.name, kind, other_number);
    } else {
        report(to, "shadowed", at.file, at.line,
               "%s %d from the host goes to %s, which has a lower index: %s stays dark; give it a "
               "%s that is free, such as %d",
               kind, one.host_sends, other.text, one.name, kind, other_number);
    }
}

// Buttons that share a note are reported as such.
void check_received(const model& what, findings* to) {
    for (int idx = TOTAL_CTL_NUM; idx < TOTAL_CFG_ITEM; ++idx) {
        const control one = control_of(what, idx);
        if (one.record == nullptr || !is_midi(one.host_sends)) {
            continue;
        }
        const control taker = control_of(what, taker_of(one));
        if (taker.idx != idx) {
            report_taken(what, one, taker, to);
        }
    }
}

// --- Towards the board ---

void check_board_numbers(const model& what, findings* to) {
    for (int idx = HOST_CFG_BASE; idx < TOTAL_CFG_ITEM; ++idx) {
        const control upper = control_of(what, idx);
        const bool is_used = has_led(upper) || (upper.kind == METER && upper.record != nullptr);
        for (int i = HOST_CFG_BASE; i < idx && is_used; ++i) {
            const control lower = control_of(what, i);
            const bool lights = has_led(lower) || lower.kind == METER;
            if (lower.record == nullptr || !lights || lower.board_sees != upper.board_sees ||
                lower.board_sees_note != upper.board_sees_note) {
                continue;
            }
            const mention other(what, lower, BASE_FILE);
            report(to, "board-number", BASE_FILE, upper.record->line,
                   "cf_cc %d is also that of %s: they light together; write the delivered numbers",
                   upper.board_sees, other.text);
            break;
        }
    }
}

// --- Numbers that mean something else ---

void check_channel_mode(const model& what, findings* to) {
    for (int idx = 0; idx < TOTAL_CFG_ITEM; ++idx) {
        const control one = control_of(what, idx);
        const int number = one.kind == METER ? one.host_sends : one.host_sees;
        const bool is_note = one.kind == METER ? one.host_sends_note : one.host_sees_note;
        if (!is_note && is_midi(number) && number >= FIRST_CHANNEL_MODE) {
            const place at = place_of(what, one);
            report(to, "channel-mode", at.file, at.line,
                   "controller %d is a channel mode message, such as all notes off: hosts may act "
                   "on it; give %s a free one, such as %d",
                   number, one.name, free_number(what, number, false));
        }
    }
}

}  // namespace

void check_numbers(const model& what, findings* to) {
    check_sent(what, to);
    check_received(what, to);
    check_board_numbers(what, to);
    check_channel_mode(what, to);
}

}  // namespace ctlmap
