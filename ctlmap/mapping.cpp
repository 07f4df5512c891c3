#include "mapping.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace ctlmap {
namespace {

constexpr int LAST_POSITION = 0xFF;  // of eight bits, the highest in the status byte
constexpr int CENTER = 64;
constexpr int MOST_STEPS = 63;

struct span_of_values {
    int least, most;
};

span_of_values values_of(const control& of, direction way) {
    const bool from_pot = way == FROM_BOARD && of.kind == POT;
    if (from_pot) {
        return {0, LAST_POSITION};
    }
    if (way == TO_HOST && of.relative) {
        return {CENTER - MOST_STEPS, CENTER + MOST_STEPS};
    }
    if (way == TO_BOARD && of.kind == METER) {
        return {METER_VV_BASE, METER_VV_BASE + DATA_MASK / METER_INTERVAL};
    }
    return {0, DATA_MASK};
}

// A note to the board is never a note-off; one to the host has full velocity when it is on.
void write_bytes(direction way, message* to) {
    char* const text = to->bytes;
    const size_t size = sizeof to->bytes;
    const bool of_host = way == TO_HOST || way == FROM_HOST;
    if (of_host && to->channel == NONE) {
        return;
    }
    const int channel = of_host ? to->channel : 0;
    const int on = NOTE_ON | channel;
    const int off = NOTE_OFF | channel;
    const int change = CONTROL_CHANGE | channel;
    if (to->is_note && way == TO_BOARD) {
        snprintf(text, size, "%02X %02X vv", on, to->number);
    } else if (to->is_note) {
        snprintf(text, size, "%02X %02X %s; %02X %02X vv", on, to->number,
                 way == TO_HOST ? "7F" : "vv", off, to->number);
    } else if (to->most == LAST_POSITION) {
        snprintf(text, size, "%02X %02X vv; %02X %02X vv", change, to->number, change + 1,
                 to->number);
    } else {
        snprintf(text, size, "%02X %02X vv", change, to->number);
    }
}

message message_of(const model& from, const control& of, direction way) {
    const int numbers[DIRECTIONS] = {of.board_sends, of.host_sees, of.host_sends, of.board_sees};
    const bool notes[DIRECTIONS] = {of.host_sees_note, of.host_sees_note, of.host_sends_note,
                                    of.board_sees_note};
    message result = {};
    if (numbers[way] == NONE) {
        return result;
    }
    const span_of_values values = values_of(of, way);
    result.there = true;
    result.is_note = notes[way];
    result.number = numbers[way];
    result.least = values.least;
    result.most = values.most;
    result.channel = way == TO_HOST && from.channel == NONE ? 0 : from.channel;
    write_bytes(way, &result);
    return result;
}

void collect_labels(mapping* to) {
    if (total_valid_soft_label == 0) {
        return;
    }
    for (int i = 0; i < total_soft_label; ++i) {
        const t_soft_label& label = soft_label_array[i];
        if (label.cc == INVALID_CC) {
            continue;
        }
        shown_label& shown = to->labels[to->label_count++];
        const t_labellist& on = colorList[label.on_color_idx == -1 ? 0 : label.on_color_idx];
        const t_labellist& off = colorList[label.off_color_idx == -1 ? 0 : label.off_color_idx];
        shown.note = label.cc;
        shown.row = label.x_pos;
        shown.column = label.y_pos;
        memcpy(shown.place, label.key_name, sizeof shown.place);
        memcpy(shown.text, label.label_name, sizeof shown.text);
        for (size_t len = strlen(shown.text); len > 0 && shown.text[len - 1] == ' '; --len) {
            shown.text[len - 1] = '\0';
        }
        memcpy(shown.on_color, on.key_name, sizeof shown.on_color);
        memcpy(shown.on_sequence, on.label_name, sizeof shown.on_sequence);
        memcpy(shown.off_color, off.key_name, sizeof shown.off_color);
        memcpy(shown.off_sequence, off.label_name, sizeof shown.off_sequence);
    }
}

// The first with the note, as the daemon looks it up.
int label_with(const mapping& of, int note) {
    for (int i = 0; i < of.label_count; ++i) {
        if (of.labels[i].note == note) {
            return i;
        }
    }
    return NONE;
}

// Takes it from a loaded configuration and the daemon's tables.
void collect(const model& from, mapping* to) {
    *to = {};
    to->channel = from.channel;
    to->preset = from.preset_found ? from.preset_no : NONE;
    to->usb = from.gadget;
    collect_labels(to);
    for (int idx = 0; idx < TOTAL_CFG_ITEM; ++idx) {
        const control source = control_of(from, idx);
        mapped_control& result = to->controls[idx];
        result.idx = idx;
        result.kind = source.kind;
        snprintf(result.name, sizeof result.name, "%s", source.name);
        for (int way = 0; way < DIRECTIONS; ++way) {
            result.messages[way] = message_of(from, source, static_cast<direction>(way));
        }
        const message& of_host = result.messages[FROM_HOST];
        const message& of_board = result.messages[TO_BOARD];
        const bool gets_notes = of_host.there && of_host.is_note;
        result.moves = idx < TOTAL_POT_NUM;
        result.relative = source.relative;
        result.units_per_step = source.units_per_step;
        const bool has_rate = result.moves || (of_board.there && !of_board.is_note);
        result.passes = has_rate ? source.passes : NONE;
        result.off_darkens = source.off_darkens;
        result.label = gets_notes ? label_with(*to, of_host.number) : NONE;
    }
}

// False when the pipe ends before.
bool read_all(int from, mapping* to) {
    char* at = reinterpret_cast<char*>(to);
    size_t missing = sizeof *to;
    while (missing > 0) {
        const ssize_t count = read(from, at, missing);
        if (count <= 0) {
            return false;
        }
        at += count;
        missing -= static_cast<size_t>(count);
    }
    return true;
}

}  // namespace

bool load_mapping(const char* dir, model* through, mapping* to) {
    if (!load(dir, through)) {
        return false;
    }
    if (!through->base_found) {
        fprintf(stderr, "ctlmap: %s/%s: missing, the daemon would not start\n", dir, BASE_FILE);
        return false;
    }
    if (through->said.count > 0) {
        fprintf(stderr, "ctlmap: %s: the daemon cannot use all of it, see ctlmap check\n", dir);
    }
    collect(*through, to);
    return true;
}

bool load_mapping_apart(const char* dir, model* through, mapping* to) {
    int ends[2];
    const pid_t child = pipe2(ends, O_CLOEXEC) == 0 ? fork() : -1;
    if (child < 0) {
        fprintf(stderr, "ctlmap: cannot start a process: %s\n", strerror(errno));
        return false;
    }
    if (child == 0) {
        const bool loaded = load_mapping(dir, through, to);
        _exit(loaded && write(ends[1], to, sizeof *to) == sizeof *to ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    close(ends[1]);
    const bool good = read_all(ends[0], to);
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return good;
}

}  // namespace ctlmap
