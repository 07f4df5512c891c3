#include "rules_parts.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

namespace engine {
bool is_number(word text) {
    const bool has_sign = text.starts_with('-') || text.starts_with('+');
    return is_digits(text.substr(has_sign ? 1 : 0));
}

bool is_digits(word text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

bool same_letters(word a, word b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool has_other_letters(word text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return (static_cast<u8>(c) & STATUS_BIT) != 0; });
}

bool is_read(const char* name) {
    const file* const one = find_file(name);
    return one != nullptr && one->state == READ;
}

bool is_sound(const char* name) {
    return is_read(name) && has_lines(text_of(name));
}

word trim(word text) {
    text = text.substr(0, text.find_last_not_of(WHITE) + 1);
    return text.substr(std::min(text.find_first_not_of(WHITE), text.size()));
}

const records<cfg_base_record>& delivered_base() {
    static records<cfg_base_record> base;
    if (base.count == 0) {
        read_delivered(BASE_FILE, &base, cfg_read_base_record);
    }
    return base;
}

bool is_preset_meant(const model& of) {
    return is_digits(trim(of.of(PRESET).value));
}

int delivered_number(const ctl_info& of) {
    return of.light != NONE ? of.light : of.board;
}

title::title(const mapped_control& one) {
    if (one.line > 0) {
        snprintf(text, sizeof text, "%s", one.name);
    } else {
        snprintf(text, sizeof text, "index %d", one.idx);
    }
}

mention::mention(const model& from, const mapped_control& one, std::string_view seen_from) {
    const place at = place_of(from, one.idx);
    const title name(one);
    if (at.line == 0) {
        snprintf(text, sizeof text, "%s, which has no line", name.text);
    } else if (at.file == seen_from) {
        snprintf(text, sizeof text, "%s in line %d", name.text, at.line);
    } else {
        snprintf(text, sizeof text, "%s in %s:%d", name.text, at.file, at.line);
    }
}

int free_number(const examined& what, int number, bool is_note) {
    bool used[MIDI_NUMBERS] = {};
    const auto mark = [&](bool note, int taken) {
        if (note == is_note && is_midi(taken)) {
            used[taken] = true;
        }
    };
    for (const mapped_control& one : what.does.controls) {
        const bool note = one.idx >= TOTAL_POT_NUM && one.info().kind != CTL_METER;
        const auto* const record = record_of(what.of, one.idx);
        mark(note, one.number);
        mark(note, record != nullptr ? record->app_cc : NONE);
    }
    for (const auto& label : what.of.labels) {
        mark(true, label.note);
    }
    const int count = is_note ? MIDI_NUMBERS : FIRST_CHANNEL_MODE;
    for (int i = 1; i <= count; ++i) {
        const int candidate = (number + i) % count;
        if (candidate >= 0 && !used[candidate]) {
            return candidate;
        }
    }
    return 0;
}

void check_range(const examined& what, const place& at, int idx, const char* field, int number,
                 const char* name, bool is_note) {
    const int kept = static_cast<u8>(number);
    if (is_midi(number)) {
        return;
    }
    if (is_midi(kept)) {
        report("number-range", at.file, at.line, idx,
               "%s %d is not 0 to 127: of %s only the low eight bits count, %d; write the number "
               "that you mean",
               field, number, name, kept);
    } else {
        report("number-range", at.file, at.line, idx,
               "%s %d is not 0 to 127: MIDI has no such number, and %s cannot be used; write one "
               "that is free, such as %d",
               field, number, name, free_number(what, number, is_note));
    }
}

}  // namespace engine
