// The files as such: there, readable, text, images.
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstring>

#include "check.h"
#include "target_cfg.h"

namespace ctlmap {
namespace {

bool get_status(const model& what, const char* file, struct stat* status) {
    char path[PATH_MAX + NAME_MAX];
    snprintf(path, sizeof path, "%s/%s", what.dir, file);
    return stat(path, status) == 0;
}

bool exists(const model& what, const char* file) {
    struct stat status;
    return get_status(what, file, &status);
}

bool is_regular(const model& what, const char* file) {
    struct stat status;
    return get_status(what, file, &status) && S_ISREG(status.st_mode);
}

// --- There at all ---

struct needed_file {
    const char* file;
    bool (*is_there)(const model& what, const char* file);
    bool (*is_needed)(const model& what);
    const char* so;
};

bool always([[maybe_unused]] const model& what) {
    return true;
}
bool for_labels(const model& what) {
    return exists(what, LABELS_FILE);
}
bool for_copies(const model& what) {
    return exists(what, LABELS_FILE) || exists(what, PRESET_0_FILE);
}
bool with_labels([[maybe_unused]] const model& what) {
    return total_valid_soft_label > 0;
}
bool without_labels(const model& what) {
    return !with_labels(what);
}

constexpr needed_file NEEDED[] = {
    {BASE_FILE, exists, always, "the daemon does not start without it"},
    {SETTINGS_FILE, exists, always,
     "channel 0, no preset, and no USB identity: the host sees nothing"},
    {COLORS_FILE, exists, for_labels, "labels have no colours"},
    {POSITIONS_FILE, exists, for_labels, "no label has a place"},
    {SCRIPT_FILE, exists, for_copies, "preset 0 and the labels count as missing"},
    {IMAGE_FILE, is_regular, with_labels, "the screen stays black around the labels"},
    {WIDE_IMAGE_FILE, is_regular, without_labels, "the screen stays black"},
};

// The daemon says when a file that it reads is none.
void check_there(const model& what, findings* to) {
    for (const needed_file& one : NEEDED) {
        if (!one.is_there(what, one.file) && one.is_needed(what)) {
            report(to, "missing", one.file, 0, "missing: %s; put the file back", one.so);
        }
    }
    const char* const files[] = {BASE_FILE,     what.preset_file, PRESET_0_FILE,
                                 SETTINGS_FILE, COLORS_FILE,      POSITIONS_FILE,
                                 LABELS_FILE,   IMAGE_FILE,       WIDE_IMAGE_FILE};
    for (const char* file : files) {
        if (is_regular(what, file) && !can_open(what, file)) {
            report(to, "unreadable", file, 0,
                   "cannot be read, and counts as missing; run chmod a+r on it");
        }
    }
}

// --- The check script ---

void check_script(const model& what, findings* to) {
    char path[PATH_MAX + NAME_MAX];
    snprintf(path, sizeof path, "%s/%s", what.dir, SCRIPT_FILE);
    if (!exists(what, SCRIPT_FILE) || !for_copies(what)) {
        return;
    }
    if (access(path, X_OK) != 0 || !is_regular(what, SCRIPT_FILE)) {
        report(to, "script-mode", SCRIPT_FILE, 0,
               "is not executable, so preset 0 and the labels count as missing; run chmod +x on "
               "it");
        return;
    }
    const struct {
        const char* file;
        bool copied;
    } sources[] = {{PRESET_0_FILE, what.preset_0_copied}, {LABELS_FILE, what.labels_copied}};
    for (const auto& source : sources) {
        bool is_said = false;
        for (const finding& item : what.said.all()) {
            is_said |= strcmp(item.file, source.file) == 0;
        }
        if (!source.copied && can_open(what, source.file) && !is_said) {
            report(to, "script-failed", SCRIPT_FILE, 0,
                   "makes no copy of %s, which counts as missing; put the delivered script back",
                   source.file);
        }
    }
}

// --- Text ---

struct form {
    const char* file;
    int fields;
    int number_at;     // a field that must be a number
    bool ends_matter;  // words after the last field are ignored, not refused
};

// A record after a blank is a comment for the daemon.
void check_indented(const form& of, const lines& at, findings* to) {
    word words[8];
    const int count = split(at.text(), words, of.fields);
    if (count == of.fields && is_number(words[of.number_at])) {
        report(to, "indented", of.file, at.number(),
               "the line begins with a blank, so it is a comment and has no effect; remove "
               "the blank, or write a # first");
    }
}

void check_end(const form& of, const lines& at, findings* to) {
    word words[9];
    const int count = split(at.text(), words, of.fields + 1);
    if (!of.ends_matter || count <= of.fields || !is_number(words[of.number_at]) ||
        words[of.fields].data()[-1] != ' ') {
        return;
    }
    if (words[of.fields].starts_with('#')) {
        report(to, "trailing-comment", of.file, at.number(),
               "the comment after the fields is ignored here, but lookups read it; give it a line "
               "of its own");
    } else {
        const std::string_view rest = words[of.fields].data();
        report(to, "extra-field", of.file, at.number(),
               "\"%.*s\" after the last field is ignored; write names as one word, and one record "
               "in a line",
               static_cast<int>(std::min<size_t>(rest.find_last_not_of(" \t\r") + 1, 60)),
               rest.data());
    }
}

void check_text(const model& what, const form& of, findings* to) {
    for (lines in(what, of.file); in.next();) {
        const std::string_view text = in.text();
        const bool is_comment = text.starts_with('#') || text.starts_with(' ');
        if (text.starts_with('\xFF') || (is_comment && text.find('\xFF') != text.npos)) {
            report(to, "ends-early", of.file, in.number(),
                   "a byte 0xFF ends the file here for the daemon; remove it, or save the file as "
                   "UTF-8");
            return;
        }
        if (text.starts_with(' ')) {
            check_indented(of, in, to);
        } else if (!is_comment) {
            check_end(of, in, to);
        }
    }
}

struct bytes {
    bool has_null, has_cr, has_lf;
};

bytes bytes_of(const model& what, const char* file) {
    bytes found = {};
    FILE* const fp = open_file(what, file);
    for (int c = 0; fp != nullptr && (c = fgetc(fp)) != EOF;) {
        found.has_null |= c == '\0';
        found.has_cr |= c == '\r';
        found.has_lf |= c == '\n';
    }
    if (fp != nullptr) {
        fclose(fp);
    }
    return found;
}

// The daemon judges the bytes of the base mapping.
void check_bytes(const model& what, const char* file, findings* to) {
    if (strcmp(file, BASE_FILE) == 0 || is_text(what, file)) {
        return;
    }
    if (bytes_of(what, file).has_null) {
        report(
            to, "not-text", file, 0,
            "has NUL bytes, as in UTF-16, so nothing in it is found; save it as UTF-8 without "
            "a byte order mark");
    } else {
        report(to, "cr-only", file, 0,
               "its lines end in CR alone, so all of it is one line; save it with LF line "
               "ends");
    }
}

// --- Images ---

constexpr int WIDTH = 480;
constexpr int HEIGHT = 272;
constexpr int MOST = 255;  // of a colour
constexpr long PIXEL_BYTES = 3L * WIDTH * HEIGHT;

// A number of a PPM header, after blanks and comments; -1: there is none.
int header_number(FILE* fp) {
    int c = fgetc(fp);
    for (bool in_comment = false; in_comment || c == '#' || isspace(c) != 0; c = fgetc(fp)) {
        if (c == EOF) {
            return -1;
        }
        in_comment = c == '#' || (in_comment && c != '\n');
    }
    int number = -1;
    for (; isdigit(c) != 0 && number < 100000; c = fgetc(fp)) {
        number = 10 * (number < 0 ? 0 : number) + c - '0';
    }
    return number;
}

void check_image(const model& what, const char* file, findings* to) {
    FILE* const fp = open_file(what, file);
    if (fp == nullptr) {
        return;
    }
    char magic[2] = {};
    const bool is_ppm = fread(magic, 1, sizeof magic, fp) == sizeof magic &&
                        std::string_view(magic, sizeof magic) == "P6";
    const int columns = header_number(fp);
    const int rows = header_number(fp);
    const int most = header_number(fp);
    const long begin = ftell(fp);
    fseek(fp, 0, SEEK_END);
    const long size = ftell(fp) - begin;
    fclose(fp);
    if (!is_ppm || columns < 0 || rows < 0 || most != MOST) {
        report(to, "image-kind", file, 0,
               "is not a binary PPM file with 8 bits per colour and is not shown; save it as PPM "
               "(\"P6\", %d)",
               MOST);
    } else if (columns != WIDTH || rows != HEIGHT) {
        report(to, "image-size", file, 0,
               "is %d by %d pixels, the screen %d by %d: it does not fit; scale it", columns, rows,
               WIDTH, HEIGHT);
    } else if (size < PIXEL_BYTES) {
        report(to, "image-size", file, 0,
               "ends after %ld of its %ld bytes of pixels; put the whole file back", size,
               PIXEL_BYTES);
    }
}

}  // namespace

bool is_text(const model& what, const char* file) {
    const bytes found = bytes_of(what, file);
    return !found.has_null && (found.has_lf || !found.has_cr);
}

void check_files(const model& what, findings* to) {
    check_there(what, to);
    if (what.base_found) {
        check_script(what, to);
    }
    const form forms[] = {{BASE_FILE, 8, 0, true},    {what.preset_file, 2, 1, false},
                          {COLORS_FILE, 3, 0, true},  {POSITIONS_FILE, 3, 0, true},
                          {LABELS_FILE, 5, 2, false}, {SETTINGS_FILE, 0, 0, false}};
    for (const form& one : forms) {
        check_bytes(what, one.file, to);
        if (is_text(what, one.file) && one.fields > 0) {
            check_text(what, one, to);
        }
    }
    check_image(what, IMAGE_FILE, to);
    check_image(what, WIDE_IMAGE_FILE, to);
}

}  // namespace ctlmap
