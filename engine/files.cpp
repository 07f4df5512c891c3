#include "files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace engine {
namespace {

constexpr int MAX_FILES = 256;

file all[MAX_FILES];
int count = 0;

file* find(std::string_view name) {
    file* const end = all + count;
    file* const found = std::find_if(all, end, [&](const file& one) { return one.name == name; });
    return found == end ? nullptr : found;
}

// Presets have a number in their name, and may have a checked copy.
bool belongs(std::string_view name) {
    constexpr const char* NAMES[] = {SETTINGS_FILE, COLORS_FILE, POSITIONS_FILE, LABELS_FILE,
                                     SCRIPT_FILE,   IMAGE_FILE,  WIDE_IMAGE_FILE};
    return name.starts_with(BASE_FILE) ||
           std::find(std::begin(NAMES), std::end(NAMES), name) != std::end(NAMES);
}

file_state read_text(int fd, file* to) {
    char* const bytes = static_cast<char*>(malloc(LARGEST_FILE + 1));
    size_t size = 0;
    ssize_t got = bytes == nullptr ? -1 : 1;
    while (got > 0 && size <= LARGEST_FILE) {
        got = read(fd, bytes + size, LARGEST_FILE + 1 - size);
        size += got > 0 ? static_cast<size_t>(got) : 0;
    }
    if (got < 0 || size > LARGEST_FILE) {
        free(bytes);
        return got < 0 ? UNREADABLE : TOO_LARGE;
    }
    char* const kept = static_cast<char*>(realloc(bytes, size + 1));
    to->owned = kept != nullptr ? kept : bytes;
    to->text = {to->owned, size};
    return READ;
}

void read_file(int dir, const char* name) {
    struct stat status;
    const bool there = fstatat(dir, name, &status, 0) == 0;
    if (!there && errno == ENOENT) {
        return;  // a link to nothing
    }
    const bool is_file = there && S_ISREG(status.st_mode);
    const int fd = is_file ? openat(dir, name, O_RDONLY | O_CLOEXEC) : -1;
    file* const one = put_file(name, {});
    if (one != nullptr) {
        one->state = there && !is_file ? NOT_A_FILE : UNREADABLE;
        one->may_run = is_file && (status.st_mode & S_IXUSR) != 0;
        one->state = fd >= 0 ? read_text(fd, one) : one->state;
    }
    if (fd >= 0) {
        close(fd);
    }
}

}  // namespace

bool read_files(const char* dir) {
    count = 0;
    DIR* const entries = opendir(dir);
    if (entries == nullptr) {
        fprintf(stderr, "ctlmap: cannot read the directory %s: %s\n", dir, strerror(errno));
        return false;
    }
    for (const dirent* one = readdir(entries); one != nullptr; one = readdir(entries)) {
        if (belongs(one->d_name)) {
            read_file(dirfd(entries), one->d_name);
        }
    }
    closedir(entries);
    return true;
}

file* put_file(std::string_view name, std::string_view text) {
    file* one = find(name);
    if (one == nullptr && (count == MAX_FILES || name.size() > NAME_MAX)) {
        return nullptr;
    }
    if (one != nullptr) {
        free(one->owned);
    }
    one = one != nullptr ? one : all + count++;
    *one = {{}, text.size() > LARGEST_FILE ? TOO_LARGE : READ, true, text, nullptr};
    name.copy(one->name, sizeof one->name - 1);
    return one;
}

void remove_file(std::string_view name) {
    file* const one = find(name);
    if (one != nullptr) {
        free(one->owned);
        *one = all[--count];
    }
}

const file* find_file(std::string_view name) {
    return find(name);
}

std::string_view text_of(std::string_view name) {
    const file* const one = find(name);
    return one != nullptr && one->state == READ ? one->text : std::string_view();
}

bool lines::next() {
    if (rest_.empty()) {
        return false;
    }
    const size_t end = std::min(rest_.find('\n'), rest_.size());
    text_ = rest_.substr(0, end);
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    ++number_;
    return true;
}

bool has_lines(std::string_view text) {
    const auto has = [&](char c) { return text.find(c) != text.npos; };
    return !has('\0') && (has('\n') || !has('\r'));
}

bool is_comment(std::string_view line) {
    return line.starts_with('#') || line.starts_with(' ');
}

int split(std::string_view line, word* words, int most) {
    int found = 0;
    for (size_t at = line.find_first_not_of(WHITE); at != line.npos; ++found) {
        const size_t end = std::min(line.find_first_of(WHITE, at), line.size());
        if (found < most) {
            words[found] = line.substr(at, end - at);
        }
        at = line.find_first_not_of(WHITE, end);
    }
    return found;
}

std::string_view line_of(std::string_view text, int number) {
    for (lines in(text); in.next();) {
        if (in.number() == number) {
            return in.text();
        }
    }
    return {};
}

}  // namespace engine
