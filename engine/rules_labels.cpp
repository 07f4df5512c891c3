// The labels, their places and their colours.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "rules_parts.h"
#include "shell.h"

namespace engine {
namespace {

using label_record = lined<sl_customization>;
using color_record = lined<t_labellist>;
using place_record = lined<t_soft_label>;

constexpr int ROWS = 17;
constexpr int COLUMNS = 60;
constexpr char ESCAPE = '\x1B';

bool same_text(word a, word b) {
    return a == b;
}

template <typename type>
const lined<type>* with_key(const records<type>& list, word key, bool (*same)(word, word)) {
    for (const auto& record : list) {
        if (same(record.key_name, key)) {
            return &record;
        }
    }
    return nullptr;
}

// --- Colours ---

void check_slot(const model& of, const color_record& color) {
    for (const color_record* earlier = of.colors.begin(); earlier != &color; ++earlier) {
        if (earlier->idx == color.idx || same_text(earlier->key_name, color.key_name)) {
            report("color-twice", COLORS_FILE, color.line, NONE,
                   "line %d already has this %s, so labels get only one of the two colours; "
                   "give each its own",
                   earlier->line, earlier->idx == color.idx ? "index" : "name");
        }
    }
    if (color.idx >= total_color_list) {
        report("color-gap", COLORS_FILE, color.line, NONE,
               "%s is not found: of %d colours, indices 0 to %d are looked at; number the colours "
               "without a gap",
               color.key_name, total_color_list, total_color_list - 1);
    }
}

// What the console gets.
struct echoed {
    char bytes[LABEL_TEXT_SIZE];
    word text;

