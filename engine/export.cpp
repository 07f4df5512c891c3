#include "export.h"

#include <algorithm>
#include <cstring>

#include "json.h"
#include "utf8.h"

namespace engine {
namespace {

constexpr const char* SCHEMA = "ctlmap-2";
constexpr const char* SEPARATOR = "; ";

// --- Fields ---

enum value_kind { NOTHING, NUMBER, WORD, TEXT, TRUTH, LIST };  // TEXT: the owner's

struct value {
    value_kind kind = NOTHING;
    char plain[CFG_NAME_SIZE] = "";

    bool operator==(const value& other) const {
        return kind == other.kind && strcmp(plain, other.plain) == 0;
    }
};

value make(value_kind kind, const char* words) {
    value made{kind};
    snprintf(made.plain, sizeof made.plain, "%s", words);
    return made;
}
value number(int of) {
    value made{NUMBER};
    snprintf(made.plain, sizeof made.plain, "%d", of);
    return made;
}
value number_if(bool there, int of) {
    return there ? number(of) : value{};
}
value truth(bool of) {
    return make(TRUTH, of ? "true" : "false");
}
value word(const char* of) {
    return make(WORD, of);
}
value text(const char* of) {
    return make(TEXT, of);
}

// A field by its key and by its name in words; null: what it says another field tells as well.
template <typename type>
struct field {
    const char* key;
    const char* words;
    value (*of)(const type&);
};

value line(int of) {
    return number_if(of > 0, of);
}

constexpr field<answers> MAPPING_FIELDS[] = {
    {"channel", "channel",
     [](const answers& a) { return number_if(a.channel != NONE, a.channel); }},
    {"preset", "preset", [](const answers& a) { return number_if(a.preset != NONE, a.preset); }},
    {"vendor_id", "USB vendor", [](const answers& a) { return text(a.usb.buf_vendor_id); }},
    {"product_id", "USB product", [](const answers& a) { return text(a.usb.buf_product_id); }},
    {"manufacturer", "USB name of the manufacturer",
     [](const answers& a) { return text(a.usb.buf_manufacturer); }},
    {"product_name", "USB name of the product",
     [](const answers& a) { return text(a.usb.buf_product_name); }},
};

constexpr const char* SIDE_NAMES[] = {"deck A", "mixer", "deck B"};
constexpr const char* GROUP_NAMES[] = {"top",       "turning", "effects", "tempo", "loops", "pads",
                                       "transport", "knobs",   "faders",  "keys",  "cross"};

constexpr field<mapped_control> CONTROL_FIELDS[] = {
    {"index", nullptr, [](const mapped_control& c) { return number(c.idx); }},
    {"kind", nullptr, [](const mapped_control& c) { return word(KIND_NAMES[c.info().kind]); }},
    {"side", nullptr, [](const mapped_control& c) { return word(SIDE_NAMES[c.info().side]); }},
    {"group", nullptr, [](const mapped_control& c) { return word(GROUP_NAMES[c.info().group]); }},
    {"name", "name", [](const mapped_control& c) { return text(c.name); }},
    {"line", nullptr, [](const mapped_control& c) { return line(c.line); }},
    {"preset_line", nullptr, [](const mapped_control& c) { return line(c.preset_line); }},
    {"mode", "mode",
     [](const mapped_control& c) {
         return c.idx < TOTAL_POT_NUM ? word(c.relative ? "relative" : "absolute") : value{};
     }},
    {"step", "units in a step",
     [](const mapped_control& c) { return number_if(c.relative, c.units_per_step); }},
    {"rests", "a message at rest",
     [](const mapped_control& c) { return c.relative ? truth(c.rests) : value{}; }},
    {"passes", "passes between two messages",
     [](const mapped_control& c) { return number_if(c.passes != NONE, c.passes); }},
    {"off_darkens", "a note-off turns it off",
     [](const mapped_control& c) {
         return c.ways[FROM_HOST].are_notes() ? truth(c.off_darkens) : value{};
     }},
};

constexpr const char* WAY_KEYS[DIRECTIONS] = {"from_board", "to_host", "from_host", "to_board"};
constexpr const char* WAY_WORDS[DIRECTIONS] = {"from the board", "to the host", "from the host",
                                               "to the board"};

value type_of(const messages& what) {
    if (what.count == 0) {
        return {};
    }
    return word(what.are_notes() ? "note" : what.are_controllers() ? "controller" : "other");
}

// "90 3C 7F; 80 3C vv": what varies is vv.
value bytes_of(const messages& what) {
    value result = {LIST};
    size_t len = 0;
    for (int i = 0; i < what.count; ++i) {
        const message_form& one = what.forms[i];
        char last[4] = "vv";
        if (one.value != NONE) {
            snprintf(last, sizeof last, "%02X", static_cast<u8>(one.value));
        }
        len += static_cast<size_t>(snprintf(result.plain + len, sizeof result.plain - len,
                                            "%s%02X %02X %s", i == 0 ? "" : SEPARATOR, one.status,
                                            one.number, last));
    }
    return result;
}

constexpr field<messages> MESSAGE_FIELDS[] = {
    {"type", "message", type_of},
    {"number", nullptr, [](const messages& m) { return number(m.number()); }},
    {"bytes", nullptr, bytes_of},
    {"min", nullptr, [](const messages& m) { return number(m.least); }},
    {"max", nullptr, [](const messages& m) { return number(m.most); }},
};

constexpr field<shown_label> LABEL_FIELDS[] = {
    {"place", nullptr, [](const shown_label& l) { return text(l.place); }},
    {"line", nullptr, [](const shown_label& l) { return line(l.line); }},
    {"drawn", "drawn by its note", [](const shown_label& l) { return truth(l.is_drawn); }},
    {"text", "text", [](const shown_label& l) { return text(l.text); }},
    {"note", "note", [](const shown_label& l) { return number(l.note); }},
    {"row", "row", [](const shown_label& l) { return number_if(l.row != NONE, l.row); }},
    {"column", "column",
     [](const shown_label& l) { return number_if(l.column != NONE, l.column); }},
    {"on_color", "on colour", [](const shown_label& l) { return text(l.on_color); }},
    {"on_sequence", nullptr, [](const shown_label& l) { return text(l.on_sequence); }},
    {"off_color", "off colour", [](const shown_label& l) { return text(l.off_color); }},
    {"off_sequence", nullptr, [](const shown_label& l) { return text(l.off_sequence); }},
};

// --- Writers: each is handed the same fields and groups in the same order ---

class json_fields {
  public:
    explicit json_fields(FILE* out) : json(out) {}

