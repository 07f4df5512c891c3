// What the daemon makes of a resources directory. The daemon's own code reads the files, through
// the shell where it does so, so that both always agree.
#pragma once

#include <climits>
#include <string_view>

#include "config.h"
#include "findings.h"
#include "softlabel.h"
#include "utility.h"

namespace ctlmap {

// --- Names of the files ---

constexpr const char* BASE_FILE = "orvik.midictl.cfg";
constexpr const char* PRESET_0_FILE = "orvik.midictl.cfg0.txt";
constexpr const char* SETTINGS_FILE = "orvik.sys.cfg";
constexpr const char* COLORS_FILE = "orvik.color.cfg";
constexpr const char* POSITIONS_FILE = "orvik.softlabelpos.cfg";
constexpr const char* LABELS_FILE = "orvik.miditxt.cfg0.txt";
constexpr const char* SCRIPT_FILE = "check_field_num.sh";
constexpr const char* IMAGE_FILE = "orv_midi_screen.ppm";
constexpr const char* WIDE_IMAGE_FILE = "orv_midi_screen_wide.ppm";

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
    int idx;         // the control that the preset moves
};

struct setting {
    const char* key;
    char value[32];  // as the daemon has it
    int line;        // the first line that contains the key; 0: none does
};
enum setting_id { CHANNEL, PRESET, VENDOR, PRODUCT, MANUFACTURER, PRODUCT_NAME, SETTINGS };

// Beside it the daemon's own tables are filled: pots, colorList, soft_label_array.
struct model {
    char dir[PATH_MAX];  // as it was given
    bool base_found;
    int preset_no;                   // -1: none is selected
    char preset_file[NAME_MAX + 1];  // "orvik.midictl.cfg0.txt"; empty: none is selected
    bool preset_found;               // its checked copy is there
    int channel;                     // 0 to 15; -1: none, host messages are dropped
    setting settings[SETTINGS];
    gadget_values gadget;  // what USB gets

    bool preset_0_copied, labels_copied;  // by the check script

    records<cfg_base_record> base;
    records<preset_target> preset;
    records<cfg_preset_record> preset_source;  // what its checked copy was made of
    records<t_labellist> colors;
    records<t_soft_label> positions;
    records<sl_customization> labels;
    findings said;  // the daemon's own messages that name a file

    const setting& of(setting_id id) const { return settings[id]; }
};

// Loads a directory into `to` and the daemon's tables, which it overwrites. False, with a message
// on standard error, when that cannot be done. Without a base mapping, with which the daemon would
// not start, `base_found` is false and nothing else is loaded.
bool load(const char* dir, model* to);

// Opens a regular file of the directory; null when there is none.
FILE* open_file(const model& of, const char* file);

// The lines of such a file, one after the other, without their ends; none when there is no file.
class lines {
  public:
    lines(const model& of, const char* file) : fp_(open_file(of, file)) {}
    ~lines();
    lines(const lines&) = delete;
    lines& operator=(const lines&) = delete;

    // Goes to the next line, the first to begin with; false after the last.
    bool next();
    int number() const { return number_; }
    const char* text() const { return text_; }  // cut to its size; a byte 0 is a question mark

  private:
    FILE* fp_;
    int number_ = 0;
    char text_[512];
};

// The line of the file with this number, without its end, cut to `size`; false if there is none.
bool read_line(const model& of, const char* file, int line, char* text, size_t size);

}  // namespace ctlmap
