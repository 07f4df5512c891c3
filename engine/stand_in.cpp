#include "stand_in.h"

#include <algorithm>
#include <cstring>

#include "files.h"
#include "recorder.h"
#include "shell.h"
#include "target_cfg.h"

namespace engine {
namespace {

std::string_view base_name(std::string_view path) {
    const bool is_ours = path.starts_with(CFG_RESOURCES);
    return is_ours ? path.substr(strlen(CFG_RESOURCES)) : std::string_view();
}

FILE* open_text(std::string_view text) {
    static char nothing[1];
    return fmemopen(text.empty() ? nothing : const_cast<char*>(text.data()), text.size(), "r");
}

// "grep -i WORD FILE | cut -d'=' -f2"
FILE* answer_look_up(const char* command) {
    char word[256], path[256], separator;
    int field;
    if (sscanf(command, "grep -i %255s %255s | cut -d'%c' -f%d", word, path, &separator, &field) !=
        4) {
        return nullptr;
    }
    const found_line line = look_up(text_of(base_name(path)), word);
    if (line.number == 0) {
        return open_text({});
    }
    static char answer[256];  // more than any caller takes
    const std::string_view value = cut_field(line.text, separator, field);
    answer[value.copy(answer, sizeof answer - 1)] = '\n';
    return open_text({answer, std::min(value.size() + 1, sizeof answer)});
}

// "echo -ne "TEXT" > /dev/tty0": what it prints goes to the console.
bool draw(std::string_view command) {
    const size_t first = command.find('"');
    const size_t last = command.rfind('"');
    if (!command.ends_with(TEXT_CONSOLE) || first == last) {
        return false;
    }
    char bytes[256];
    const size_t size =
        echo_bytes(command.substr(first + 1, last - first - 1), bytes, sizeof bytes);
    record(TO_CONSOLE, {bytes, size});
    return true;
}

}  // namespace
}  // namespace engine

using namespace engine;

FILE* stand_in_fopen(const char* path, [[maybe_unused]] const char* mode) {
    const file* const one = find_file(base_name(path));
    return one != nullptr && one->state == READ ? open_text(one->text) : nullptr;
}

int stand_in_stat(const char* path, struct stat* status) {
    const file* const one = find_file(base_name(path));
    if (one == nullptr) {
        return -1;
    }
    *status = {};
    status->st_mode = one->state == NOT_A_FILE ? S_IFDIR : S_IFREG;
    return 0;
}

int stand_in_access(const char* path, [[maybe_unused]] int mode) {
    return find_file(base_name(path)) != nullptr ? 0 : -1;
}

FILE* stand_in_popen(const char* command, [[maybe_unused]] const char* mode) {
    FILE* const found = answer_look_up(command);
    if (found == nullptr) {
        draw(command);
    }
    return found != nullptr ? found : open_text({});
}

// "rm COPY" and "SCRIPT FILE FIELDS" make the checked copies; nothing else is done.
int stand_in_system(const char* command) {
    char path[256];
    int fields;
    if (sscanf(command, "rm %255s", path) == 1) {
        remove_file(base_name(path));
    } else if (sscanf(command, CFG_CHECK_SCRIPT " %255s %d", path, &fields) == 2) {
        make_checked_copy(base_name(path), fields);
    } else {
        draw(command);
    }
    return 0;
}

int stand_in_usleep([[maybe_unused]] unsigned microseconds) {
    return 0;
}

int stand_in_printf([[maybe_unused]] const char* format, ...) {
    return 0;
}
