// The preset: what its names are found in.
#include <algorithm>
#include <cstring>

#include "rules_parts.h"

namespace engine {
namespace {

using target = lined<preset_target>;

constexpr int MOST_PRESETS = 100;  // that are looked for when they are not selected

// --- The file ---

void check_selected(const model& of) {
    const int line = of.of(PRESET).line;
    const file* const source = find_file(of.preset_file);
    if (of.preset.count > 0 || is_reported(of.preset_file)) {
        return;  // or what keeps it from being used is reported
    }
    if (source != nullptr && !of.preset_found && of.preset_no != 0) {
        report("preset-missing", SETTINGS_FILE, line, NONE,
               "preset %d is selected, but %s has no checked copy: nothing moves; in this "
               "directory run ./%s %s 2",
               of.preset_no, of.preset_file, SCRIPT_FILE, of.preset_file);
    } else if (of.preset_found || source == nullptr) {
        report("preset-missing", SETTINGS_FILE, line, NONE,
               "preset %d is selected, but there is no %s%s: nothing moves; write it, or leave "
               "midi_preset= empty",
               of.preset_no, of.preset_found ? "line in " : "", of.preset_file);
    }
}

// Preset 0 is delivered: when another one is selected, it is meant to rest.
void check_unused(const model& of) {
    for (int i = of.preset_no < 0 ? 0 : 1; i < MOST_PRESETS; ++i) {
        char name[NAME_MAX];
        snprintf(name, sizeof name, "%s%d.txt", BASE_FILE, i);
        if (i != of.preset_no && is_read(name)) {
            report("preset-unused", SETTINGS_FILE, of.of(PRESET).line, NONE,
                   "%s changes nothing while it is not selected; if you want it, write "
                   "midi_preset=%d",
                   name, i);
        }
    }
}

void check_stale(const model& of) {
    if (!of.preset_found || of.preset_source.count == 0) {
        return;
    }
    const auto same = [](const cfg_preset_record& one, const cfg_preset_record& other) {
        return one.app_cc == other.app_cc && strcmp(one.name, other.name) == 0;
    };
    const auto [source, copy] = std::mismatch(of.preset_source.begin(), of.preset_source.end(),
                                              of.preset.begin(), of.preset.end(), same);
    if (source != of.preset_source.end() || copy != of.preset.end()) {
        report(
            "preset-stale", of.preset_file, source != of.preset_source.end() ? source->line : 0,
            NONE,
            "the checked copy, which the daemon reads, differs from this file; in this directory "
            "run ./%s %s 2",
            SCRIPT_FILE, of.preset_file);
    }
}

// --- Its names ---

template <typename is_wanted>
const lined<cfg_base_record>* find_record(const model& of, is_wanted wanted) {
    const auto* const found = std::find_if(of.base.begin(), of.base.end(), wanted);
    return found != of.base.end() ? found : nullptr;
}

// True when the control that moves is the one that is meant.
bool check_name(const examined& what, const target& one) {
    if (one.found_line == 0) {
        report("preset-unknown", what.of.preset_file, one.line, NONE,
               "no line of %s contains %s, so nothing moves; write a name as it stands there",
               BASE_FILE, one.name);
        return false;
    }
    const auto has_name = [&](const cfg_base_record& record) {
        return same_letters(record.name, one.name);
    };
    const auto* const found =
        find_record(what.of, [&](const auto& record) { return record.line == one.found_line; });
    const auto* const own = find_record(what.of, has_name);
    const bool moves_found = found != nullptr && found->idx == one.idx;
    if (moves_found && has_name(*found)) {
        const auto* const other = find_record(
            what.of, [&](const auto& record) { return has_name(record) && record.idx != one.idx; });
        if (other != nullptr) {
            report("preset-other", what.of.preset_file, one.line, one.idx,
                   "%s is the name of two controls: the one in line %d of %s moves, that in line "
                   "%d does not; give each its own",
                   one.name, found->line, BASE_FILE, other->line);
        }
        return true;
    }
    if (!moves_found || own != nullptr) {
        report("preset-other", what.of.preset_file, one.line, one.idx,
               "%s is found in line %d of %s%s, so %s moves; write the name of a control, "
               "and keep it out of lines above",
               one.name, one.found_line, BASE_FILE, own != nullptr ? " before its own" : "",
               one.idx == NONE ? "nothing" : title(what.does.controls[one.idx]).text);
        return false;
    }
    report("preset-part", what.of.preset_file, one.line, one.idx,
           "%s is not the name of %s in line %d of %s, but matches %s, so this one moves; "
           "write the whole name",
           one.name, found->name, found->line, BASE_FILE,
           strchr(one.name, '.') != nullptr ? "it, as a dot is any character" : "part of it");
    return true;
}

void check_twice(const model& of, const target& one) {
    for (const target* earlier = of.preset.begin(); earlier != &one; ++earlier) {
        if (earlier->idx == one.idx) {
            report("preset-twice", of.preset_file, one.line, one.idx,
                   "%s moves the control that %s in line %d moves too, so that line does nothing; "
                   "remove one of them",
                   one.name, earlier->name, earlier->line);
            return;
        }
    }
}

}  // namespace

void check_preset(const examined& what) {
    if (is_preset_meant(what.of)) {
        check_selected(what.of);
        check_stale(what.of);
    }
    if (is_sound(SETTINGS_FILE)) {
        check_unused(what.of);
    }
    for (const target& one : what.of.preset) {
        if (check_name(what, one)) {
            check_twice(what.of, one);
        }
    }
}

}  // namespace engine
