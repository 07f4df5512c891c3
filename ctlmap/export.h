// Writes a mapping for other programs, and says what two differ in.
#pragma once

#include <cstdio>

#include "mapping.h"

namespace ctlmap {

// Writes all of it as a JSON object, or as CSV with a line of names and a line for each control.
void export_json(const mapping& what, FILE* out);
void export_csv(const mapping& what, FILE* out);

// Prints a line for each difference and returns how many there are.
int print_differences(const mapping& before, const mapping& after, FILE* out);

}  // namespace ctlmap
