// The settings: which line counts, and what becomes of its value.
#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "check.h"
#include "utf8.h"

namespace ctlmap {
namespace {

constexpr int VALUE_LEN = 15;  // that the daemon keeps
constexpr int LINE_LEN = 256;
constexpr const char* BYTE_ORDER_MARK = "\xEF\xBB\xBF";  // harmless to a lookup

const char* skip_blanks(const char* text) {
    return text + strspn(text, " \t");
}

// What follows the equals sign in a line that sets the key, blanks allowed; else null.
const char* value_in(const char* text, const char* key) {
    const word mark = BYTE_ORDER_MARK;
    text = skip_blanks(word(text).starts_with(mark) ? text + mark.size() : text);
    if (strncasecmp(text, key, strlen(key)) != 0) {
        return nullptr;
    }
    text = skip_blanks(text + strlen(key));
    return *text == '=' ? text + 1 : nullptr;
}

// --- Which line ---

// The first line after `after` that sets the key, or 0.
int setting_line(const model& what, const char* key, int after) {
    for (lines in(what, SETTINGS_FILE); in.next();) {
        if (in.number() > after && value_in(in.text(), key) != nullptr) {
            return in.number();
        }
    }
    return 0;
}

void check_line(const model& what, const setting& one, findings* to) {
    const int own = setting_line(what, one.key, 0);
    if (own == one.line) {
        const int second = setting_line(what, one.key, own);
        if (second > 0) {
            report(to, "key-twice", SETTINGS_FILE, second,
                   "line %d already sets %s, and only that line counts; remove one of them", own,
                   one.key);
        }
    } else if (own > 0) {
        report(to, "key-elsewhere", SETTINGS_FILE, one.line,
               "this line contains %s and stands before line %d, so this one counts: the value is "
               "\"%s\"; take the key out of it, even if it is a comment",
               one.key, own, one.value);
    } else {
        report(
            to, "key-elsewhere", SETTINGS_FILE, one.line,
            "no line sets %s, but this one contains it, so it counts: the value is \"%s\"; write "
            "a line %s=VALUE in its place",
            one.key, one.value, one.key);
    }
}

// --- Its value ---

void check_written(const setting& one, const char* text, const char* written, findings* to) {
    const char* const second = strchr(written, '=');
    const size_t len = second != nullptr ? static_cast<size_t>(second - written) : strlen(written);
    if (len > VALUE_LEN) {
        report(to, "setting-cut", SETTINGS_FILE, one.line,
               "%s is cut to 15 characters: \"%s\"; choose a shorter value", one.key, one.value);
    } else if (second != nullptr) {
        report(to, "setting-cut", SETTINGS_FILE, one.line,
               "%s ends at the second equals sign: \"%s\"; leave that sign out", one.key,
               one.value);
    }
    const char before = text[strcspn(text, "=") - 1];
    if (*written == ' ' || *written == '\t' || before == ' ' || before == '\t') {
        const bool seems_empty = *skip_blanks(written) == '\0';
        report(to, "setting-blank", SETTINGS_FILE, one.line, "%s; write %s=%s without blanks",
               seems_empty ? "a value of blanks is not empty, and counts as 0"
                           : "blanks beside the equals sign can become part of the value",
               one.key, skip_blanks(one.value));
    }
}

void check_number(const model& what, setting_id id, findings* to) {
    const setting& one = what.of(id);
    char value[sizeof one.value];
    snprintf(value, sizeof value, "%s", skip_blanks(one.value));
    value[strcspn(value, " \t\r")] = '\0';
    if (value[0] == '\0') {
        return;
    }
    const int number = atoi(value);
    if (id == PRESET && !is_digits(value)) {
        report(to, "setting-number", SETTINGS_FILE, one.line,
               "midi_preset \"%s\" is not the number of a preset: %d counts; write one, or nothing "
               "for none",
               value, number);
    } else if (id == CHANNEL && !is_digits(value) && what.channel >= 0) {
        report(to, "setting-number", SETTINGS_FILE, one.line,
               "midi_channel \"%s\" is not a number: %d counts; write 0 to 15", value,
               what.channel);
    } else if (id == CHANNEL && number > UINT8_MAX && what.channel >= 0) {
        report(to, "setting-number", SETTINGS_FILE, one.line,
               "midi_channel %d counts as %d, its low eight bits; write 0 to 15", number,
               what.channel);
    }
}

void check_setting(const model& what, const setting& one, findings* to) {
    check_line(what, one, to);
    char text[LINE_LEN];
    read_line(what, SETTINGS_FILE, one.line, text, sizeof text);
    text[strcspn(text, "\r")] = '\0';
    const char* const written = value_in(text, one.key);
    if (written == nullptr) {
        return;
    }
    check_written(one, text, written, to);
    if (&one == &what.of(CHANNEL) || &one == &what.of(PRESET)) {
        check_number(what, &one == &what.of(CHANNEL) ? CHANNEL : PRESET, to);
    }
}

// As the kernel reads module parameters of 16 bits.
void check_identity(const model& what, setting_id id, const char* taken, findings* to) {
    const setting& one = what.of(id);
    if (one.value[0] != '\0' && taken[0] == '\0') {
        return;  // refused by the daemon, which says so
    }
    char* end;
    const unsigned long number = strtoul(taken, &end, 0);
    if (taken[0] == '\0' || *end != '\0' || taken[0] == '-' || number > UINT16_MAX) {
        report(to, "identity", SETTINGS_FILE, one.line,
               "%s \"%s\" is not a 16-bit number: the USB gadget does not load, and the host "
               "sees no controller; write one such as 0x1209",
               one.key, taken);
    }
}

void check_usb_name(const model& what, setting_id id, const char* taken, findings* to) {
    const setting& one = what.of(id);
    if (!is_utf8(taken)) {
        report(to, "not-ascii", SETTINGS_FILE, one.line,
               "%s is not UTF-8, or cut in the middle of a letter: the host cannot show it; save "
               "the file as UTF-8, or use plain letters",
               one.key);
    }
}

void check_line_ends(const model& what, findings* to) {
    for (lines in(what, SETTINGS_FILE); in.next();) {
        const size_t len = strlen(in.text());
        if (len > 0 && in.text()[len - 1] == '\r') {
            report(to, "crlf", SETTINGS_FILE, in.number(),
                   "CR LF line ends: USB values are refused, and an empty midi_preset selects "
                   "preset 0; save the file with LF line ends");
            return;
        }
    }
}

}  // namespace

void check_settings(const model& what, findings* to) {
    if (!can_open(what, SETTINGS_FILE) || !is_text(what, SETTINGS_FILE)) {
        return;
    }
    for (const setting& one : what.settings) {
        if (one.line > 0) {
            check_setting(what, one, to);
        }
    }
    check_identity(what, VENDOR, what.gadget.buf_vendor_id, to);
    check_identity(what, PRODUCT, what.gadget.buf_product_id, to);
    check_usb_name(what, MANUFACTURER, what.gadget.buf_manufacturer, to);
    check_usb_name(what, PRODUCT_NAME, what.gadget.buf_product_name, to);
    check_line_ends(what, to);
}

}  // namespace ctlmap
