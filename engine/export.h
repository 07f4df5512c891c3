// What a configuration does, and what is wrong with it, for other programs and for comparison.
#pragma once

#include <cstdio>

#include "answers.h"

namespace engine {

// Writes all controls and labels as a JSON object.
void export_json(const answers& what, FILE* out);

// Writes the same as CSV: a line of names, then one for each control and each label without one.
void export_csv(const answers& what, FILE* out);

// Prints what the second configuration does differently, a line for each difference; returns how
// many.
int print_differences(const answers& before, const answers& after, FILE* out);

// Writes all findings as a JSON object, always complete.
void findings_json(const char* dir, FILE* out);

}  // namespace engine
