#include "check.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "target_cfg.h"

namespace ctlmap {

void check(const model& what, findings* to) {
    *to = what.said;
    check_files(what, to);
    if (what.base_found) {
        check_mapping(what, to);
        check_numbers(what, to);
        check_preset(what, to);
        check_settings(what, to);
        check_labels(what, to);
    }
    const char* const order[] = {BASE_FILE,   what.preset_file, PRESET_0_FILE, SETTINGS_FILE,
                                 COLORS_FILE, POSITIONS_FILE,   LABELS_FILE};
    sort(to, order);
}

int split(std::string_view text, word* words, int most) {
    constexpr const char* WHITE = " \t\v\f\r";
    int count = 0;
    for (size_t at = text.find_first_not_of(WHITE); at != text.npos; ++count) {
        const size_t end = std::min(text.find_first_of(WHITE, at), text.size());
        if (count < most) {
            words[count] = text.substr(at, end - at);
        }
        at = text.find_first_not_of(WHITE, end);
    }
    return count;
}

bool is_number(word text) {
    const size_t sign = text.starts_with('-') || text.starts_with('+') ? 1 : 0;
    return text.size() > sign && text.find_first_not_of("0123456789", sign) == text.npos;
}

bool can_open(const model& what, const char* file) {
    FILE* const fp = open_file(what, file);
    if (fp != nullptr) {
        fclose(fp);
    }
    return fp != nullptr;
}

bool is_digits(const char* text) {
    return text[0] != '\0' && text[strspn(text, "0123456789")] == '\0';
}

bool same_letters(const char* a, const char* b) {
    return strcasecmp(a, b) == 0;
}

bool has_other_letters(const char* text) {
    return std::any_of(text, text + strlen(text),
                       [](char c) { return static_cast<u8>(c) >= MIDI_NUMBERS; });
}

place place_of(const model& what, const control& one) {
    place found = {BASE_FILE, one.record != nullptr ? one.record->line : 0};
    for (const auto& record : what.preset) {
        found = record.idx == one.idx ? place{what.preset_file, record.line} : found;
    }
    return found;
}

title::title(const control& one) {
    if (one.record != nullptr) {
        snprintf(text, sizeof text, "%s", one.name);
    } else {
        snprintf(text, sizeof text, "index %d", one.idx);
    }
}

mention::mention(const model& what, const control& one, const char* seen_from) {
    const place at = place_of(what, one);
    const title name(one);
    if (at.line == 0) {
        snprintf(text, sizeof text, "%s, which has no line", name.text);
    } else if (strcmp(at.file, seen_from) == 0) {
        snprintf(text, sizeof text, "%s in line %d", name.text, at.line);
    } else {
        snprintf(text, sizeof text, "%s in %s:%d", name.text, at.file, at.line);
    }
}

int free_number(const model& what, int number, bool is_note) {
    bool used[MIDI_NUMBERS] = {};
    const auto mark = [&](bool note, int taken) {
        if (note == is_note && is_midi(taken)) {
            used[taken] = true;
        }
    };
    for (int idx = 0; idx < TOTAL_CFG_ITEM; ++idx) {
        const control one = control_of(what, idx);
        mark(one.host_sees_note, one.host_sees);
        mark(one.host_sends_note, one.host_sends);
        mark(idx >= TOTAL_POT_NUM, one.record != nullptr ? one.record->app_cc : NONE);
    }
    for (const auto& label : what.labels) {
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

}  // namespace ctlmap
