// What is wrong with a configuration, and where.
#pragma once

#include <cstdio>
#include <span>

namespace ctlmap {

enum severity { ERROR, WARNING, NOTE };
constexpr const char* SEVERITY_NAMES[] = {"error", "warning", "note"};

constexpr int MAX_FINDINGS = 1024;
constexpr int FINDING_LEN = 320;

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

// Adds a finding; one that is there already, in file, line and text, is not added again.
[[gnu::format(printf, 6, 7)]] void report(findings* to, severity level, const char* rule,
                                          const char* file, int line, const char* format, ...);

// Puts them in the order of files, as they are given, and lines.
void sort(findings* what, std::span<const char* const> files);

// Prints "DIR/FILE:LINE: error: text [rule]" each and a line that counts them, without notes and
// without that line if `quiet`.
void print(const findings& what, const char* dir, bool quiet, FILE* out);

// Prints the same as a JSON object.
void print_json(const findings& what, const char* dir, FILE* out);

}  // namespace ctlmap
