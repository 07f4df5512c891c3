#include "export.h"

#include <algorithm>
#include <cstring>

#include "json.h"
#include "utf8.h"

namespace ctlmap {
namespace {

constexpr const char* SCHEMA = "ctlmap-1";
constexpr const char* SEPARATOR = "; ";

// --- Fields ---

enum value_kind { NOTHING, NUMBER, WORD, TEXT, TRUTH, LIST };  // TEXT: the owner's

struct value {
    value_kind kind = NOTHING;
    int number = 0;
    const char* text = "";
};

value number(int of) {
    return {NUMBER, of};
}
value number_if(bool there, int of) {
    return there ? number(of) : value{};
}
value word(const char* of) {
    return {WORD, 0, of};
}
value text(const char* of) {
    return {TEXT, 0, of};
}

// A field by its key and by its name in words; null: what it says another field tells as well.
template <typename type>
struct field {
    const char* key;
    const char* words;
    value (*of)(const type&);
};

constexpr field<mapping> MAPPING_FIELDS[] = {
    {"channel", "channel",
     [](const mapping& m) { return number_if(m.channel != NONE, m.channel); }},
    {"preset", "preset", [](const mapping& m) { return number_if(m.preset != NONE, m.preset); }},
    {"vendor_id", "USB vendor", [](const mapping& m) { return text(m.usb.buf_vendor_id); }},
    {"product_id", "USB product", [](const mapping& m) { return text(m.usb.buf_product_id); }},
    {"manufacturer", "USB name of the manufacturer",
     [](const mapping& m) { return text(m.usb.buf_manufacturer); }},
    {"product_name", "USB name of the product",
     [](const mapping& m) { return text(m.usb.buf_product_name); }},
};

constexpr field<mapped_control> CONTROL_FIELDS[] = {
    {"index", nullptr, [](const mapped_control& c) { return number(c.idx); }},
    {"kind", nullptr, [](const mapped_control& c) { return word(KIND_NAMES[c.kind]); }},
    {"name", "name", [](const mapped_control& c) { return text(c.name); }},
    {"mode", "mode",
     [](const mapped_control& c) {
         return c.moves ? word(c.relative ? "relative" : "absolute") : value{};
     }},
    {"step", "units in a step",
     [](const mapped_control& c) { return number_if(c.relative, c.units_per_step); }},
    {"passes", "passes between two messages",
     [](const mapped_control& c) { return number_if(c.passes != NONE, c.passes); }},
    {"off_darkens", "a note-off turns it off",
     [](const mapped_control& c) {
         const message& sent = c.messages[FROM_HOST];
         return sent.there && sent.is_note ? value{TRUTH, c.off_darkens} : value{};
     }},
};

constexpr const char* MESSAGE_KEYS[DIRECTIONS] = {"from_board", "to_host", "from_host", "to_board"};
constexpr const char* MESSAGE_WORDS[DIRECTIONS] = {"from the board", "to the host", "from the host",
                                                   "to the board"};

const char* type_of(const message& what) {
    return what.is_note ? "note" : "controller";
}

constexpr field<message> MESSAGE_FIELDS[] = {
    {"type", nullptr, [](const message& m) { return word(type_of(m)); }},
    {"number", nullptr, [](const message& m) { return number(m.number); }},
    {"bytes", nullptr,
     [](const message& m) {
         return value{LIST, 0, m.bytes};
     }},
    {"min", nullptr, [](const message& m) { return number(m.least); }},
    {"max", nullptr, [](const message& m) { return number(m.most); }},
};

constexpr field<shown_label> LABEL_FIELDS[] = {
    {"place", nullptr, [](const shown_label& l) { return text(l.place); }},
    {"text", "text", [](const shown_label& l) { return text(l.text); }},
    {"note", "note", [](const shown_label& l) { return number(l.note); }},
    {"row", "row", [](const shown_label& l) { return number(l.row); }},
    {"column", "column", [](const shown_label& l) { return number(l.column); }},
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
            json.null();
            return;
        }
        json.begin_object();
        fields(all, of);
        json.end_object();
    }

    json_writer json;

