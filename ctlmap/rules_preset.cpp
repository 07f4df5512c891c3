// The preset: what its names are found in.
#include <cstring>

#include "check.h"
#include "target_cfg.h"

namespace ctlmap {
namespace {

using target = lined<preset_target>;

constexpr int MOST_PRESETS = 100;  // that are looked for when they are not selected

// --- The file ---

void check_selected(const model& what, findings* to) {
    const bool has_source = can_open(what, what.preset_file);
    const int line = what.of(PRESET).line;
    if (what.preset_found || (what.preset_no == 0 && has_source)) {
        return;  // the daemon says why preset 0 has no copy
    }
    if (has_source) {
        report(
            to, "preset-missing", SETTINGS_FILE, line,
            "preset %d is selected, but %s has no checked copy: nothing moves; in this directory "
            "run ./%s %s 2",
            what.preset_no, what.preset_file, SCRIPT_FILE, what.preset_file);
    } else {
        report(to, "preset-missing", SETTINGS_FILE, line,
               "preset %d is selected, but there is no %s: nothing moves; write it, or leave "
               "midi_preset= empty",
               what.preset_no, what.preset_file);
    }
}

// Preset 0 is delivered: when another one is selected, it is meant to rest.
void check_unused(const model& what, findings* to) {
    if (!can_open(what, SETTINGS_FILE) || !is_text(what, SETTINGS_FILE)) {
        return;
    }
    for (int i = what.preset_no < 0 ? 0 : 1; i < MOST_PRESETS; ++i) {
        char file[NAME_MAX];
        snprintf(file, sizeof file, "%s%d.txt", BASE_FILE, i);
        if (i != what.preset_no && can_open(what, file)) {
            report(to, "preset-unused", SETTINGS_FILE, what.of(PRESET).line,
                   "%s changes nothing while it is not selected; if you want it, write "
                   "midi_preset=%d",
                   file, i);
        }
    }
}

void check_stale(const model& what, findings* to) {
    if (what.preset_no <= 0 || !what.preset_found || what.preset_source.count == 0) {
        return;
    }
    int i = 0;
    while (i < what.preset.count && i < what.preset_source.count &&
           strcmp(what.preset.items[i].name, what.preset_source.items[i].name) == 0 &&
           what.preset.items[i].app_cc == what.preset_source.items[i].app_cc) {
        ++i;
    }
    if (i < what.preset.count || i < what.preset_source.count) {
        const int line = i < what.preset_source.count ? what.preset_source.items[i].line : 0;
        report(
            to, "preset-stale", what.preset_file, line,
            "the checked copy, which the daemon reads, differs from this file; in this directory "
            "run ./%s %s 2",
            SCRIPT_FILE, what.preset_file);
    }
}

// --- Its names ---

const lined<cfg_base_record>* record_in_line(const model& what, int line) {
    for (const auto& record : what.base) {
        if (record.line == line) {
            return &record;
        }
    }
    return nullptr;
}

const lined<cfg_base_record>* record_named(const model& what, const char* name) {
    for (const auto& record : what.base) {
        if (same_letters(record.name, name)) {
            return &record;
        }
    }
    return nullptr;
}

void report_other(const model& what, const target& one, const lined<cfg_base_record>* own,
                  findings* to) {
    const lined<cfg_base_record>* const found = record_in_line(what, one.found_line);
    const bool exists = one.idx >= 0 && one.idx < TOTAL_CFG_ITEM;
    char moved[96] = "nothing moves";
    if (exists) {
        const title name(control_of(what, one.idx));
        snprintf(moved, sizeof moved, "%s moves instead", name.text);
    }
    if (own != nullptr) {
        report(to, "preset-other", what.preset_file, one.line,
               "line %d of %s contains %s before its own line %d: %s; %s", one.found_line,
               BASE_FILE, one.name, own->line, moved,
               found != nullptr ? "give that control another name, or put its line further down"
                                : "take the name out of that line");
    } else {
        report(to, "preset-other", what.preset_file, one.line,
               "%s is no control, but line %d of %s contains it: %s; write the name of a control",
               one.name, one.found_line, BASE_FILE, moved);
    }
}

void report_part(const model& what, const target& one, const lined<cfg_base_record>& found,
                 findings* to) {
    if (strchr(one.name, '.') != nullptr) {
        report(to, "preset-pattern", what.preset_file, one.line,
               "the dot in %s matches any character, here in %s in line %d of %s, which moves; "
               "write that name",
               one.name, found.name, found.line, BASE_FILE);
    } else {
        report(to, "preset-part", what.preset_file, one.line,
               "%s is only part of %s in line %d of %s, which moves; write the whole name",
               one.name, found.name, found.line, BASE_FILE);
    }
}

// True when the control that moves is the one that is meant.
bool check_name(const model& what, const target& one, findings* to) {
    if (one.found_line == 0) {
        report(to, "preset-unknown", what.preset_file, one.line,
               "no line of %s contains %s, so nothing moves; write a name as it stands there",
               BASE_FILE, one.name);
        return false;
    }
    const lined<cfg_base_record>* const found = record_in_line(what, one.found_line);
    const lined<cfg_base_record>* const own = record_named(what, one.name);
    const bool moves_found = found != nullptr && found->idx == one.idx;
    if (moves_found && same_letters(found->name, one.name)) {
        return true;
    }
    if (moves_found && own == nullptr) {
        report_part(what, one, *found, to);
        return true;
    }
    report_other(what, one, own, to);
    return false;
}

void check_twice(const model& what, const target& one, findings* to) {
    for (const target& earlier : what.preset) {
        if (&earlier == &one) {
            return;
        }
        if (earlier.idx == one.idx) {
            report(to, "preset-twice", what.preset_file, one.line,
                   "%s moves the control that %s in line %d moves too, so that line does nothing; "
                   "remove one of them",
                   one.name, earlier.name, earlier.line);
            return;
        }
    }
}

void check_target(const model& what, const target& one, findings* to) {
    if (check_name(what, one, to)) {
        check_twice(what, one, to);
    }
    if (!is_midi(one.app_cc)) {
        const bool is_note = one.idx >= TOTAL_POT_NUM && control_of(what, one.idx).kind != METER;
        report(to, "number-range", what.preset_file, one.line,
               "%d is not 0 to 127: MIDI has no such number, and %s cannot be used; write one that "
               "is free, such as %d",
               one.app_cc, one.name, free_number(what, one.app_cc, is_note));
    }
}

// --- Names that no preset can find ---

bool is_in_preset(const model& what, const char* name) {
    for (const target& one : what.preset) {
        if (same_letters(one.name, name)) {
            return true;
        }
    }
    return false;
}

void check_name_found(const model& what, findings* to) {
    for (const auto& record : what.base) {
        if (is_in_preset(what, record.name)) {
            continue;
        }
        for (lines in(what, BASE_FILE); in.next() && in.number() < record.line;) {
            const auto* const earlier = record_in_line(what, in.number());
            const bool is_its = earlier != nullptr && earlier->idx == record.idx;
            if (!is_its && strcasestr(in.text(), record.name) != nullptr) {
                report(to, "name-found", BASE_FILE, in.number(),
                       "this line contains %s, the name of line %d: a preset that names %s would "
                       "find this one; keep the name out of it",
                       record.name, record.line, record.name);
                break;
            }
        }
    }
}

}  // namespace

void check_preset(const model& what, findings* to) {
    if (what.preset_no >= 0) {
        check_selected(what, to);
        check_stale(what, to);
    }
    check_unused(what, to);
    for (const target& one : what.preset) {
        check_target(what, one, to);
    }
    check_name_found(what, to);
}

}  // namespace ctlmap
