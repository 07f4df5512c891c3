#include "shell.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "files.h"
#include "findings.h"
#include "target_cfg.h"

namespace engine {
namespace {

constexpr char END_OF_FILE_BYTE = '\xFF';

std::string_view until(std::string_view text, char c) {
    return text.substr(0, text.find(c));
}

bool starts_with_key(std::string_view text, std::string_view key) {
    if (text.size() < key.size()) {
        return false;
    }
    const auto same = [](unsigned char w, unsigned char c) {
        return w == '.' || tolower(c) == tolower(w);
    };
    return std::equal(key.begin(), key.end(), text.begin(), same);
}

// --- The check script ---

// A copy that grows with the lines put into it; never larger than its source and a newline.
struct copy {
    char* bytes;
    size_t size;

    void add(std::string_view text) {
        size += text.copy(bytes + size, text.size());
        bytes[size++] = '\n';
    }
};

// Carriage returns at the ends go, others are blanks; mawk, gawk and BusyBox end a line at a byte
// 0.
std::string_view clean(std::string_view text, char* room) {
    text = until(text, '\0');
    text.remove_prefix(std::min(text.find_first_not_of('\r'), text.size()));
    text = text.substr(0, text.find_last_not_of('\r') + 1);
    std::replace_copy(text.begin(), text.end(), room, '\r', ' ');
    return {room, text.size()};
}

bool copy_lines(std::string_view name, int wanted, std::string_view source, copy* to) {
    bool good = true;
    if (source.starts_with(BYTE_ORDER_MARK)) {
        source.remove_prefix(BYTE_ORDER_MARK.size());
    }
    for (lines in(source); in.next();) {
        const std::string_view text = clean(in.text(), to->bytes + to->size);
        if (text.starts_with(END_OF_FILE_BYTE) ||
            (is_comment(text) && text.find(END_OF_FILE_BYTE) != text.npos)) {
            break;
        }
        word words[16];
        const int fields = split(text, words, std::size(words));
        if (text.empty() || is_comment(text)) {
            to->add("");
        } else if (fields == wanted) {
            to->add(text);
        } else {
            good = false;
            const int known = std::clamp<int>(fields, 1, std::size(words));
            const bool has_comment = std::any_of(words + 1, words + known,
                                                 [](word one) { return one.starts_with('#'); });
            report("fields", name, in.number(), NONE,
                   "fields found: %d, wanted: %d%s, so nothing of this file is used; write exactly "
                   "that many, texts as one word",
                   fields, wanted,
                   has_comment ? " (a comment needs a line of its own, above)" : "");
        }
    }
    return good;
}

// The value of the digits at the front, at most `most` of them, and of no more than a byte holds.
int take_digits(std::string_view* text, size_t most, int base) {
    int value = 0;
    const char* const digits = base == 8 ? "01234567" : "0123456789abcdefABCDEF";
    for (size_t i = 0; i < most && !text->empty(); ++i) {
        const char* const found = strchr(digits, text->front());
        if (found == nullptr || text->front() == '\0') {
            break;
        }
        const int digit = static_cast<int>(found - digits);
        const int longer = value * base + (digit < 16 ? digit : digit - 6);
        if (longer > UINT8_MAX) {
            break;
        }
        value = longer;
        text->remove_prefix(1);
    }
    return value;
}

// One escape of echo -e after its backslash; -1: the backslash stands for itself.
int take_escape(std::string_view* text) {
    constexpr const char* NAMES = "abefnrtv\\";
    constexpr char VALUES[] = {'\a', '\b', '\x1B', '\f', '\n', '\r', '\t', '\v', '\\'};
    const char* const named = text->empty() ? nullptr : strchr(NAMES, text->front());
    if (named != nullptr) {
        text->remove_prefix(1);
        return VALUES[named - NAMES];
    }
    const char c = text->empty() ? '\0' : text->front();
    if (c == 'x' && text->size() > 1 && isxdigit(static_cast<unsigned char>((*text)[1])) != 0) {
        text->remove_prefix(1);
        return take_digits(text, 2, 16);
    }
    if (c >= '0' && c <= '7') {
        return take_digits(text, c == '0' ? 4 : 3, 8) & 0xFF;
    }
    return -1;
}

}  // namespace

found_line look_up(std::string_view text, std::string_view key) {
    for (lines in(text); in.next();) {
        const std::string_view line = in.text();
        for (size_t at = 0; at + key.size() <= line.size(); ++at) {
            if (starts_with_key(line.substr(at), key)) {
                return {in.number(), until(line, '\0')};
            }
        }
    }
    return {0, {}};
}

std::string_view cut_field(std::string_view line, char separator, int number) {
    if (line.find(separator) == line.npos) {
        return line;
    }
    for (; number > 1; --number) {
        line.remove_prefix(std::min(until(line, separator).size() + 1, line.size()));
    }
    return until(line, separator);
}

void make_checked_copy(std::string_view name, int fields) {
    const file* const script = find_file(SCRIPT_FILE);
    if (script == nullptr || script->state != READ || !script->may_run) {
        return;
    }
    const std::string_view source = text_of(name);
    copy made = {static_cast<char*>(malloc(source.size() + 2)), 0};
    char copy_name[NAME_MAX + 1];
    snprintf(copy_name, sizeof copy_name, "%.*s" CFG_CHECKED, static_cast<int>(name.size()),
             name.data());
    if (made.bytes != nullptr && copy_lines(name, fields, source, &made)) {
        const size_t last = std::string_view(made.bytes, made.size).find_last_not_of('\n');
        made.size =
            std::min(last + 2, made.size);  // a newline ends the last line that is not empty
        made.size = last == std::string_view::npos ? 0 : made.size;
        // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): they are the file's from here on
        put_file(copy_name, {made.bytes, made.size});
    } else {
        free(made.bytes);
    }
}

// The shell takes the backslash off a character that it would interpret, echo the other escapes.
size_t echo_bytes(std::string_view quoted, char* bytes, size_t size) {
    char words[256];
    size_t len = 0;
    for (size_t i = 0; i < quoted.size() && len < sizeof words; ++i) {
        const bool escapes = quoted[i] == '\\' && i + 1 < quoted.size() &&
                             strchr("\"$`\\", quoted[i + 1]) != nullptr;
        words[len++] = quoted[escapes ? ++i : i];
    }
    size_t written = 0;
    for (std::string_view rest(words, len); !rest.empty() && written < size;) {
        const char c = rest.front();
        rest.remove_prefix(1);
        if (c == '\\' && rest.starts_with('c')) {
            break;
        }
        const int escaped = c == '\\' ? take_escape(&rest) : -1;
        bytes[written++] = escaped < 0 ? c : static_cast<char>(escaped);
    }
    return written;
}

}  // namespace engine
