// What is wrong with a configuration, and where.
#pragma once

#include <cstdio>
#include <span>

#include "rules.h"

namespace ctlmap {

constexpr int MAX_FINDINGS = 1024;
constexpr int FINDING_LEN = 384;

struct finding {
    const char* file;  // name without directory; one of the model's
    int line;          // 0: the file as a whole
    severity level;
    const char* rule;
    char text[FINDING_LEN];
};

struct findings {
    finding items[MAX_FINDINGS];
    int count = 0;
    int dropped = 0;  // beyond MAX_FINDINGS

    std::span<const finding> all() const { return {items, static_cast<size_t>(count)}; }
    int of(severity level) const;
};

// Adds a finding; one that is there already, in file, line and text, is not added again. Control
// characters in it become question marks.
[[gnu::format(printf, 5, 6)]] void report(findings* to, rule_ref by, const char* file, int line,
                                          const char* format, ...);

// Puts them in the order of files, as they are given, and lines.
void sort(findings* what, std::span<const char* const> files);

// Prints "DIR/FILE:LINE: error: text [rule]" each and a line that counts them, without notes and
// without that line if `quiet`.
void print(const findings& what, const char* dir, bool quiet, FILE* out);

// Prints the same as a JSON object, always complete.
void print_json(const findings& what, const char* dir, FILE* out);

// Prints the rules as a table in Markdown.
void print_rules(FILE* out);

}  // namespace ctlmap
