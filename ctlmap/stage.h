// A directory in which the daemon's code finds a resources directory as "../resources" and may
// write its checked copies without changing it.
#pragma once

#include <climits>
#include <cstdio>

namespace ctlmap {

struct stage {
    char path[PATH_MAX];
    int home;      // the working directory before
    FILE* output;  // what the daemon's code and its commands print
};

// Makes it and goes there; from now on standard output and standard error are collected in
// `output`. False, with a message, when that cannot be done.
bool enter(stage* what, const char* resources);

// Goes back, gives the streams back and removes the directory; `output` stays open.
void leave(stage* what);

}  // namespace ctlmap
