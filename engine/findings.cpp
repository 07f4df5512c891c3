#include "findings.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "files.h"
#include "target_cfg.h"
#include "utility.h"

namespace engine {
namespace {

finding items[MAX_FINDINGS];
int count = 0;
int dropped = 0;

template <typename condition>
bool any_finding(condition is_wanted) {
    return std::any_of(items, items + count, is_wanted);
}

// True when the other one need not be told as well.
bool makes_needless(const finding& one, const finding& other) {
    const bool same_text = strcmp(one.text, other.text) == 0;
    const bool same_line = one.line > 0 && other.level != NOTE && one.level <= other.level;
    return strcmp(one.file, other.file) == 0 && one.line == other.line && (same_text || same_line);
}

// A line of the base mapping is about the control that its first number names.
int control_in(std::string_view file, int line) {
    char number[16] = "";
    const std::string_view text = file == BASE_FILE ? line_of(text_of(file), line) : "";
    text.copy(number, sizeof number - 1);
    char* end;
    const long idx = strtol(number, &end, 10);
    return end != number && idx >= 0 && idx < TOTAL_CFG_ITEM ? static_cast<int>(idx) : NONE;
}

bool has_word(std::string_view file, int line, std::string_view wanted) {
    word words[16];
    const std::string_view text = line_of(text_of(file), line);
    const int count_of = std::min<int>(split(text, words, std::size(words)), std::size(words));
    return !text.starts_with('#') && std::find(words, words + count_of, wanted) != words + count_of;
}

}  // namespace

std::span<const finding> findings() {
    return {items, static_cast<size_t>(count)};
}

int dropped_findings() {
    return dropped;
}

bool is_reported(int control, std::string_view rule, severity least) {
    return any_finding([&](const finding& item) {
        return item.control == control && item.level <= least &&
               (rule.empty() || rule == item.rule);
    });
}

bool is_reported(std::string_view file, std::string_view rule) {
    return any_finding([&](const finding& item) {
        return item.file == file && (rule.empty() || rule == item.rule);
    });
}

bool is_lost(std::string_view file, std::string_view key) {
    return any_finding([&](const finding& item) {
        return item.file == file && item.line > 0 &&
               (has_word(file, item.line, key) || has_word(file, item.line + 1, key));
    });
}

int count_findings(severity level) {
    const auto has_level = [&](const finding& item) { return item.level == level; };
    return static_cast<int>(std::count_if(items, items + count, has_level));
}

void report(rule_ref by, std::string_view file, int line, int control, const char* format, ...) {
    if (line > 0 && !has_lines(text_of(file))) {
        return;
    }
    finding item = {"", line, control, by.its->level, by.its->id, ""};
    file.copy(item.file, sizeof item.file - 1);
    item.control = control == NONE ? control_in(file, line) : control;
    va_list args;
    va_start(args, format);
    vsnprintf(item.text, sizeof item.text, format, args);
    va_end(args);
    utl_hide_controls(item.text);
    if (any_finding([&](const finding& one) { return makes_needless(one, item); })) {
        return;
    }
    if (count == MAX_FINDINGS) {
        ++dropped;
    } else {
        items[count++] = item;
    }
}

void sort_findings(std::span<const char* const> files) {
    const auto rank = [&](const finding& item) {
        const auto is_its = [&](const char* file) { return strcmp(file, item.file) == 0; };
        return std::find_if(files.begin(), files.end(), is_its) - files.begin();
    };
    // Few, and moved seldom; std::stable_sort would allocate.
    for (int end = 1; end < count; ++end) {
        for (int i = end; i > 0; --i) {
            const auto difference = rank(items[i]) - rank(items[i - 1]);
            if (difference > 0 || (difference == 0 && items[i].line >= items[i - 1].line)) {
                break;
            }
            std::swap(items[i - 1], items[i]);
        }
    }
}

void raise_warnings() {
    for (finding& item : items) {
        item.level = item.level == WARNING ? ERROR : item.level;
    }
}

}  // namespace engine
