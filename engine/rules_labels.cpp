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

bool has_color(const label_record& label, word name) {
    return label.on_color == name || label.off_color == name;
}

void check_slot(const model& of, const color_record& color) {
    for (const color_record* earlier = of.colors.begin(); earlier != &color; ++earlier) {
        if (earlier->idx == color.idx || same_text(earlier->key_name, color.key_name)) {
            report("color-twice", COLORS_FILE, color.line, NONE,
                   "line %d already has this %s, so labels get only one of the two colours; "
                   "give each its own",
                   earlier->line, earlier->idx == color.idx ? "index" : "name");
        }
    }
    const auto uses = [&](const label_record& label) { return has_color(label, color.key_name); };
    if (color.idx >= total_color_list && std::any_of(of.labels.begin(), of.labels.end(), uses)) {
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

// True for what the console takes for a colour or a style: "1;31".
bool is_style(word numbers) {
    constexpr int KNOWN[][2] = {{0, 5}, {7, 7}, {10, 12}, {21, 25}, {27, 27}, {30, 49}, {90, 107}};
    const word first = numbers.substr(0, numbers.find(';'));
    const int number = first.size() > 3 ? NONE : atoi(first.data());
    const auto has_it = [&](const int(&range)[2]) {
        return number >= range[0] && number <= range[1];
    };
    if (!std::any_of(std::begin(KNOWN), std::end(KNOWN), has_it)) {
        return false;
    }
    const bool is_extended = number == 38 || number == 48;  // what follows belongs to it
    return is_extended || first.size() == numbers.size() ||
           is_style(numbers.substr(first.size() + 1));
}

// True for escape sequences that set colours and nothing else.
bool sets_color(word text) {
    do {
        const size_t end = text.find_first_not_of("0123456789;", 2);
        if (!text.starts_with(ESCAPE) || text.substr(1, 1) != "[" || end == text.npos ||
            text[end] != 'm' || !is_style(text.substr(2, end - 2))) {
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

// Reported at the first label that uses it.
void check_color(const model& of, const char* name) {
    if (of.colors.count == 0 || idx_colorname_in_color_list(name) >= 0 ||
        with_key(of.colors, name, same_text) != nullptr || is_lost(COLORS_FILE, name) ||
        !is_sound(COLORS_FILE)) {
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
    const int last_column = SCREEN_COLUMNS - MAX_LABEL_LEN + 1;
    if (one.x_pos < 1 || one.x_pos > SCREEN_ROWS || one.y_pos < 1 || one.y_pos > last_column) {
        report("place-range", POSITIONS_FILE, one.line, NONE,
               "%s in row %d, column %d does not fit the screen; use rows 1 to %d and columns 1 "
               "to %d",
               one.key_name, one.x_pos, one.y_pos, SCREEN_ROWS, last_column);
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
            break;
        }
    }
}

// Reported where the keys are not all different, which is what it then comes from.
void check_place_count(const model& of) {
    if (of.positions.count > MAX_TOTAL_SOFT_LABELS && !is_reported(POSITIONS_FILE, "label-twice")) {
        report(
            "label-place", POSITIONS_FILE, of.positions.items[MAX_TOTAL_SOFT_LABELS].line, NONE,
            "there are %d places already, so none from here on is used; remove one that no label "
            "has",
            MAX_TOTAL_SOFT_LABELS);
    }
}

// A label that is not shown: another one has its place, or it has none. One that has lost it is
// reported there.
void check_key(const model& of, const label_record& label) {
    const place_record* const alike = with_key(of.positions, label.key_name, same_letters);
    if (idx_keyname_in_soft_label_array(label.key_name) >= 0) {
        const label_record* later = of.labels.end() - 1;
        while (!same_text(later->key_name, label.key_name)) {
            --later;
        }
        report("label-twice", LABELS_FILE, label.line, NONE,
               "%s has another label in line %d, which counts; remove one of them", label.key_name,
               later->line);
    } else if (of.positions.count > 0 && !is_lost(POSITIONS_FILE, label.key_name) &&
               !is_reported(POSITIONS_FILE, "label-twice") &&
               with_key(of.positions, label.key_name, same_text) == nullptr) {
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

// The control that a label of this key and text is delivered for, or NONE.
int delivered_control(const label_record& label) {
    static records<sl_customization> labels;
    if (labels.count == 0) {
        read_delivered(LABELS_FILE, &labels, [](cfg_reader* reader, sl_customization* record) {
            return sl_read_customization(reader, record) == CUSTOMIZATION_FIELDS;
        });
    }
    const label_record* const same = with_key(labels, label.key_name, same_text);
    for (const auto& record : delivered_base()) {
        if (same != nullptr && same_letters(same->text, label.text) &&
            record.app_cc == same->note && record.idx >= HOST_CFG_BASE) {
            return record.idx;
        }
    }
    return NONE;
}

// The control that a label is made for if it does not follow it, else null. A control without a
// line or with another mistake, or whose own note goes elsewhere, is reported for that.
const mapped_control* left_control(const examined& what, const label_record& label) {
    const auto& follows = what.does.control_of_note;
    const int idx = delivered_control(label);
    if (idx == NONE || !is_midi(label.note) || follows[label.note] == idx) {
        return nullptr;
    }
    const mapped_control& own = what.does.controls[idx];
    const bool is_well = own.line > 0 && is_midi(own.number) && follows[own.number] == idx &&
                         !is_reported(idx, {}, ERROR);
    return is_well ? &own : nullptr;
}

void check_follows(const examined& what, const label_record& label) {
    const int follows = what.does.control_of_note[label.note];
    const mapped_control* const own = left_control(what, label);
    if (own != nullptr) {
        const mention moved(what.of, *own, LABELS_FILE);
        report("label-left", LABELS_FILE, label.line, own->idx,
               "note %d belongs to %s, but this is the label of %s, which has %d; write that, or "
               "another text",
               label.note, follows == NONE ? "no control" : title(what.does.controls[follows]).text,
               moved.text, own->number);
    } else if (follows == NONE && delivered_control(label) == NONE) {
        report("label-left", LABELS_FILE, label.line, NONE,
               "no control or LED has note %d, so only a host that knows this label draws it; "
               "write the note of its control",
               label.note);
    }
}

void check_note(const examined& what, const label_record& label, const shown_label& shown) {
    const place at = {LABELS_FILE, label.line};
    check_range(what, at, NONE, "note", label.note, "the label", true);
    if (!is_midi(label.note) || what.does.channel == NONE) {
        return;
    }
    const int drawn = what.does.label_of_note[label.note];
    if (drawn == NONE || &what.does.labels[drawn] == &shown) {
        if (what.of.base.count > 0 && (what.of.preset_no == NONE || is_preset_meant(what.of))) {
            check_follows(what, label);
        }
        return;
    }
    const shown_label& other = what.does.labels[drawn];
    const label_record* holder = what.of.labels.begin();
    while (holder->line != other.line) {
        ++holder;
    }
    if (left_control(what, *holder) == nullptr) {  // else that is what is wrong
        report("label-note", LABELS_FILE, label.line, NONE,
               "note %d draws %s in line %d, whose place comes first, and never this label; give "
               "it the note of its own control",
               label.note, other.place, other.line);
    }
}

// A file without a record, which nothing else tells of.
void check_empty(const model& of) {
    const struct {
        rule_ref rule;
        const char* name;
        bool is_so;
        const char* so;
    } files[] = {
        {"label-color", COLORS_FILE, of.labels.count > 0 && of.colors.count == 0,
         "has no colours, so labels are drawn in none; write those that they name"},
        {"label-place", POSITIONS_FILE, of.labels.count > 0 && of.positions.count == 0,
         "has no places, so no label is drawn; write those that they name"},
        {"missing", LABELS_FILE, trim(text_of(LABELS_FILE)).empty(),
         "empty: no label is drawn; put the file back"},
    };
    for (const auto& one : files) {
        if (one.is_so && is_sound(one.name) && !is_reported(one.name)) {
            report(one.rule, one.name, 0, NONE, "%s", one.so);
        }
    }
}

}  // namespace

void check_labels(const examined& what) {
    check_empty(what.of);
    for (const color_record& color : what.of.colors) {
        check_slot(what.of, color);
        check_sequence(color);
    }
    for (const place_record& one : what.of.positions) {
        check_place(what.of, one);
    }
    check_place_count(what.of);
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
