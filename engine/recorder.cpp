#include "recorder.h"

#include <cstdarg>
#include <cstring>
#include <iterator>

#include "debug.h"
#include "files.h"
#include "findings.h"
#include "midi.h"
#include "shell.h"
#include "target_cfg.h"
#include "uart_cf.h"

namespace engine {
namespace {

constexpr int MOST_SENT = 1024;
constexpr size_t MOST_BYTES = 16 * 1024;

sent items[MOST_SENT];
int count = 0;
char bytes[MOST_BYTES];
size_t used = 0;

bool hears = false;

}  // namespace

void hear_daemon(bool on) {
    hears = on;
}

std::span<const sent> all_sent() {
    return {items, static_cast<size_t>(count)};
}

void forget_sent() {
    count = 0;
    used = 0;
}

void record(receiver to, std::string_view what) {
    if (count < MOST_SENT && used + what.size() <= MOST_BYTES) {
        what.copy(bytes + used, what.size());
        items[count++] = {to, {bytes + used, what.size()}};
        used += what.size();
    }
}

}  // namespace engine

// --- The daemon's two links ---

int midi_push_buf(const char* src, int len) {
    engine::record(engine::TO_HOST, {src, static_cast<size_t>(len)});
    return len;
}

void midi_flush() {}

int cf_send(const char* buf, int buf_size) {
    engine::record(engine::TO_BOARD, {buf, static_cast<size_t>(buf_size)});
    return buf_size;
}

// --- The daemon's messages ---

namespace engine {
namespace {

struct refusal {
    rule_ref rule;
    const char* cure;  // null: a rule says it better
};
constexpr refusal REFUSALS[] = {
    {"byte-order-mark", "save the file as UTF-8 without a byte order mark"},
    {"not-a-number", "write a whole number there, or the field that is missing before it"},
    {"not-a-number", "write a number from 0 to 127"},
    {"refused", "choose a shorter name"},
    {"cut", "choose a shorter word"},
    {"run-on", "add them"},
    {"run-on", "give this line all of its fields, and that line too"},
    {"refused", "there is no such control; write the index that this line is to have"},
    {"refused", "rename the control here and in orvik.midictl.cfg, with such a name"},
    {"refused", "give the colour the next free index"},
    {"refused", "write one such as \\033[1;31m"},
    {"label-place", nullptr},
    {"refused", "save the file as plain text with LF line ends"},
    {"missing", nullptr},
    {"refused", "write the channel, one less than most programs count"},
    {"crlf", nullptr},
    {"refused", nullptr},
};
static_assert(std::size(REFUSALS) == DBG_TEXT_COUNT);

}  // namespace
}  // namespace engine

void dbg_pmesg([[maybe_unused]] int level, [[maybe_unused]] const char* format, ...) {}

void dbg_about_line(const char* path, int line, const char* end, int id, ...) {
    const engine::refusal& what = engine::REFUSALS[id];
    const std::string_view name = std::string_view(path).substr(strlen(CFG_RESOURCES));
    if (!engine::hears || what.cure == nullptr || !engine::has_lines(engine::text_of(name))) {
        return;  // a rule says it better
    }
    if (id == TEXT_NONE_APPLIED && engine::is_reported(name)) {
        return;  // each line has its own
    }
    char text[engine::FINDING_LEN];
    va_list args;
    va_start(args, id);
    vsnprintf(text, sizeof text, DBG_TEXTS[id], args);
    va_end(args);
    if (id == TEXT_CHANNEL) {
        line = engine::look_up(engine::text_of(name), "midi_channel").number;
    }
    engine::report(what.rule, name, line, engine::NONE, "%s%s; %s", text, end, what.cure);
}