    explicit echoed(word sequence) : text(bytes, echo_bytes(sequence, bytes, sizeof bytes)) {}
};

// True for escape sequences that set colours and nothing else.
bool sets_color(word text) {
    do {
        const size_t end = text.find_first_not_of("0123456789;", 2);
        if (!text.starts_with(ESCAPE) || text.substr(1, 1) != "[" || end == text.npos ||
            text[end] != 'm') {
            return false;
        }
        text.remove_prefix(end + 1);
    } while (!text.empty());
    return true;
}

void check_sequence(const color_record& color) {
    const echoed shown(color.label_name);
    if (!sets_color(shown.text)) {
        report("color-text", COLORS_FILE, color.line, NONE,
               "%s is not the escape sequence of a colour%s; write one such as \\033[1;31m",
               color.label_name,
               shown.text.find(ESCAPE) == word::npos ? ", so the screen shows it in front of labels"
                                                     : "");
    }
}

bool has_color(const label_record& label, word name) {
    return label.on_color == name || label.off_color == name;
}

// Reported at the first label that uses it.
void check_color(const model& of, const char* name) {
    if (of.colors.count == 0 || idx_colorname_in_color_list(name) >= 0 ||
        with_key(of.colors, name, same_text) != nullptr) {
        return;  // there, or reported at its own line
    }
    const auto has = [&](const label_record& label) { return has_color(label, name); };
    const auto users = std::count_if(of.labels.begin(), of.labels.end(), has);
    const color_record* const alike = with_key(of.colors, name, same_letters);
    report("label-color", LABELS_FILE, std::find_if(of.labels.begin(), of.labels.end(), has)->line,
           NONE, "there is no colour %s, which %d label%s: colour 0 is drawn instead; %s%s", name,
           static_cast<int>(users), users == 1 ? " uses" : "s use",
           alike != nullptr ? "names are case-sensitive: write " : "write a name of ",
           alike != nullptr ? alike->key_name : COLORS_FILE);
}

void check_colors(const model& of, const label_record& label, const shown_label& shown) {
    check_color(of, label.on_color);
    check_color(of, label.off_color);
    if (idx_colorname_in_color_list(label.on_color) < 0 ||
        idx_colorname_in_color_list(label.off_color) < 0) {
        return;
    }
    const color_record* const on = with_key(of.colors, shown.on_color, same_text);
    const bool same =
        shown.text[0] != '\0' && echoed(shown.on_sequence).text == echoed(shown.off_sequence).text;
    if (same && same_text(shown.on_color, shown.off_color)) {
        report("color-same", LABELS_FILE, label.line, NONE,
               "%s is drawn in %s on and off, so nobody sees which; write two colours", label.text,
               shown.on_color);
    } else if (same && on != nullptr) {
        report("color-same", COLORS_FILE, on->line, NONE,
               "%s is the same as %s, so nobody sees whether labels in these are on or off; "
               "write another sequence",
               shown.on_color, shown.off_color);
    } else if (idx_colorname_in_color_list(label.on_color) == 0) {
        report("on-color-0", LABELS_FILE, label.line, NONE,
               "%s is colour 0: a label that the host changes is drawn in %s instead; use another "
               "on colour",
               label.on_color, label.off_color);
    }
}

// --- Places ---

void check_place(const model& of, const place_record& one) {
    const int last_column = COLUMNS - MAX_LABEL_LEN + 1;
    if (one.x_pos < 1 || one.x_pos > ROWS || one.y_pos < 1 || one.y_pos > last_column) {
        report("place-range", POSITIONS_FILE, one.line, NONE,
               "%s in row %d, column %d does not fit the screen; use rows 1 to %d and columns 1 "
               "to %d",
               one.key_name, one.x_pos, one.y_pos, ROWS, last_column);
    }
    const bool has_label = with_key(of.labels, one.key_name, same_text) != nullptr;
    for (const place_record* earlier = of.positions.begin(); earlier != &one; ++earlier) {
        const int distance = std::abs(one.y_pos - earlier->y_pos);
        if (same_text(earlier->key_name, one.key_name)) {
            report("label-twice", POSITIONS_FILE, one.line, NONE,
                   "%s already has a place in line %d, which its label uses; give this one another "
                   "key",
                   one.key_name, earlier->line);
        } else if (earlier->x_pos == one.x_pos && distance < MAX_LABEL_LEN && has_label &&
                   with_key(of.labels, earlier->key_name, same_text) != nullptr) {
            report("place-overlap", POSITIONS_FILE, one.line, NONE,
                   "%s covers %s in line %d, %d columns apart in row %d; leave %d between them",
                   one.key_name, earlier->key_name, earlier->line, distance, one.x_pos,
                   MAX_LABEL_LEN);
        }
    }
}

// A label that is not shown: it has no place, or another one has it.
void check_key(const model& of, const label_record& label) {
    const place_record* const alike = with_key(of.positions, label.key_name, same_letters);
    if (with_key(of.positions, label.key_name, same_text) != nullptr) {
        const label_record* later = of.labels.end() - 1;
        while (!same_text(later->key_name, label.key_name)) {
            --later;
        }
        report("label-twice", LABELS_FILE, label.line, NONE,
               "%s has another label in line %d, which counts; remove one of them", label.key_name,
               later->line);
    } else if (of.positions.count > 0 || &label == of.labels.begin()) {
        report("label-place", LABELS_FILE, label.line, NONE,
               "there is no place %s, so this label is not drawn; %s%s", label.key_name,
               alike != nullptr ? "keys are case-sensitive: write " : "write a key of ",
               alike != nullptr ? alike->key_name : POSITIONS_FILE);
    }
}

// --- Labels ---

void check_text(const label_record& label) {
    if (has_other_letters(label.text)) {
        report("not-ascii", LABELS_FILE, label.line, NONE,
               "%s has accented letters or the like, which the screen may show as other "
               "characters, two for one; write plain letters",
               label.text);
    } else if (strlen(label.text) > MAX_LABEL_LEN) {
        report("label-cut", LABELS_FILE, label.line, NONE,
               "%s is shown as %.*s; write a text of at most %d characters", label.text,
               MAX_LABEL_LEN, label.text, MAX_LABEL_LEN);
    }
}

template <typename type, typename read_record>
void read_delivered(const char* name, records<type>* to, read_record read) {
    const std::string_view text = delivered(name);
    FILE* const fp = fmemopen(const_cast<char*>(text.data()), text.size(), "r");
    cfg_reader reader = cfg_read_from(fp, name);
    for (byte line = fp == nullptr ? CFG_LINE_END : CFG_LINE_DATA; line != CFG_LINE_END;) {
        line = cfg_invalid_line(&reader);
        if (line == CFG_LINE_DATA && read(&reader, &to->items[to->count])) {
            ++to->count;
        }
    }
    if (fp != nullptr) {
        fclose(fp);
    }
}

// The control that a label of this key and text is delivered for, or NONE.
int delivered_control(const label_record& label) {
    static records<cfg_base_record> base;
    static records<sl_customization> labels;
    if (base.count == 0) {
        read_delivered(BASE_FILE, &base, cfg_read_base_record);
        read_delivered(LABELS_FILE, &labels, [](cfg_reader* reader, sl_customization* record) {
            return sl_read_customization(reader, record) == CUSTOMIZATION_FIELDS;
        });
    }
    const label_record* const same = with_key(labels, label.key_name, same_text);
    for (const auto& record : base) {
        if (same != nullptr && same_letters(same->text, label.text) &&
            record.app_cc == same->note && record.idx >= HOST_CFG_BASE) {
            return record.idx;
        }
    }
    return NONE;
}

// A control that has no line, or whose own note goes elsewhere, is reported for that.
void check_follows(const examined& what, const label_record& label, int note) {
    const auto& follows = what.does.control_of_note;
    const int idx = delivered_control(label);
    const mapped_control* const own = idx != NONE ? &what.does.controls[idx] : nullptr;
    const char* const file = LABELS_FILE;
    if (follows[note] == NONE && own == nullptr) {
        report("label-left", file, label.line, NONE,
               "no control or LED has note %d, so only a host that knows this label draws it; "
               "write the note of its control",
               note);
        return;
    }
    if (own == nullptr || follows[note] == idx || own->line == 0 || !is_midi(own->number) ||
        follows[own->number] != idx) {
        return;
    }
    const mention moved(what.of, *own, file);
    const bool is_free = follows[note] == NONE;
    report("label-left", file, label.line, idx,
           "note %d belongs to %s, but this is the label of %s, which has %d; write that, or "
           "another text",
           note, is_free ? "no control" : title(what.does.controls[follows[note]]).text, moved.text,
           own->number);
}

void check_note(const examined& what, const label_record& label, const shown_label& shown) {
    const place at = {LABELS_FILE, label.line};
    check_range(what, at, NONE, "note", label.note, "the label", true);
    if (!is_midi(shown.note) || what.does.channel == NONE) {
        return;
    }
    const int drawn = what.does.label_of_note[shown.note];
    if (drawn != NONE && &what.does.labels[drawn] != &shown) {
        report("label-note", LABELS_FILE, label.line, NONE,
               "note %d draws %s in line %d, whose place comes first, and never this label; give "
               "it the note of its own control",
               shown.note, what.does.labels[drawn].place, what.does.labels[drawn].line);
    } else if (what.of.base.count > 0 && (what.of.preset_no == NONE || is_preset_meant(what.of))) {
        check_follows(what, label, shown.note);
    }
}

}  // namespace

void check_labels(const examined& what) {
    for (const color_record& color : what.of.colors) {
        check_slot(what.of, color);
        check_sequence(color);
    }
    if (what.of.colors.count == 0 && what.of.labels.count > 0 && is_read(COLORS_FILE) &&
        has_lines(text_of(COLORS_FILE))) {
        report("label-color", COLORS_FILE, 0, NONE,
               "has no colours, so labels are drawn in none; write those that they name");
    }
    for (const place_record& one : what.of.positions) {
        check_place(what.of, one);
    }
    const std::span<const shown_label> all(what.does.labels,
                                           static_cast<size_t>(what.does.label_count));
    for (const label_record& label : what.of.labels) {
        const auto shown = std::find_if(
            all.begin(), all.end(), [&](const shown_label& one) { return one.line == label.line; });
        if (shown == all.end()) {
            check_key(what.of, label);
        } else {
            check_colors(what.of, label, *shown);
            check_text(label);
            check_note(what, label, *shown);
        }
    }
}

}  // namespace engine
