#include "answers.h"

#include <algorithm>
#include <cstring>

#include "buffer.h"
#include "pot.h"
#include "recorder.h"

namespace engine {
namespace {

constexpr int LAST_POSITION = 0xFF;  // of eight bits, the highest in the status byte
constexpr int REST = 0x40;
constexpr int MOST_UP = 0x7F;
constexpr int MOST_DOWN = 0x00;
constexpr int SCANS_TO_REST = 3;
constexpr int POSITIONS[] = {0, 2, 64, 128, 254, 255};
constexpr int VALUES[] = {0, 1, 63, 64, 126, 127};       // of notes and controllers
constexpr int REPORTS[] = {1, 2, 4, 8, 16, 32, 64, 90};  // between two scans; the last: too many

// --- Playing ---

void feed(int side, int b0, int b1, int b2) {
    const char message[] = {static_cast<char>(b0), static_cast<char>(b1), static_cast<char>(b2)};
    com_put_buf(message, sizeof message, side);
    Com_ProcessComBuf(side);
}

// Sends what has changed, as after a pause: no rate holds it back.
void scan(int side, int record) {
    pots[side][record].tick_sent = MAX_TICK_SENT;
    pot_check(record, side);
}

void reset(int side) {
    pot_reset_vv(side);
    forget_sent();
}

// Adds what was sent since.
void collect(receiver to, messages* in) {
    for (const sent& one : all_sent()) {
        if (one.to != to || one.bytes.size() != 3) {
            continue;
        }
        const u8 status = static_cast<u8>(one.bytes[0]);
        const u8 number = static_cast<u8>(one.bytes[1]);
        const int value = static_cast<u8>(one.bytes[2]);
        message_form* const end = in->forms + in->count;
        message_form* const form = std::find_if(in->forms, end, [&](const message_form& known) {
            return known.status == status && known.number == number;
        });
        in->least = in->count == 0 ? value : std::min(in->least, value);
        in->most = in->count == 0 ? value : std::max(in->most, value);
        if (form != end) {
            form->value = form->value == value ? value : NONE;
        } else if (in->count < MAX_FORMS) {
            in->forms[in->count++] = {status, number, value};
        }
    }
    forget_sent();
}

// --- What the board reports ---

void ask_button(mapped_control* to) {
    const int number = to->info().board;
    to->ways[FROM_BOARD] = {
        2,
        {{NOTE_ON, static_cast<u8>(number), NONE}, {NOTE_OFF, static_cast<u8>(number), NONE}},
        0,
        DATA_MASK};
    for (const int velocity : {0, 64, 127}) {
        feed(UART_OUT_BUF_ID, NOTE_ON, number, velocity);
        scan(UART_OUT_BUF_ID, to->idx);
        feed(UART_OUT_BUF_ID, NOTE_OFF, number, velocity);
        scan(UART_OUT_BUF_ID, to->idx);
        collect(TO_HOST, &to->ways[TO_HOST_WAY]);
    }
}

// Through every position, then from each of some to each.
void ask_positions(mapped_control* to) {
    const int number = to->info().board;
    const auto move = [&](int position) {
        feed(UART_OUT_BUF_ID, CONTROL_CHANGE | position >> 7, number, position & DATA_MASK);
        scan(UART_OUT_BUF_ID, to->idx);
        collect(TO_HOST, &to->ways[TO_HOST_WAY]);
    };
    to->ways[FROM_BOARD] = {2,
                            {{CONTROL_CHANGE, static_cast<u8>(number), NONE},
                             {CONTROL_CHANGE + 1, static_cast<u8>(number), NONE}},
                            0,
                            LAST_POSITION};
    for (int position = 0; position <= LAST_POSITION; ++position) {
        move(position);
    }
    for (const int from : POSITIONS) {
        for (const int target : POSITIONS) {
            reset(UART_OUT_BUF_ID);
            move(LAST_POSITION / 2);
            move(from);
            move(target);
        }
    }
}

// Step by step through every position, then ever faster both ways.
void ask_steps(mapped_control* to) {
    const int number = to->info().board;
    to->ways[FROM_BOARD] = {1, {{CONTROL_CHANGE, static_cast<u8>(number), NONE}}, 0, DATA_MASK};
    for (int i = 0; i <= DATA_MASK; ++i) {
        feed(UART_OUT_BUF_ID, CONTROL_CHANGE, number, REST + 1);
        scan(UART_OUT_BUF_ID, to->idx);
        collect(TO_HOST, &to->ways[TO_HOST_WAY]);
    }
    for (const int reports : REPORTS) {
        for (const int step : {MOST_UP, MOST_DOWN}) {
            reset(UART_OUT_BUF_ID);
            for (int i = 0; i < reports; ++i) {
                feed(UART_OUT_BUF_ID, CONTROL_CHANGE, number, step);
            }
            scan(UART_OUT_BUF_ID, to->idx);
            collect(TO_HOST, &to->ways[TO_HOST_WAY]);
        }
    }
    feed(UART_OUT_BUF_ID, CONTROL_CHANGE, number, REST);
    for (int i = 0; i < SCANS_TO_REST; ++i) {
        scan(UART_OUT_BUF_ID, to->idx);
    }
    for (const sent& one : all_sent()) {
        to->rests |= one.to == TO_HOST && one.bytes.ends_with(static_cast<char>(REST));
    }
    collect(TO_HOST, &to->ways[TO_HOST_WAY]);
}

void ask_board_control(mapped_control* to) {
    const t_pot_internal& pot = pots[UART_OUT_BUF_ID][to->idx];
    to->number = pot.cc_out;
    reset(UART_OUT_BUF_ID);
    if (to->info().kind == CTL_BUTTON) {
        ask_button(to);
        return;
    }
    to->relative = pot.vv_out_msg_type != MIDI_DATA_SLIDER_ABSOLUTE;
    to->units_per_step = pot_zoom_factor(UART_OUT_BUF_ID, to->idx);
    to->passes = pot.tick_sent_min;
    if (pot_is_relative_in(to->idx)) {
        ask_steps(to);
    } else {
        ask_positions(to);
    }
}

// --- What the host sends ---

// The record that a message of the host has reached, or NONE. `before`: all of them, reset.
int reached_record(const t_pot_internal (&before)[TOTAL_CTL_NUM]) {
    for (int i = 0; i < TOTAL_CTL_NUM; ++i) {
        if (pots[MIDI_IN_BUF_ID][i].vv != before[i].vv) {
            return i;
        }
    }
    return NONE;
}

// The control whose light or meter the number drives, with all that the board gets then.
int ask_number(answers* to, bool is_note, int number) {
    const u8 status = static_cast<u8>((is_note ? NOTE_ON : CONTROL_CHANGE) | to->channel);
    const u8 off = static_cast<u8>(NOTE_OFF | to->channel);
    t_pot_internal before[TOTAL_CTL_NUM];
    reset(MIDI_IN_BUF_ID);
    memcpy(before, pots[MIDI_IN_BUF_ID], sizeof before);
    feed(MIDI_IN_BUF_ID, status, number, DATA_MASK);
    const int record = reached_record(before);
    const auto draws = [](const sent& one) { return one.to == TO_CONSOLE; };
    if (std::any_of(all_sent().begin(), all_sent().end(), draws)) {
        to->label_of_note[number] = idx_soft_label_ctl(static_cast<byte>(number));
    }
    if (record == NONE) {
        return NONE;
    }
    mapped_control& control = to->controls[record + HOST_CFG_BASE];
    messages& answer = control.ways[TO_BOARD_WAY];
    for (const int value : VALUES) {
        feed(MIDI_IN_BUF_ID, status, number, value);
        scan(MIDI_IN_BUF_ID, record);
        collect(TO_BOARD, &answer);
    }
    control.ways[FROM_HOST] = {1, {{status, static_cast<u8>(number), NONE}}, 0, DATA_MASK};
    if (is_note) {
        control.ways[FROM_HOST].forms[control.ways[FROM_HOST].count++] = {
            off, static_cast<u8>(number), NONE};
        feed(MIDI_IN_BUF_ID, off, number, DATA_MASK);
        control.off_darkens = (pots[MIDI_IN_BUF_ID][record].vv & DATA_MASK) == 0;
        scan(MIDI_IN_BUF_ID, record);
        collect(TO_BOARD, &answer);
    }
    return control.idx;
}

void ask_host(answers* to) {
    for (int number = 0; number < MIDI_NUMBERS; ++number) {
        to->label_of_note[number] = NONE;
        to->control_of_note[number] = to->channel == NONE ? NONE : ask_number(to, true, number);
        to->control_of_controller[number] =
            to->channel == NONE ? NONE : ask_number(to, false, number);
    }
}

// --- Labels ---

void copy_color(byte lit, int entry, char (&name)[LABEL_TEXT_SIZE],
                char (&sequence)[LABEL_TEXT_SIZE]) {
    const t_soft_label& label = soft_label_array[entry];
    const int idx = lit != 0 ? label.on_color_idx : label.off_color_idx;
    snprintf(name, sizeof name, "%s", colorList[std::max(idx, 0)].key_name);
    snprintf(sequence, sizeof sequence, "%s", color(lit, entry));
}

// As the console takes a position: 0 for 1, what is beyond the edge for the last one. A sequence
// with a negative number moves nothing.
int on_screen(int entry, int position, int last) {
    return std::min(x_pos(entry), y_pos(entry)) < 0 ? NONE : std::clamp(position, 1, last);
}

void collect_labels(const model& from, answers* to) {
    for (int entry = 0; entry < total_soft_label && total_valid_soft_label > 0; ++entry) {
        const t_soft_label& label = soft_label_array[entry];
        int line = 0;
        for (const auto& record : from.labels) {
            const bool is_its = idx_keyname_in_soft_label_array(record.key_name) == entry;
            line = is_its ? record.line : line;
        }
        if (line == 0) {
            continue;
        }
        shown_label& shown = to->labels[to->label_count];
        shown = {entry, line, "", "", label.cc, NONE, NONE, false, "", "", "", ""};
        shown.row = on_screen(entry, x_pos(entry), SCREEN_ROWS);
        shown.column = on_screen(entry, y_pos(entry), SCREEN_COLUMNS);
        snprintf(shown.place, sizeof shown.place, "%s", label.key_name);
        snprintf(shown.text, sizeof shown.text, "%s", label_name(entry));
        for (size_t len = strlen(shown.text); len > 0 && shown.text[len - 1] == ' '; --len) {
            shown.text[len - 1] = '\0';
        }
        copy_color(1, entry, shown.on_color, shown.on_sequence);
        copy_color(0, entry, shown.off_color, shown.off_sequence);
        for (int& found : to->label_of_note) {
            if (found == entry) {
                found = to->label_count;
                shown.is_drawn = true;
            }
        }
        ++to->label_count;
    }
}

// --- All ---

void ask_start(answers* to) {
    for (mapped_control& one : to->controls) {
        forget_sent();
        if (one.idx < TOTAL_CTL_NUM) {
            scan(UART_OUT_BUF_ID, one.idx);
            collect(TO_HOST, &one.at_start);
        }
        if (one.idx >= HOST_CFG_BASE) {
            scan(MIDI_IN_BUF_ID, one.idx - HOST_CFG_BASE);
            collect(TO_BOARD, &one.at_start);
        }
    }
}

void describe(const model& from, mapped_control* to) {
    const auto* const record = record_of(from, to->idx);
    if (record != nullptr) {
        snprintf(to->name, sizeof to->name, "%s", record->name);
        to->line = record->line;
    }
    for (const auto& moved : from.preset) {
        to->preset_line = moved.idx == to->idx ? moved.line : to->preset_line;
    }
    to->passes = NONE;
    to->label = NONE;
}

void ask_light(mapped_control* to) {
    const t_pot_internal& pot = pots[MIDI_IN_BUF_ID][to->idx - HOST_CFG_BASE];
    to->number = pot.cc_in;
    if (to->ways[TO_BOARD_WAY].are_controllers()) {
        to->passes = pot.tick_sent_min;
    }
}

}  // namespace

bool messages::are_notes() const {
    return count > 0 && (forms[0].status & STATUS_MASK & ~(NOTE_ON ^ NOTE_OFF)) == NOTE_OFF;
}

bool messages::are_controllers() const {
    return count > 0 && (forms[0].status & STATUS_MASK) == CONTROL_CHANGE;
}

void ask(const model& from, answers* to) {
    *to = {};
    to->channel = from.channel;
    to->preset = from.preset_found ? from.preset_no : NONE;
    to->usb = from.gadget;
    for (int idx = 0; idx < TOTAL_CFG_ITEM; ++idx) {
        to->controls[idx].idx = idx;
        describe(from, &to->controls[idx]);
    }
    ask_start(to);
    for (mapped_control& one : std::span(to->controls).first(TOTAL_CTL_NUM)) {
        ask_board_control(&one);
    }
    ask_host(to);
    collect_labels(from, to);
    for (mapped_control& one : to->controls) {
        if (one.idx >= HOST_CFG_BASE) {
            ask_light(&one);
        }
        const messages& heard = one.ways[FROM_HOST];
        one.label = heard.are_notes() ? to->label_of_note[heard.number()] : NONE;
    }
}

}  // namespace engine
