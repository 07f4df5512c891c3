// The files of a resources directory, each read once and kept in memory.
#pragma once

#include <climits>
#include <cstddef>
#include <string_view>

namespace engine {

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

// --- The files ---

constexpr size_t LARGEST_FILE = 1 << 20;

enum file_state { READ, UNREADABLE, NOT_A_FILE, TOO_LARGE };

struct file {
    char name[NAME_MAX + 1];  // without directory
    file_state state;
    bool may_run;  // it is marked as executable
    std::string_view text;
    char* owned;  // its bytes, where they were read from a file; else null
};

// Takes the files of a directory that a configuration may consist of, in place of those before.
// False, with a message on standard error, when the directory cannot be read.
bool read_files(const char* dir);

// Takes one file, whose bytes stay the caller's; one that was there under this name is replaced.
// Returns null when there are too many.
file* put_file(std::string_view name, std::string_view text);

// Forgets a file, if it is there.
void remove_file(std::string_view name);

// The file with this name, in any state; null when there is none.
const file* find_file(std::string_view name);

// The text of a file that was read; empty for any other.
std::string_view text_of(std::string_view name);

// The delivered file of this name, which the program carries; empty for one that it does not.
std::string_view delivered(std::string_view name);

// --- Lines ---

// The lines of a text, one after the other, without the newlines that end them.
class lines {
  public:
    explicit lines(std::string_view text) : rest_(text) {}

    // Goes to the next line, the first to begin with; false after the last.
    bool next();
    int number() const { return number_; }
    std::string_view text() const { return text_; }

  private:
    std::string_view rest_, text_;
    int number_ = 0;
};

// False for a text with bytes 0, as in UTF-16, and for one whose lines end in CR alone.
bool has_lines(std::string_view text);

// The line with this number, from 1; empty if there is none.
std::string_view line_of(std::string_view text, int number);

// True for a line that the daemon takes for a comment.
bool is_comment(std::string_view line);

using word = std::string_view;

// Splits a line at white space. Returns how many words it has; the first `most` are in `words`.
int split(std::string_view line, word* words, int most);

constexpr const char* WHITE = " \t\v\f\r";
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

}  // namespace engine
