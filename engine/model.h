// What the daemon makes of a configuration: its own modules read the files, and look things up.
#pragma once

#include <climits>
#include <string_view>

#include "config.h"
#include "files.h"
#include "findings.h"
#include "softlabel.h"
#include "utility.h"

namespace engine {

// --- Records with their lines ---

constexpr int MAX_RECORDS = 512;

// A record and the line where it begins.
template <typename type>
struct lined : type {
    int line;
};

// The records of a file in its order, the refused ones left out.
template <typename type>
struct records {
    lined<type> items[MAX_RECORDS];
    int count;

    const lined<type>* begin() const { return items; }
    const lined<type>* end() const { return items + count; }
};

// What a name of the preset is found in.
struct preset_target : cfg_preset_record {
    int found_line;  // of the base mapping: the first that contains the name; 0: none does
    int idx;         // the control that the preset moves; NONE: there is no such
};

struct setting {
    const char* key;
    char value[32];  // as the daemon has it
    int line;        // the first line that contains the key; 0: none does
};
enum setting_id { CHANNEL, PRESET, VENDOR, PRODUCT, MANUFACTURER, PRODUCT_NAME, SETTINGS };

// Beside it the daemon's own tables are filled: pots, colorList, soft_label_array.
struct model {
    bool base_found;
    int preset_no;                   // NONE: none is selected
    char preset_file[NAME_MAX + 1];  // "orvik.midictl.cfg0.txt"; empty: none is selected
    bool preset_found;               // its checked copy is there
    int channel;                     // 0 to 15; NONE: host messages are dropped
    setting settings[SETTINGS];
    gadget_values gadget;  // what USB gets

    records<cfg_base_record> base;
    records<preset_target> preset;
    records<cfg_preset_record> preset_source;  // what its checked copy was made of
    records<t_labellist> colors;
    records<t_soft_label> positions;
    records<sl_customization> labels;

    const setting& of(setting_id id) const { return settings[id]; }
};

// Loads the files in memory into `to` and the daemon's tables, once in a process, and reports what
// the daemon refuses. Without a base mapping, with which the daemon would not start, `base_found`
// is false and nothing else is loaded.
void load(model* to);

// The last line of the base mapping that a control has, with more than the host's number if it is
// to be `full`; or null.
const lined<cfg_base_record>* record_of(const model& from, int idx, bool full = false);

// Where the host's number of a control stands: in the preset if that moves it, else in its line;
// line 0: it has none.
struct place {
    const char* file;
    int line;
};
place place_of(const model& from, int idx);

}  // namespace engine
