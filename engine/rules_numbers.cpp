// The numbers as the controls have them in the end, after the preset: what clashes.
#include <cstring>

#include "rules_parts.h"

namespace engine {
namespace {

const char* kind_of_number(bool is_note) {
    return is_note ? "note" : "controller";
}

// A touched platter speaks for the same platter.
bool is_same_platter(const mapped_control& lower, const mapped_control& upper) {
    return lower.info().kind == CTL_PLATTER && upper.idx == lower.idx + PARTNER_OFFSET;
}

// True when the number of `one` stands after that of `other`: that edit made the clash.
bool is_later(const model& of, const mapped_control& one, const mapped_control& other) {
    const place a = place_of(of, one.idx);
    const place b = place_of(of, other.idx);
    const bool same_file = strcmp(a.file, b.file) == 0;
    return same_file ? a.line > b.line : strcmp(a.file, BASE_FILE) != 0;
}

// --- Towards the host ---

bool send_the_same(const mapped_control& one, const mapped_control& other) {
    const messages& a = one.ways[TO_HOST_WAY];
    const messages& b = other.ways[TO_HOST_WAY];
    return a.number() == b.number() && is_midi(a.number()) && a.are_notes() == b.are_notes();
}

void report_same(const examined& what, const mapped_control& lower, const mapped_control& upper) {
    const bool upper_later = is_later(what.of, upper, lower);
    const mapped_control& later = upper_later ? upper : lower;
    const place at = place_of(what.of, later.idx);
    const mention other(what.of, upper_later ? lower : upper, at.file);
    const bool is_note = later.ways[TO_HOST_WAY].are_notes();
    const char* const kind = kind_of_number(is_note);
    report("same-message", at.file, at.line, later.idx,
           "%s sends the same %s %d as %s, so the host cannot tell them apart%s; give one of them "
           "a %s that is free, such as %d",
           later.name, kind, later.number, other.text,
           upper.info().light != NONE ? " or light both" : "", kind,
           free_number(what, later.number, is_note));
}

// Controls without a line are reported for that.
void check_sent(const examined& what) {
    for (int idx = 0; idx < TOTAL_CTL_NUM; ++idx) {
        const mapped_control& upper = what.does.controls[idx];
        for (int i = 0; i < idx; ++i) {
            const mapped_control& lower = what.does.controls[i];
            if (send_the_same(lower, upper) && lower.line > 0 && upper.line > 0 &&
                !is_same_platter(lower, upper)) {
                report_same(what, lower, upper);
                break;
            }
        }
    }
}

// --- From the host ---

// Buttons that share a note are reported as such.
void check_received(const examined& what, const mapped_control& one) {
    const bool is_note = one.info().kind != CTL_METER;
    const int taker = is_note ? what.does.control_of_note[one.number]
                              : what.does.control_of_controller[one.number];
    if (taker == one.idx || taker == NONE) {
        return;
    }
    const place at = place_of(what.of, one.idx);
    const mention other(what.of, what.does.controls[taker], at.file);
    const char* const kind = kind_of_number(is_note);
    report("shadowed", at.file, at.line, one.idx,
           "%s %d from the host goes to %s: %s %s; give it a %s that is "
           "free, such as %d",
           kind, one.number, other.text, one.name,
           one.idx == LED_ZERO + HOST_CFG_BASE
               ? "never lights, and never makes the daemon forget what it has sent"
               : "stays dark",
           kind, free_number(what, one.number, is_note));
}

// --- Each number ---

void check_number(const examined& what, const mapped_control& one) {
    const place at = place_of(what.of, one.idx);
    int written = record_of(what.of, one.idx)->app_cc;
    for (const auto& moved : what.of.preset) {
        written = moved.idx == one.idx ? moved.app_cc : written;
    }
    const messages& used = one.ways[one.info().kind == CTL_METER ? FROM_HOST : TO_HOST_WAY];
    check_range(what, at, one.idx, "app_cc", written, one.name,
                one.idx >= TOTAL_POT_NUM && one.info().kind != CTL_METER);
    if (used.are_controllers() && is_midi(one.number) && one.number >= FIRST_CHANNEL_MODE) {
        report("channel-mode", at.file, at.line, one.idx,
               "controller %d is a channel mode message, such as all notes off: hosts may act on "
               "it; give %s a free one, such as %d",
               one.number, one.name, free_number(what, one.number, false));
    }
}

}  // namespace

void check_numbers(const examined& what) {
    check_sent(what);
    for (const mapped_control& one : what.does.controls) {
        if (one.line == 0 || one.info().kind == CTL_SPARE) {
            continue;
        }
        check_number(what, one);
        if (one.idx >= TOTAL_CTL_NUM && is_midi(one.number)) {
            check_received(what, one);
        }
    }
}

}  // namespace engine