  private:
    void write(const value& what) {
        switch (what.kind) {
            case NOTHING:
                json.null();
                break;
            case NUMBER:
                json.value(what.number);
                break;
            case WORD:
            case TEXT:
                json.value(what.text);
                break;
            case TRUTH:
                json.value(what.number != 0);
                break;
            case LIST:
                write_list(what.text);
                break;
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

    void write(const value& what) {
        separate();
        if (what.kind == NUMBER) {
            fprintf(out_, "%d", what.number);
        } else if (what.kind == TRUTH) {
            fputs(what.number != 0 ? "true" : "false", out_);
        } else {
            quote(what.text);
        }
    }

    void end_line() { fputs("\r\n", out_); }

  private:
    void separate() {
        fputs(first_ ? "" : ",", out_);
        first_ = false;
    }

    void quote(const char* words) {
        const bool quoted = strpbrk(words, ",\"\r\n") != nullptr;
        fputs(quoted ? "\"" : "", out_);
        for (const char* c = words; *c != '\0'; c += write_character(c, out_)) {
            fputs(*c == '"' ? "\"" : "", out_);
        }
        fputs(quoted ? "\"" : "", out_);
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
        const bool there = of != nullptr && of->messages[way].there;
        out.group(MESSAGE_KEYS[way], MESSAGE_FIELDS, there ? &of->messages[way] : nullptr);
    }
    out.group("label", LABEL_FIELDS, label);
}

const shown_label* label_of_control(const mapping& in, const mapped_control& of) {
    return of.label == NONE ? nullptr : &in.labels[of.label];
}

bool has_control(const mapping& in, int label) {
    for (const mapped_control& control : in.controls) {
        if (control.label == label) {
            return true;
        }
    }
    return false;
}

// --- Differences ---

void print_value(const value& what, FILE* out) {
    switch (what.kind) {
        case NUMBER:
            fprintf(out, "%d", what.number);
            break;
        case TRUTH:
            fputs(what.number != 0 ? "yes" : "no", out);
            break;
        case NOTHING:
            fputs("none", out);
            break;
        case WORD:
            fputs(what.text, out);
            break;
        case TEXT:
        case LIST:
            fputc('"', out);
            for (const char* c = what.text; *c != '\0'; c += write_character(c, out)) {
            }
            fputc('"', out);
            break;
    }
}

bool same(const value& one, const value& other) {
    return one.kind == other.kind && one.number == other.number &&
           strcmp(one.text, other.text) == 0;
}

struct differences {
    FILE* out;
    int count = 0;
    char subject[CFG_NAME_SIZE + 24] = "";  // of the line, with ": "

    void compare(const char* words, const value& before, const value& after) {
        if (same(before, after)) {
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
        const message& one = before.messages[way];
        const message& other = after.messages[way];
        if (way == FROM_HOST && before.messages[TO_HOST].there) {
            continue;  // a button has one number for both
        }
        char words[64];
        snprintf(words, sizeof words, "message %s", MESSAGE_WORDS[way]);
        to->compare(words, word(type_of(one)), word(type_of(other)));
        snprintf(words, sizeof words, "%s %s", type_of(other), MESSAGE_WORDS[way]);
        to->compare(words, number(one.number), number(other.number));
    }
}

const shown_label* label_at(const mapping& in, const char* place) {
    for (int i = 0; i < in.label_count; ++i) {
        if (strcmp(in.labels[i].place, place) == 0) {
            return &in.labels[i];
        }
    }
    return nullptr;
}

// The sequence of a colour that some label has, or null.
const char* sequence_of(const mapping& in, const char* color) {
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
void compare_colors(const mapping& before, const mapping& after, differences* to) {
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
            snprintf(to->subject, sizeof to->subject, "colour %s: ", color);
            to->compare("sequence", text(sequence_of(before, color)), text(sequence));
        }
    }
}

void compare_labels(const mapping& before, const mapping& after, differences* to) {
    for (int i = 0; i < before.label_count; ++i) {
        const shown_label& label = before.labels[i];
        const shown_label* const other = label_at(after, label.place);
        snprintf(to->subject, sizeof to->subject, "label %s: ", label.place);
        if (other == nullptr) {
            to->say("is gone");
        } else {
            to->compare_fields(LABEL_FIELDS, label, *other);
        }
    }
    for (int i = 0; i < after.label_count; ++i) {
        const shown_label& label = after.labels[i];
        if (label_at(before, label.place) == nullptr) {
            snprintf(to->subject, sizeof to->subject, "label %s: ", label.place);
            to->say("is new");
        }
    }
}

}  // namespace

void export_json(const mapping& what, FILE* out) {
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

void export_csv(const mapping& what, FILE* out) {
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

int print_differences(const mapping& before, const mapping& after, FILE* out) {
    differences found{out};
    found.compare_fields(MAPPING_FIELDS, before, after);
    for (int idx = 0; idx < TOTAL_CFG_ITEM; ++idx) {
        compare_controls(before.controls[idx], after.controls[idx], &found);
    }
    compare_labels(before, after, &found);
    compare_colors(before, after, &found);
    return found.count;
}

}  // namespace ctlmap
