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

// How many there are beyond those that are kept.
int dropped_findings();

int count_findings(severity level);

// Adds a finding; one that is there already, in file, line and text, is not added again. Control
// characters in it become question marks.
[[gnu::format(printf, 5, 6)]] void report(rule_ref by, std::string_view file, int line, int control,
                                          const char* format, ...);

// Puts them in the order of files, as they are given, and lines.
void sort_findings(std::span<const char* const> files);

// Turns warnings into errors.
void raise_warnings();

}  // namespace engine
