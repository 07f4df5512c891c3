// Soft labels: coloured texts on the controller's screen, driven by host notes.
#pragma once

#include <cstdio>

#include "common.h"
#include "config.h"
#include "target_cfg.h"

// --- Called by other modules ---

// Loads the lists, takes the screen over and draws every label once. Start-up, once.
void soft_label_init();

// Sets the soft-label switch.
void set_soft_label_ctl(int flag);

// Offers one note from the host: note `b1`, velocity `b2`. Returns 1 when it addresses a label.
int sl_check_midi_input(byte b0, byte b1, byte b2);

// --- The tables ---

constexpr int LABEL_TEXT_SIZE = 32;
constexpr int SL_READ_TEXT_SIZE = 64;  // key and text of a customisation line as read
constexpr u8 INVALID_CC = 0xFF;        // note of a label that no customisation line addressed
constexpr int TYPE_COLOR_LIST = 1;
constexpr int TYPE_SOFT_LABEL = 2;
constexpr int TYPE_SOFT_LABEL_CUSTOMIZED = 3;
constexpr u8 MASK_VV_LABEL_CHANGE = 0x40;  // velocity bit that turns a note into a label change
constexpr u8 COLOR_OFF = 0xFF;             // color_code() argument of the reset sequence

struct st_labellist {
    int idx;
    int midi_note;
    char label_name[LABEL_TEXT_SIZE];  // escape sequence in the notation of echo -e
    char key_name[LABEL_TEXT_SIZE];    // colour name
};
using t_labellist = st_labellist;

struct st_soft_label {
    u8 cc;              // host note that addresses the label
    int pre_label_idx;  // label index before the last label change
    int cur_label_idx;
    int on_color_idx;  // slot of the colour list, -1 for a name that is not in it
    int off_color_idx;
    int x_pos;                         // row
    int y_pos;                         // column
    char label_name[LABEL_TEXT_SIZE];  // text shown
    char key_name[LABEL_TEXT_SIZE];    // key that the customisation uses
};
using t_soft_label = st_soft_label;

// A customisation line as read.
struct sl_customization {
    char key_name[SL_READ_TEXT_SIZE];
    char text[SL_READ_TEXT_SIZE];
    int note;
    char on_color[LABEL_TEXT_SIZE];
    char off_color[LABEL_TEXT_SIZE];
};

// Filled at start; afterwards the host worker changes only the two label indices. A place beyond
// the last slot is reported and skipped.
extern t_labellist colorList[MAX_LIST_NUM];
extern int total_color_list;  // colour lines read: so many slots are searched
extern t_soft_label soft_label_array[MAX_TOTAL_SOFT_LABELS];
extern int total_soft_label;
extern int total_valid_soft_label;  // customisation lines applied; 0: nothing is drawn
extern int soft_label_ctl;
extern const char* const color_list_cfg;
extern const char* const soft_label_cfg;
extern const char* const soft_label_customize_cfg;

// --- Steps of loading ---

// True when the switch is on.
bool soft_label_enabled();

// Loads one list (TYPE_...) from its file; a missing file leaves it empty.
void list_init(int list_type);

// Opens the file of a list for reading; null when it cannot be opened.
FILE* open_list_cfg(int list_type);

// Classifies the next line of a list as cfg_invalid_line() does.
byte sl_cfg_invalid_line(cfg_reader* reader, int list_type);

// Reads one data line with the reader of the list type and returns its result.
int list_add_item(int list_type, cfg_reader* reader);

// Read the record that comes next. Each returns the number of fields that it read, -1 at the end of
// the file.
constexpr int COLOR_FIELDS = 3;
constexpr int POSITION_FIELDS = 3;
constexpr int CUSTOMIZATION_FIELDS = 5;
int sl_read_color(cfg_reader* reader, t_labellist* color);
int sl_read_position(cfg_reader* reader, t_soft_label* position);
int sl_read_customization(cfg_reader* reader, sl_customization* line);

// True for a colour that can be used; another one is reported.
bool sl_accept_color(const cfg_reader& reader, const t_labellist& color);

// Read one record and apply it, or report why not (an unknown key at level 10 only). Each returns
// the number of fields that it read, -1 at the end of the file, and 0 for an unknown key.
int color_list_add_item(cfg_reader* reader);
int soft_label_add_item(cfg_reader* reader);
int customize_soft_label(cfg_reader* reader);

// Loads the customisation.
void apply_preset();

// Turns a label text into its shown form: capitals, blanks for underscores, nine characters.
// `name` has room for ten.
void reformat_label(char* name);

// The first label with this key, or -1.
int idx_keyname_in_soft_label_array(const char* key_name);

// The slot of the first colour with this name, or -1.
int idx_colorname_in_color_list(const char* color_name);

// --- Steps of drawing ---

// Stops the application and the X server, sets the framebuffer up and shows the splash image.
void screen_init();

// True while the first line of the process list that mentions the X server stays the same.
bool Check_Xfbdev();

// Forgets the line that Check_Xfbdev() compares with.
void check_buf_reset();

// Draws label `idx` in its on colour (`b2` not 0) or its off colour; ends the program when the
// shell cannot be started.
void show_label(int idx, byte b2);

// The escape sequence of the label's on colour (`b2` not 0) or off colour.
const char* color(byte b2, int idx);

// The fixed sequence for COLOR_OFF (reset) or for 0 to 5.
const char* color_code(byte b2);

// Row, column and text of a label.
int x_pos(int idx);
int y_pos(int idx);
const char* label_name(int idx);

// --- Steps of a host note ---

// The first label addressed by note `b1`, or -1.
int idx_soft_label_ctl(byte b1);

// Applies a velocity to a label: 0 off colour, below 64 or 127 on colour, else a label change.
void process_softlabel_ctl(int idx, byte b2_in);

// Records a label change and redraws the label.
void set_soft_label_name(int idx, byte b2);
