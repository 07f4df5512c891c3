// One page that shows a configuration, to be pinned to the wall.
#pragma once

#include <cstdio>

#include "findings.h"
#include "model.h"

namespace ctlmap {

// Writes a loaded configuration and what is wrong with it as a page of HTML that needs nothing
// else.
void write_page(const model& of, const findings& found, FILE* out);

// Writes its MIDI implementation chart alone, as Markdown.
void write_markdown(const model& of, FILE* out);

}  // namespace ctlmap
