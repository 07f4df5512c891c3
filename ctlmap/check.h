// What ruins an evening although the daemon can read it.
#pragma once

#include "findings.h"
#include "model.h"

namespace ctlmap {

// Applies every rule to a loaded configuration.
void check(const model& what, findings* to);

// The rules, a file of them for each part of the configuration.
void check_files(const model& what, findings* to);
void check_mapping(const model& what, findings* to);
void check_preset(const model& what, findings* to);
void check_settings(const model& what, findings* to);
void check_labels(const model& what, findings* to);

}  // namespace ctlmap
