#include "check.h"

#include "rules_parts.h"

namespace engine {

void examine(examined* to) {
    load(&to->of);
    if (to->of.base_found) {
        ask(to->of, &to->does);
    }
    check_files(*to);
    if (to->of.base.count > 0 && has_lines(text_of(BASE_FILE))) {
        check_mapping(*to);
        check_preset(*to);
        check_numbers(*to);
    }
    if (to->of.base_found) {
        check_settings(*to);
        check_labels(*to);
    }
    const char* const order[] = {BASE_FILE,   to->of.preset_file, PRESET_0_FILE, SETTINGS_FILE,
                                 COLORS_FILE, POSITIONS_FILE,     LABELS_FILE};
    sort_findings(order);
}

}  // namespace engine
