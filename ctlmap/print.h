// Findings and rules, for people to read.
#pragma once

#include <cstdio>

namespace ctlmap {

// Prints "DIR/FILE:LINE: error: text [rule]" each and a line that counts them, without notes and
// without that line if `quiet`.
void print_findings(const char* dir, bool quiet, FILE* out);

// Prints the rules as a table in Markdown.
void print_rules(FILE* out);

}  // namespace ctlmap