    template <typename type, size_t count>
    void fields(const field<type> (&all)[count], const type* of) {
        for (size_t i = 0; of != nullptr && i < count; ++i) {
            json.key(all[i].key);
            write(all[i].of(*of));
        }
    }

    template <typename type, size_t count>
    void group(const char* key, const field<type> (&all)[count], const type* of) {
        json.key(key);
        if (of == nullptr) {
            json.plain("null");
            return;
        }
        json.begin_object();
        fields(all, of);
        json.end_object();
    }

    json_writer json;

  private:
    void write(const value& what) {
        if (what.kind == LIST) {
            write_list(what.plain);
        } else if (what.kind == WORD || what.kind == TEXT) {
            json.value(what.plain);
        } else {
            json.plain(what.kind == NOTHING ? "null" : what.plain);
        }
    }

    void write_list(std::string_view rest) {
        json.begin_array();
        while (!rest.empty()) {
            const std::string_view one = rest.substr(0, rest.find(SEPARATOR));
            json.value(one);
            rest.remove_prefix(std::min(rest.size(), one.size() + strlen(SEPARATOR)));
        }
        json.end_array();
    }
};

// A line; the first has the names of the columns.
class csv_fields {
  public:
    csv_fields(FILE* out, bool names) : out_(out), names_(names) {}

    template <typename type, size_t count>
    void fields(const field<type> (&all)[count], const type* of) {
        group("", all, of);
    }

    template <typename type, size_t count>
    void group(const char* key, const field<type> (&all)[count], const type* of) {
        for (const field<type>& one : all) {
            if (names_) {
                separate();
                fprintf(out_, "%s%s%s", key, key[0] == '\0' ? "" : "_", one.key);
            } else {
                write(of != nullptr ? one.of(*of) : value{});
            }
        }
    }

    // A spreadsheet would take some texts for a formula: an apostrophe keeps it from that.
    void write(const value& what) {
        const char* const words = what.plain;
        const bool is_formula =
            what.kind == TEXT && words[0] != '\0' && strchr("=+-@", words[0]) != nullptr;
        const char* const quote = strpbrk(words, ",\"\r\n") != nullptr ? "\"" : "";
        separate();
        fprintf(out_, "%s%s", quote, is_formula ? "'" : "");
        for (const char* c = words; *c != '\0'; c += write_character(c, out_)) {
            fputs(*c == '"' ? "\"" : "", out_);
        }
        fputs(quote, out_);
    }

