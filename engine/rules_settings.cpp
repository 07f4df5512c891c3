// The settings: which line counts, and what becomes of its value.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "rules_parts.h"
#include "utf8.h"

namespace engine {
namespace {

constexpr size_t VALUE_LEN = 15;  // that the daemon keeps

// What happens without a value; null: that is told of otherwise, or as it is delivered.
struct key_default {
    const char* without_line;
    const char* without_value;
};
constexpr key_default DEFAULTS[SETTINGS] = {
    {"channel 0 counts", "channel 0 counts"},
    {"no preset is selected", nullptr},
    {"the host sees no controller", nullptr},
    {"the host sees no controller", nullptr},
    {"the host sees no name of the maker", "the host sees no name of the maker"},
    {"the host sees no name of the product", "the host sees no name of the product"},
};

// --- A line ---

// "key=value", the key without blanks; no key: the line is empty, a comment, or sets nothing.
struct key_line {
    word key, value;

    explicit key_line(word text) {
        text.remove_prefix(text.starts_with(BYTE_ORDER_MARK) ? BYTE_ORDER_MARK.size() : 0);
        const size_t equals = text.find('=');
        if (equals != text.npos && !text.starts_with('#')) {
            key = trim(text.substr(0, equals));
            value = text.substr(equals + 1);
            value = value.substr(0, value.find('\r'));
        }
    }
};

// The first line after `after` that sets the key, or 0.
int setting_line(const char* key, int after) {
    for (lines in(text_of(SETTINGS_FILE)); in.next();) {
        if (in.number() > after && same_letters(key_line(in.text()).key, key)) {
            return in.number();
        }
    }
    return 0;
}

// Which line counts.
void check_line(const setting& one) {
    const int own = setting_line(one.key, 0);
    const int second = own > 0 ? setting_line(one.key, own) : 0;
    if (own != one.line) {
        report("key-elsewhere", SETTINGS_FILE, one.line, NONE,
               "this line is the first that contains %s, so it counts, with the value "
               "\"%s\"; take the key out of it, even if it is a comment, and write %s=VALUE",
               one.key, one.value, one.key);
    } else if (second > 0) {
        report("key-twice", SETTINGS_FILE, second, NONE,
               "line %d already sets %s, and only that line counts; remove one of them", own,
               one.key);
    }
}

// --- Lines that set nothing, keys that no line sets ---

// How many letters to put in, take out or change.
size_t distance(word from, word to) {
    size_t row[33];
    from = from.substr(0, std::size(row) - 1);
    for (size_t i = 0; i <= from.size(); ++i) {
        row[i] = i;
    }
    for (const char c : to) {
        size_t diagonal = row[0]++;
        for (size_t i = 1; i <= from.size(); ++i) {
            const size_t changed = diagonal + (tolower(from[i - 1]) == c ? 0 : 1);
            diagonal = row[i];
            row[i] = std::min({changed, row[i] + 1, row[i - 1] + 1});
        }
    }
    return row[from.size()];
}

void check_unknown(const model& of, bool (&is_named)[SETTINGS]) {
    for (lines in(text_of(SETTINGS_FILE)); in.next();) {
        const key_line line(in.text());
        const auto is_its = [&](const setting& one) {
            return one.line == in.number() || same_letters(one.key, line.key);
        };
        if (line.key.empty() || std::any_of(of.settings, std::end(of.settings), is_its)) {
            continue;
        }
        const auto* const nearest = std::min_element(
            of.settings, std::end(of.settings), [&](const setting& one, const setting& other) {
                return distance(line.key, one.key) < distance(line.key, other.key);
            });
        const int id = static_cast<int>(nearest - of.settings);
        const bool is_near = distance(line.key, nearest->key) <= strlen(nearest->key) / 2;
        is_named[id] |= is_near;
        char cure[128] = "remove the line";
        if (is_near) {
            const bool is_set = nearest->line > 0;
            snprintf(cure, sizeof cure, "write %s, which %s%s, or remove the line", nearest->key,
                     is_set ? "another line sets" : "no line sets, so ",
                     is_set ? "" : DEFAULTS[id].without_line);
        }
        report("key-unknown", SETTINGS_FILE, in.number(), NONE, "there is no key %.*s; %s",
               static_cast<int>(std::min<size_t>(line.key.size(), 60)), line.key.data(), cure);
    }
}

// One finding for all of them.
void check_missing(const model& of, const bool (&is_named)[SETTINGS]) {
    char keys[128] = "", then[256] = "";
    bool is_identity = false;
    for (int i = 0; i < SETTINGS; ++i) {
        if (of.settings[i].line > 0 || is_named[i]) {
            continue;
        }
        const auto add = [](auto& list, const char* separator, const char* text) {
            const size_t len = strlen(list);
            snprintf(list + len, sizeof list - len, "%s%s", len > 0 ? separator : "", text);
        };
        add(keys, ", ", of.settings[i].key);
        if (strstr(then, DEFAULTS[i].without_line) == nullptr) {
            add(then, ", ", DEFAULTS[i].without_line);
        }
        is_identity |= i == VENDOR || i == PRODUCT;
    }
    if (keys[0] != '\0') {
        report(is_identity ? rule_ref("identity") : rule_ref("key-missing"), SETTINGS_FILE, 0, NONE,
               "no line sets %s: %s; write key=value", keys, then);
    }
}

// --- Values ---

void check_empty(const setting& one, const key_default& then) {
    if (one.value[0] == '\0' && then.without_value != nullptr) {
        report("key-missing", SETTINGS_FILE, one.line, NONE, "%s has no value: %s; write one",
               one.key, then.without_value);
    }
}

void check_written(const setting& one) {
    const word text = line_of(text_of(SETTINGS_FILE), one.line);
    const key_line line(text);
    const word written = line.value.substr(0, line.value.find('='));
    const word before = text.substr(0, text.find('='));
    const size_t comment = written.find(" # ");
    if (trim(before).size() < before.size() || comment != word::npos || written.starts_with(' ') ||
        written.starts_with('\t')) {
        const word value = trim(written.substr(0, comment));
        report("setting-blank", SETTINGS_FILE, one.line, NONE,
               "blanks make no comment and no empty value here: \"%s\" counts; write %s=%.*s",
               one.value, one.key, static_cast<int>(value.size()), value.data());
    }
    if (written.size() > VALUE_LEN || written.size() < line.value.size()) {
        report("setting-cut", SETTINGS_FILE, one.line, NONE,
               "%s is cut, to \"%s\"; use at most 15 characters and no equals sign", one.key,
               one.value);
    }
}

// The daemon has refused it.
void check_refused(const setting& one) {
    if (strchr(one.value, '\r') == nullptr) {  // else that is reported
        report("refused", SETTINGS_FILE, one.line, NONE,
               "value \"%s\" of %s refused: a character that is not allowed there; write a number "
               "such as 0x1209, or a name without double quotes",
               one.value, one.key);
    }
}

void check_number(const model& of, const setting& one, const char*) {
    const bool is_channel = &one == &of.of(CHANNEL);
    const word value = trim(one.value);
    const int number = is_channel ? of.channel : of.preset_no;
    if (value.empty() || (is_channel && of.channel == NONE)) {
        return;  // or refused by the daemon
    }
    if (!is_digits(value) || strtol(one.value, nullptr, 10) != number) {
        report("setting-number", SETTINGS_FILE, one.line, NONE,
               "%s \"%.*s\" is %s: %d counts; write one%s", one.key, static_cast<int>(value.size()),
               value.data(), is_digits(value) ? "no possible number" : "not a number", number,
               is_channel ? " from 0 to 15" : ", or nothing for no preset");
    }
}

// As the kernel reads module parameters of 16 bits, and takes 0 for none.
void check_identity(const model&, const setting& one, const char* taken) {
    char* end;
    const unsigned long number = strtoul(taken, &end, 0);
    if (taken[0] != '\0' && *end == '\0' && number == 0) {
        report("identity", SETTINGS_FILE, one.line, NONE,
               "%s %s stands for none: the host sees that of the USB gadget itself; write one such "
               "as 0x1209",
               one.key, taken);
    } else if (taken[0] == '\0' || *end != '\0' || number > UINT16_MAX) {
        report("identity", SETTINGS_FILE, one.line, NONE,
               "%s \"%s\" is not a 16-bit number: the USB gadget does not load, and the host "
               "sees no controller; write one such as 0x1209",
               one.key, taken);
    } else if (number != strtoul(taken, nullptr, 16)) {
        report("identity-base", SETTINGS_FILE, one.line, NONE,
               "%s %s has no 0x in front and is read as %s: the host sees %04lx; write 0x%s, or "
               "0x%04lx if that is meant",
               one.key, taken, taken[0] == '0' ? "octal" : "decimal", number, taken, number);
    }
}

void check_usb_name(const model&, const setting& one, const char* taken) {
    if (!is_utf8(taken)) {
        report("not-ascii", SETTINGS_FILE, one.line, NONE,
               "%s is not UTF-8, or cut in the middle of a letter: the host cannot show it; save "
               "the file as UTF-8, or use plain letters",
               one.key);
    }
}

void check_line_ends() {
    for (lines in(text_of(SETTINGS_FILE)); in.next();) {
        if (in.text().ends_with('\r')) {
            report("crlf", SETTINGS_FILE, in.number(), NONE,
                   "CR LF line ends: USB values are refused, and an empty midi_preset selects "
                   "preset 0; save the file with LF line ends");
            return;
        }
    }
}

}  // namespace

void check_settings(const examined& what) {
    if (!is_sound(SETTINGS_FILE)) {
        return;
    }
    const gadget_values& usb = what.of.gadget;
    const struct {
        void (*check)(const model& of, const setting& one, const char* taken);
        const char* taken;
    } values[SETTINGS] = {
        {check_number, what.of.of(CHANNEL).value}, {check_number, what.of.of(PRESET).value},
        {check_identity, usb.buf_vendor_id},       {check_identity, usb.buf_product_id},
        {check_usb_name, usb.buf_manufacturer},    {check_usb_name, usb.buf_product_name}};
    bool is_named[SETTINGS] = {};
    check_unknown(what.of, is_named);
    check_missing(what.of, is_named);
    for (int i = 0; i < SETTINGS; ++i) {
        const setting& one = what.of.settings[i];
        const auto& [check, taken] = values[i];
        if (one.line == 0) {
            continue;
        }
        check_line(one);
        if (one.value[0] != '\0' && taken[0] == '\0') {
            check_refused(one);
            continue;
        }
        check_written(one);
        check_empty(one, DEFAULTS[i]);
        check(what.of, one, taken);
    }
    check_line_ends();
}

}  // namespace engine
