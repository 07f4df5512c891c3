// Everything about the configuration in memory: what it does, and what is wrong with it.
#pragma once

#include "answers.h"
#include "findings.h"
#include "model.h"

namespace engine {

struct examined {
    model of;
    answers does;  // nothing, if there is no base mapping
};

// Loads the files in memory, plays them and applies every rule. Once in a process.
void examine(examined* to);

}  // namespace engine
