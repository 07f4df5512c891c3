// The engine as the page calls it. A module answers for one configuration: its files are handed
// over, and then it either is examined or plays, for which it is started.
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "buffer.h"
#include "check.h"
#include "config.h"
#include "export.h"
#include "files.h"
#include "json.h"
#include "pot.h"
#include "recorder.h"
#include "shell.h"
#include "softlabel.h"
#include "target_cfg.h"

namespace {

constexpr int PRESET_FIELDS = 2;
constexpr int PASSES = 256;  // more than any control waits between two messages
constexpr int PART = 96;     // bytes at once, fewer than a ring takes

// Null-terminated, and good until the next call.
template <typename writer>
const char* written(writer write) {
    static char* text = nullptr;
    size_t size = 0;
    free(text);
    FILE* const out = open_memstream(&text, &size);
    write(out);
    fclose(out);
    return text;
}

const engine::examined& examined_once() {
    static const engine::examined* const what = [] {
        static engine::examined now;
        engine::examine(&now);
        return &now;
    }();
    return *what;
}

void write_sent(FILE* out) {
    engine::json_writer json(out);
    json.begin_array();
    for (const engine::sent& one : engine::all_sent()) {
        json.begin_array().value(one.to);
        for (const char c : one.bytes) {
            json.value(static_cast<u8>(c));
        }
        json.end_array();
    }
    json.end_array();
}

}  // namespace

extern "C" {

// Bytes and name stay where they are until the module is gone.
void engine_file(const char* name, const char* bytes, int size) {
    engine::put_file(name, std::string_view(bytes, static_cast<size_t>(size)));
}

// What `ctlmap export` and `ctlmap check` write as JSON; empty for a configuration without a base
// mapping, with which the daemon would not start.
const char* engine_export() {
    const engine::examined& what = examined_once();
    return written([&](FILE* out) {
        if (what.of.base_found) {
            engine::export_json(what.does, out);
        }
    });
}

const char* engine_check() {
    examined_once();
    return written([](FILE* out) { engine::findings_json("", out); });
}

// As the daemon starts.
void engine_start() {
    cfg_check_files();
    pot_init();
    soft_label_init();
}

// Takes bytes from the board (side 0) or the host (side 1), and lets the workers go round until
// nothing is left to send. Returns all messages and what was written to the console, each as a list
// of its receiver and its bytes.
const char* engine_feed(int side, const char* bytes, int size) {
    do {
        const int part = size < PART ? size : PART;
        com_put_buf(bytes, part, side);
        for (int i = 0; i < PASSES; ++i) {
            for (const int link : {UART_OUT_BUF_ID, MIDI_IN_BUF_ID}) {
                Com_ProcessComBuf(link);
                pot_check_all(link);
            }
        }
        bytes += part;
        size -= part;
    } while (size > 0);
    const char* const text = written(write_sent);
    engine::forget_sent();
    return text;
}

// The checked copy of a preset, as the check script makes it; null if it makes none.
const char* engine_checked_copy(const char* preset) {
    char name[NAME_MAX + 1];
    snprintf(name, sizeof name, "%s" CFG_CHECKED, preset);
    engine::remove_file(name);
    engine::make_checked_copy(preset, PRESET_FIELDS);
    const std::string_view copy = engine::text_of(name);
    return engine::find_file(name) == nullptr
               ? nullptr
               : written([&](FILE* out) { fwrite(copy.data(), 1, copy.size(), out); });
}

}  // extern "C"