    void end_line() { fputs("\r\n", out_); }

  private:
    void separate() {
        fputs(first_ ? "" : ",", out_);
        first_ = false;
    }

    FILE* out_;
    bool names_;
    bool first_ = true;
};

// What there is about a control; null: about none, and about a label that none has.
template <typename writer>
void write_control(writer& out, const mapped_control* of, const shown_label* label) {
    out.fields(CONTROL_FIELDS, of);
    for (int way = 0; way < DIRECTIONS; ++way) {
        const bool there = of != nullptr && of->ways[way].count > 0;
        out.group(WAY_KEYS[way], MESSAGE_FIELDS, there ? &of->ways[way] : nullptr);
    }
    out.group("label", LABEL_FIELDS, label);
}

const shown_label* label_of_control(const answers& in, const mapped_control& of) {
    return of.label == NONE ? nullptr : &in.labels[of.label];
}

bool has_control(const answers& in, int label) {
    for (const mapped_control& control : in.controls) {
        if (control.label == label) {
            return true;
        }
    }
    return false;
}

// --- Differences ---

void print_value(const value& what, FILE* out) {
    const char* const quote = what.kind == TEXT || what.kind == LIST ? "\"" : "";
    const char* c = what.kind == NOTHING   ? "none"
                    : what == truth(true)  ? "yes"
                    : what == truth(false) ? "no"
                                           : what.plain;
    fputs(quote, out);
    while (*c != '\0') {
        c += write_character(c, out);
    }
    fputs(quote, out);
}

struct differences {
    FILE* out;
    int count = 0;
    char subject[CFG_NAME_SIZE + 24] = "";  // of the line, with ": "

    void compare(const char* words, const value& before, const value& after) {
        if (before == after) {
            return;
        }
        fprintf(out, "%s%s ", subject, words);
        print_value(before, out);
        fputs(" -> ", out);
        print_value(after, out);
        fputc('\n', out);
        ++count;
    }

    template <typename type, size_t size>
    void compare_fields(const field<type> (&all)[size], const type& before, const type& after) {
        for (const field<type>& one : all) {
            if (one.words != nullptr) {
                compare(one.words, one.of(before), one.of(after));
            }
        }
    }

    void speak_of(const char* what, const char* name) {
        snprintf(subject, sizeof subject, "%s %s: ", what, name);
    }

