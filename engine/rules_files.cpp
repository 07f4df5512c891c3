// The files as such: there, readable, text, images.
#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "rules_parts.h"

namespace engine {
namespace {

// --- There at all ---

struct needed_file {
    const char* name;
    bool is_needed;
    const char* so;
};

struct bad_state {
    file_state state;
    rule_ref rule;
    const char* so;
};
constexpr bad_state BAD_STATES[] = {
    {NOT_A_FILE, "missing", "not a regular file: taken as missing; put the file itself there"},
    {UNREADABLE, "unreadable", "cannot be read, and counts as missing; run chmod a+r on it"},
    {TOO_LARGE, "too-large", "larger than 1 MB: not looked at; put the file itself there"},
};

void check_there(const needed_file& one) {
    const file* const there = find_file(one.name);
    if (there == nullptr && one.is_needed) {
        report("missing", one.name, 0, NONE, "missing: %s; put the file back", one.so);
    }
    for (const bad_state& bad : BAD_STATES) {
        if (there != nullptr && there->state == bad.state) {
            report(bad.rule, one.name, 0, NONE, "%s", bad.so);
        }
    }
}

void check_all_there(const examined& what) {
    const bool labels = find_file(LABELS_FILE) != nullptr;
    const bool places = find_file(COLORS_FILE) != nullptr || find_file(POSITIONS_FILE) != nullptr;
    const bool copies = labels || find_file(PRESET_0_FILE) != nullptr;
    const bool shows = what.does.label_count > 0;
    const needed_file files[] = {
        {BASE_FILE, true, "the daemon does not start without it"},
        {what.of.preset_file, false, ""},
        {SETTINGS_FILE, true, "channel 0, no preset, and no USB identity: the host sees nothing"},
        {COLORS_FILE, labels, "labels have no colours"},
        {POSITIONS_FILE, labels, "no label has a place"},
        {LABELS_FILE, places, "no label is drawn"},
        {SCRIPT_FILE, copies, "preset 0 and the labels count as missing"},
        {IMAGE_FILE, shows, "the screen stays black around the labels"},
        {WIDE_IMAGE_FILE, !shows, "the screen stays black"},
    };
    for (const needed_file& one : files) {
        check_there(one);
    }
}

// It is never run here; what a changed one makes is not known.
void check_script() {
    if (!is_read(SCRIPT_FILE)) {
        return;
    }
    if (!find_file(SCRIPT_FILE)->may_run) {
        report("script-mode", SCRIPT_FILE, 0, NONE,
               "is not executable, so preset 0 and the labels count as missing; run chmod +x on "
               "it");
    }
    if (text_of(SCRIPT_FILE) != delivered(SCRIPT_FILE)) {
        report("script-changed", SCRIPT_FILE, 0, NONE,
               "not the delivered script, and not run here: what preset 0 and the labels become "
               "may differ; put the delivered script back");
    }
}

// --- Text ---

struct form {
    const char* name;
    int fields;
    int number_at;     // a field that must be a number
    int key_at;        // the field that names what the line is about
    bool ends_matter;  // words after the last field are ignored, not refused
};

// True when a line that counts is about this, too.
bool is_elsewhere(const form& of, word key) {
    word words[BASE_FIELDS];
    for (lines in(text_of(of.name)); in.next();) {
        if (!is_comment(in.text()) && split(in.text(), words, of.fields) >= of.fields &&
            words[of.key_at] == key) {
            return true;
        }
    }
    return false;
}

// A record after a blank is a comment for the daemon, which may be meant of an old line.
void check_indented(const form& of, const lines& at) {
    word words[BASE_FIELDS];
    if (split(at.text(), words, of.fields) == of.fields && is_number(words[of.number_at]) &&
        !is_elsewhere(of, words[of.key_at])) {
        report("indented", of.name, at.number(), NONE,
               "the line begins with a blank, so it is a comment and has no effect; remove "
               "the blank, or write a # first");
    }
}

void check_end(const form& of, const lines& at) {
    word words[BASE_FIELDS + 1];
    if (!of.ends_matter || split(at.text(), words, of.fields + 1) <= of.fields ||
        !is_number(words[of.number_at])) {
        return;
    }
    const word first = words[of.fields];
    if (first.data()[-1] == ' ' && !first.starts_with('#')) {
        const std::string_view rest =
            at.text().substr(static_cast<size_t>(first.data() - at.text().data()));
        report("extra-field", of.name, at.number(), NONE,
               "\"%.*s\" after the last field is ignored; write names as one word, and one record "
               "in a line",
               static_cast<int>(std::min<size_t>(rest.find_last_not_of(" \t\r") + 1, 60)),
               rest.data());
    }
}

// A number takes what it can of its word, and leaves the rest to the next field.
void check_number(const form& of, const lines& at) {
    word words[BASE_FIELDS];
    const word number =
        split(at.text(), words, of.fields) < of.fields ? word() : words[of.number_at];
    const size_t end = number.find_first_not_of("0123456789", number.find_first_not_of("+-"));
    if (end != number.npos && end > 0 && isdigit(static_cast<u8>(number[end - 1])) != 0) {
        report("not-a-number", of.name, at.number(), NONE,
               "%.*s is read as %.*s, and the rest of it as the next field; write a whole number",
               static_cast<int>(std::min<size_t>(number.size(), 60)), number.data(),
               static_cast<int>(std::min<size_t>(end, 60)), number.data());
    }
}

void check_records(const form& of) {
    for (lines in(text_of(of.name)); in.next();) {
        const std::string_view text = in.text();
        if (text.starts_with('\xFF') || (is_comment(text) && text.find('\xFF') != text.npos)) {
            report("ends-early", of.name, in.number(), NONE,
                   "a byte 0xFF ends the file here for the daemon; remove it, or save the file as "
                   "UTF-8");
            return;
        }
        if (text.starts_with(' ')) {
            check_indented(of, in);
        } else if (!is_comment(text)) {
            check_end(of, in);
            check_number(of, in);
        }
    }
}

void check_text(const form& of) {
    const std::string_view text = text_of(of.name);
    const size_t nul = text.find('\0');
    if (has_lines(text)) {
        if (of.fields > 0) {
            check_records(of);
        }
    } else if (nul != text.npos) {
        report(
            "not-text", of.name, 0, NONE,
            "has a NUL byte in line %d, as in UTF-16, so not all that stands there is found; save "
            "it as UTF-8 without a byte order mark",
            static_cast<int>(std::count(text.begin(), text.begin() + nul, '\n')) + 1);
    } else {
        report("cr-only", of.name, 0, NONE,
               "its lines end in CR alone, so all of it is one line; save it with LF line "
               "ends");
    }
}

// --- Images ---

constexpr int WIDTH = 480;
constexpr int HEIGHT = 272;
constexpr int MOST = 255;  // of a colour
constexpr size_t PIXEL_BYTES = 3UL * WIDTH * HEIGHT;

// Takes a number of a PPM header, after blanks and comments, and the byte behind it; -1: there is
// none.
int take_header_number(std::string_view* text) {
    const auto byte_at = [&](size_t at) {
        return at < text->size() ? static_cast<unsigned char>((*text)[at]) : 0;
    };
    size_t at = 0;
    while (byte_at(at) == '#' || isspace(byte_at(at)) != 0) {
        at = byte_at(at) == '#' ? text->find('\n', at) : at + 1;
    }
    int number = -1;
    for (; isdigit(byte_at(at)) != 0 && number < 100000; ++at) {
        number = 10 * std::max(number, 0) + byte_at(at) - '0';
    }
    text->remove_prefix(std::min(at + 1, text->size()));
    return number;
}

void check_image(const char* name) {
    std::string_view rest = text_of(name);
    if (!is_read(name)) {
        return;
    }
    const bool is_ppm = rest.starts_with("P6");
    rest.remove_prefix(is_ppm ? 2 : 0);
    const int columns = take_header_number(&rest);
    const int rows = take_header_number(&rest);
    const int most = take_header_number(&rest);
    if (!is_ppm || columns != WIDTH || rows != HEIGHT || most != MOST ||
        rest.size() < PIXEL_BYTES) {
        report(
            "image", name, 0, NONE,
            "not a whole binary PPM file (\"P6\") of %d by %d pixels with 8 bits per colour: the "
            "screen shows none of it, or part; convert it",
            WIDTH, HEIGHT);
    }
}

}  // namespace

void check_files(const examined& what) {
    check_all_there(what);
    check_script();
    const form forms[] = {
        {BASE_FILE, BASE_FIELDS, 0, 0, true}, {what.of.preset_file, 2, 1, 0, false},
        {COLORS_FILE, 3, 0, 2, true},         {POSITIONS_FILE, 3, 0, 2, true},
        {LABELS_FILE, 5, 2, 0, false},        {SETTINGS_FILE, 0, 0, 0, false}};
    for (const form& one : forms) {
        check_text(one);
    }
    check_image(IMAGE_FILE);
    check_image(WIDE_IMAGE_FILE);
}

}  // namespace engine
