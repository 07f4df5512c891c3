// A directory examined in a process of its own: the daemon's tables can be filled only once in
// each.
#pragma once

#include "check.h"

namespace engine {

struct outcome {
    bool base_found;  // else the daemon would not start, and nothing is known
    answers does;
    finding found[MAX_FINDINGS];
    int found_count;
};

// Examines a directory. Null, with a message on standard error, when that cannot be done; else the
// caller gives it to release().
const outcome* examine_apart(const char* dir);

void release(const outcome* one);

}  // namespace engine