    void say(const char* words) {
        fprintf(out, "%s%s\n", subject, words);
        ++count;
    }
};

void compare_controls(const mapped_control& before, const mapped_control& after, differences* to) {
    const char* const name = before.name[0] != '\0' ? before.name : after.name;
    if (name[0] != '\0') {
        snprintf(to->subject, sizeof to->subject, "%s (index %d): ", name, before.idx);
    } else {
        snprintf(to->subject, sizeof to->subject, "index %d: ", before.idx);
    }
    to->compare_fields(CONTROL_FIELDS, before, after);
    for (int way = 0; way < DIRECTIONS; ++way) {
        const messages& one = before.ways[way];
        const messages& other = after.ways[way];
        const bool same_number = one.number() == before.ways[TO_HOST_WAY].number() &&
                                 other.number() == after.ways[TO_HOST_WAY].number();
        char words[2 * CFG_NAME_SIZE];
        snprintf(words, sizeof words, "message %s", WAY_WORDS[way]);
        to->compare(words, type_of(one), type_of(other));
        if (one.count > 0 && other.count > 0 && !(way == FROM_HOST && same_number)) {
            snprintf(words, sizeof words, "%s %s", type_of(other).plain, WAY_WORDS[way]);
            to->compare(words, number(one.number()), number(other.number()));
        }
        const bool odd = !other.are_notes() && !other.are_controllers();  // told by its bytes alone
        if (one.count > 0 && other.count > 0 && odd) {
            snprintf(words, sizeof words, "bytes %s", WAY_WORDS[way]);
            to->compare(words, bytes_of(one), bytes_of(other));
        }
    }
}

const shown_label* label_at(const answers& in, const char* place) {
    for (int i = 0; i < in.label_count; ++i) {
        if (strcmp(in.labels[i].place, place) == 0) {
            return &in.labels[i];
        }
    }
    return nullptr;
}

// The sequence of a colour that some label has, or null.
const char* sequence_of(const answers& in, const char* color) {
    for (int i = 0; i < in.label_count; ++i) {
        const shown_label& label = in.labels[i];
        if (strcmp(label.on_color, color) == 0) {
            return label.on_sequence;
        }
        if (strcmp(label.off_color, color) == 0) {
            return label.off_sequence;
        }
    }
    return nullptr;
}

// Each colour once, however many labels have it.
void compare_colors(const answers& before, const answers& after, differences* to) {
    const char* compared[2 * MAX_TOTAL_SOFT_LABELS];
    int count = 0;
    for (int i = 0; i < before.label_count; ++i) {
        for (const char* const color : {before.labels[i].on_color, before.labels[i].off_color}) {
            const auto is_same = [&](const char* other) { return strcmp(other, color) == 0; };
            const char* const sequence = sequence_of(after, color);
            if (sequence == nullptr || std::any_of(compared, compared + count, is_same)) {
                continue;
            }
            compared[count++] = color;
            to->speak_of("colour", color);
            to->compare("sequence", text(sequence_of(before, color)), text(sequence));
        }
    }
}

void compare_labels(const answers& before, const answers& after, differences* to) {
    for (const auto& label : std::span(before.labels).first(before.label_count)) {
        const shown_label* const other = label_at(after, label.place);
        to->speak_of("label", label.place);
        if (other == nullptr) {
            to->say("is gone");
        } else {
            to->compare_fields(LABEL_FIELDS, label, *other);
        }
    }
    for (const auto& label : std::span(after.labels).first(after.label_count)) {
        if (label_at(before, label.place) == nullptr) {
            to->speak_of("label", label.place);
            to->say("is new");
        }
    }
}

}  // namespace

void export_json(const answers& what, FILE* out) {
    json_fields to(out);
    to.json.begin_object();
    to.json.key("schema").value(SCHEMA);
    to.fields(MAPPING_FIELDS, &what);
    to.json.key("controls").begin_array();
    for (const mapped_control& control : what.controls) {
        to.json.begin_object();
        write_control(to, &control, label_of_control(what, control));
        to.json.end_object();
    }
    to.json.end_array();
    to.json.key("other_labels").begin_array();
    for (int i = 0; i < what.label_count; ++i) {
        if (!has_control(what, i)) {
            to.json.begin_object();
            to.fields(LABEL_FIELDS, &what.labels[i]);
            to.json.end_object();
        }
    }
    to.json.end_array();
    to.json.end_object();
}

void export_csv(const answers& what, FILE* out) {
    const auto write_line = [&](bool names, const mapped_control* of, const shown_label* label) {
        csv_fields to(out, names);
        write_control(to, of, label);
        to.fields(MAPPING_FIELDS, &what);
        to.write(text(names ? "schema" : SCHEMA));
        to.end_line();
    };
    write_line(true, nullptr, nullptr);
    for (const mapped_control& control : what.controls) {
        write_line(false, &control, label_of_control(what, control));
    }
    for (int i = 0; i < what.label_count; ++i) {
        if (!has_control(what, i)) {
            write_line(false, nullptr, &what.labels[i]);
        }
    }
}

int print_differences(const answers& before, const answers& after, FILE* out) {
    differences found{out};
    found.compare_fields(MAPPING_FIELDS, before, after);
    for (int idx = 0; idx < TOTAL_CFG_ITEM; ++idx) {
        compare_controls(before.controls[idx], after.controls[idx], &found);
    }
    compare_labels(before, after, &found);
    compare_colors(before, after, &found);
    return found.count;
}

void findings_json(const char* dir, FILE* out) {
    json_writer json(out);
    json.begin_object();
    json.key("directory").value(dir);
    for (const severity level : {ERROR, WARNING, NOTE}) {
        char plural[16];
        snprintf(plural, sizeof plural, "%ss", SEVERITY_NAMES[level]);
        json.key(plural).value(count_findings(level));
    }
    json.key("findings").begin_array();
    for (const finding& item : findings()) {
        json.begin_object();
        json.key("file").value(item.file);
        json.key("line").value(item.line);
        json.key("control");
        item.control == NONE ? json.plain("null") : json.value(item.control);
        json.key("severity").value(SEVERITY_NAMES[item.level]);
        json.key("rule").value(item.rule);
        json.key("text").value(item.text);
        json.end_object();
    }
    json.end_array();
    json.end_object();
}

}  // namespace engine
