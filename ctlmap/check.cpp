#include "check.h"

namespace ctlmap {

void check(const model& what, findings* to) {
    check_files(what, to);
    if (what.base_found) {
        *to = what.said;
        check_mapping(what, to);
        check_preset(what, to);
        check_settings(what, to);
        check_labels(what, to);
    }
    const char* const order[] = {BASE_FILE,   what.preset_file, SETTINGS_FILE,
                                 COLORS_FILE, POSITIONS_FILE,   LABELS_FILE};
    sort(to, order);
}

}  // namespace ctlmap
