// What is wrong with the configuration, and where.
#pragma once

#include <span>
#include <string_view>

#include "rules.h"

namespace engine {

constexpr int NONE = -1;
constexpr int MAX_FINDINGS = 1024;
constexpr int FINDING_LEN = 384;

struct finding {
    char file[64];  // name without directory
    int line;       // 0: the file as a whole
    int control;    // index; NONE: it is about no single control
    severity level;
    const char* rule;
    char text[FINDING_LEN];
};

// All of them, in the order of files and lines once sort_findings() was called.
std::span<const finding> findings();

// True when one is about the control, or the file: by this rule, if one is given, and no less
// grave.
bool is_reported(int control, std::string_view rule = {}, severity least = NOTE);
bool is_reported(std::string_view file, std::string_view rule = {});

// True when one names a line of the file that is no comment, or the line in front of it, and the
// line has this word, as a key: what is lost with the line is no mistake of its own.
bool is_lost(std::string_view file, std::string_view key);

// How many there are beyond those that are kept.
int dropped_findings();

int count_findings(severity level);

// Adds a finding, with control characters as question marks. Left out are: one that is there
// already; one about a line that has one no less grave, as it mostly follows from that, unless it
// is a note; one about a line of what has no lines.
[[gnu::format(printf, 5, 6)]] void report(rule_ref by, std::string_view file, int line, int control,
                                          const char* format, ...);

// Puts them in the order of files, as they are given, and lines.
void sort_findings(std::span<const char* const> files);

// Turns warnings into errors.
void raise_warnings();

}  // namespace engine
