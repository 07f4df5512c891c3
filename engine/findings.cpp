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

bool same(const finding& one, const finding& other) {
    return strcmp(one.file, other.file) == 0 && one.line == other.line &&
           strcmp(one.text, other.text) == 0;
}

// A line of the base mapping is about the control that its first number names.
int control_in(std::string_view file, int line) {
    char number[16] = "";
    const std::string_view text = file == BASE_FILE ? line_of(text_of(file), line) : "";
    text.copy(number, sizeof number - 1);
    char* end;
    const long idx = strtol(number, &end, 10);
    const bool is_data = end != number && number[0] != ' ';
    return is_data && idx >= 0 && idx < TOTAL_CFG_ITEM ? static_cast<int>(idx) : NONE;
}

}  // namespace

std::span<const finding> findings() {
    return {items, static_cast<size_t>(count)};
}

int dropped_findings() {
    return dropped;
}

int count_findings(severity level) {
    const auto has_level = [&](const finding& item) { return item.level == level; };
    return static_cast<int>(std::count_if(items, items + count, has_level));
}

void report(rule_ref by, std::string_view file, int line, int control, const char* format, ...) {
    finding item = {"", line, control, by.its->level, by.its->id, ""};
    file.copy(item.file, sizeof item.file - 1);
    item.control = control == NONE ? control_in(file, line) : control;
    va_list args;
    va_start(args, format);
    vsnprintf(item.text, sizeof item.text, format, args);
    va_end(args);
    utl_hide_controls(item.text);
    if (std::any_of(items, items + count, [&](const finding& one) { return same(one, item); })) {
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
