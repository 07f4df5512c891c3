// Bytes in both directions, in any order of the workers' steps. An input is a program: options,
// then operations. What leaves the daemon is judged write by write.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "config.h"
#include "debug.h"
#include "main.h"
#include "modules/fuzz_platform.h"
#include "modules/ptys.h"
#include "softlabel.h"

namespace {

using fuzz::fail;
using fuzz::hex;

constexpr int BOARD = UART_OUT_BUF_ID;
constexpr int HOST = MIDI_IN_BUF_ID;
constexpr u8 CHANNEL = 2;
constexpr int FIRST_BUTTON = 21;
constexpr int FIRST_LIGHT = 72;  // of those without a button
constexpr int FIRST_METER = 82;
constexpr int LABEL_NOTE = 120;
constexpr int SLOWEST = 3;  // the largest tick_sent_min of the mapping
constexpr int DEFERRED_MS = 3600;
const std::string QUERY = "\xF0\x7E\x7F\x06\x01\xF7";

t_pot_internal at_start[2][TOTAL_CTL_NUM];

// --- The mapping: the host's number of a control is its index, the board's another one ---

int board_number(int idx) {
    return idx < 18             ? idx
           : idx < FIRST_BUTTON ? idx + 46
           : idx < 65           ? idx - 20
           : idx < FIRST_LIGHT  ? idx - 1
                                : idx;
}

// Steps with four zooms, a platter that sends its position, a position that is sent as steps.
struct Steps {
    int idx, data_type, zoom;
};
constexpr Steps STEPS[] = {{7, 1, 15}, {12, 1, 0}, {13, 1, 2}, {14, 1, 3}, {15, 1, 15}, {18, 0, 0}};

bool is_light(int idx) {
    return idx >= FIRST_BUTTON && idx < FIRST_METER && idx % 8 != 5;
}

std::string mapping() {
    std::string text;
    for (int idx = 0; idx < TOTAL_CFG_ITEM; ++idx) {
        const bool pot = idx < FIRST_BUTTON;
        const bool meter = idx == FIRST_METER || idx == FIRST_METER + 1;
        const auto* const steps = std::find_if(std::begin(STEPS), std::end(STEPS),
                                               [&](const Steps& s) { return s.idx == idx; });
        const bool has_steps = steps != std::end(STEPS);
        const int fields[] = {idx,
                              board_number(idx),
                              idx,
                              pot             ? MIDI_CTL_TYPE_SLIDER
                              : meter         ? MIDI_CTL_TYPE_LED_METER
                              : is_light(idx) ? MIDI_CTL_TYPE_BTN_LED
                                              : MIDI_CTL_TYPE_BUTTON,
                              has_steps ? steps->data_type : 0,
                              has_steps ? steps->zoom * 16
                              : pot     ? 0
                                        : idx % 2,
                              idx % (SLOWEST + 1)};
        for (const int field : fields) {
            text += std::to_string(field) + " ";
        }
        text += "C" + std::to_string(idx) + "\n";
    }
    return text;
}

// --- Towards the host ---

std::string fed;    // every byte that has come into ring 0
size_t fed_until;   // up to here it has been forwarded, or passed over
std::string sysex;  // a long system exclusive message, as far as it has come
constexpr size_t OUTGROWS = COM_RX_BUF_SIZE;  // from here on, pieces come as they are
std::vector<std::string> heard;

u8 byte_at(const std::string& bytes, size_t at) {
    return static_cast<u8>(bytes[at]);
}

// The message may be cut to its first bytes.
void check_channel_message(const std::string& message) {
    const u8 status = byte_at(message, 0);
    const bool note = status == (NOTE_ON | CHANNEL) || status == (NOTE_OFF | CHANNEL);
    if (!note && status != (CONTROL_CHANGE | CHANNEL)) {
        fail("to the host: no message begins like %s", hex(message).c_str());
    }
    for (size_t i = 1; i < message.size(); ++i) {
        if (byte_at(message, i) > DATA_MASK) {
            fail("to the host: a data byte of %s is no data byte", hex(message).c_str());
        }
    }
    if (message.size() > 1 && (byte_at(message, 1) < TOTAL_POT_NUM) == note) {
        fail("to the host: %s is no control's number", hex(message).c_str());
    }
    if (message.size() > 2 && status == (NOTE_ON | CHANNEL) && message[2] != 0x7F) {
        fail("to the host: a press with velocity, %s", hex(message).c_str());
    }
}

void check_sysex() {
    const size_t found = fed.find(sysex, fed_until);
    if (found == std::string::npos) {
        fail("to the host: not what the board sent, %s", hex(sysex).c_str());
    }
    fed_until = found + sysex.size();
    heard.push_back(std::exchange(sysex, ""));
}

// Takes in a system exclusive message, or a piece of one; returns where it ends. A long message has
// its first pieces in full writes of their own, and all of them in writes of their own. Another one
// lacks its end only if the queue was full.
size_t take_sysex(const std::string& flush, size_t start) {
    const bool full = flush.size() == MIDI_BUF_SIZE;
    const size_t end = flush.find('\xF7', start);
    sysex += flush.substr(start, end == std::string::npos ? end : end + 1 - start);
    if (end != std::string::npos) {
        check_sysex();
        return end + 1;
    }
    if (!full && sysex.size() < OUTGROWS) {
        fail("to the host: cut in a write of %zu bytes, %s", flush.size(), hex(sysex).c_str());
    }
    if (start > 0) {
        sysex.clear();
    }
    return flush.size();
}

void check_flush(const std::string& flush) {
    if (flush.empty() || flush.size() > MIDI_BUF_SIZE) {
        fail("to the host: a write of %zu bytes", flush.size());
    }
    for (size_t at = 0; at < flush.size();) {
        if (!sysex.empty() || byte_at(flush, at) == SYSEX_START) {
            at = take_sysex(flush, at);
            continue;
        }
        const std::string message = flush.substr(at, 3);
        check_channel_message(message);
        if (message.size() < 3 && flush.size() < MIDI_BUF_SIZE) {
            fail("to the host: cut in a write of %zu bytes, %s", flush.size(),
                 hex(message).c_str());
        }
        heard.push_back(message);
        at += message.size();
    }
}

// --- Towards the board ---

int queries;   // of the host's that have reached the board
int requests;  // that the board report its pots

bool is_known_to_board(const std::string& message) {
    const u8 status = byte_at(message, 0);
    const u8 number = byte_at(message, 1);
    const u8 value = byte_at(message, 2);
    if (value > DATA_MASK) {
        return false;
    }
    if (status == NOTE_ON && number == LED_MIDI_NOTE_NUM_MIC_IN) {
        return value <= 3;
    }
    for (int idx = FIRST_BUTTON; idx < TOTAL_CFG_ITEM; ++idx) {
        if (board_number(idx) == number) {
            const bool meter = idx == FIRST_METER || idx == FIRST_METER + 1;
            return status == (is_light(idx) ? NOTE_ON : CONTROL_CHANGE) &&
                   (!meter || (value >= 0x30 && value <= 0x37));
        }
    }
    return false;
}

void check_board_message(const std::string& message) {
    if (message == QUERY) {
        ++queries;
    } else if (message == std::string("\x90\0\0", 3)) {
        ++requests;
    } else if (message.size() != 3 || !is_known_to_board(message)) {
        fail("to the board: unknown message %s", hex(message).c_str());
    }
    if (requests > queries) {
        fail("to the board: %d requests after %d queries", requests, queries);
    }
}

// --- After every step ---

void check_ring(int ring) {
    const int count = com_rx_len[ring];
    if (count < 0 || count > COM_RX_BUF_SIZE) {
        fail("ring %d counts %d", ring, count);
    }
    if (com_rx_buf_w[ring] != ((com_rx_buf_r[ring] + count) & 255)) {
        fail("ring %d: from %d, %d bytes, to %d", ring, com_rx_buf_r[ring], count,
             com_rx_buf_w[ring]);
    }
}

void check_mapping() {
    for (int side = 0; side < 2; ++side) {
        for (int i = 0; i < TOTAL_CTL_NUM; ++i) {
            const t_pot_internal& was = at_start[side][i];
            const t_pot_internal& is = pots[side][i];
            if (was.cc_in != is.cc_in || was.cc_out != is.cc_out ||
                was.vv_in_msg_type != is.vv_in_msg_type ||
                was.vv_out_msg_type != is.vv_out_msg_type || was.ctl_type != is.ctl_type ||
                was.add_data != is.add_data || was.tick_sent_min != is.tick_sent_min) {
                fail("the mapping of record %d, side %d has changed", i, side);
            }
        }
    }
}

// A silence has ended a message that had outgrown the ring: it has come as far as it was sent.
void check_silence() {
    if (fuzz::diagnostics().find("without end in buffer 0") != std::string::npos) {
        if (sysex.size() < OUTGROWS) {
            fail("a silence has ended a message of %zu bytes", sysex.size());
        }
        check_sysex();
    }
}

void check_all() {
    check_ring(BOARD);
    check_ring(HOST);
    check_silence();
    for (const std::string& flush : std::exchange(fuzz::host.written, {})) {
        check_flush(flush);
    }
    for (const std::string& message : std::exchange(fuzz::board.written, {})) {
        heard.push_back(message);
        check_board_message(message);
    }
}

// --- Steps ---

void put(int ring, const std::string& bytes) {
    const int size = std::min(static_cast<int>(bytes.size()), com_free(ring));
    com_put_buf(bytes.data(), size, ring);
    if (ring == BOARD) {
        fed.append(bytes, 0, static_cast<size_t>(size));
    }
}

void board_pass(const std::string& bytes = "") {
    const std::string waiting = fuzz::board.waiting += bytes;
    uart_pass();
    fed.append(waiting, 0, waiting.size() - fuzz::board.waiting.size());
    check_all();
}

void host_pass(const std::string& bytes = "") {
    fuzz::host.waiting += bytes;
    midi_pass();
    check_all();
}

void pass_time(int ms) {
    fuzz::time_ms += ms;
}

// --- The program of an input ---

struct Program {
    const uint8_t* at;
    const uint8_t* end;

    bool done() const { return at == end; }
    u8 next() { return done() ? 0 : *at++; }
    // Up to 30 bytes by the operation, up to 255 by a byte of their own.
    std::string chunk(int size) {
        const size_t wanted = size == 31 ? next() : static_cast<size_t>(size);
        const size_t count = std::min(wanted, static_cast<size_t>(end - at));
        const std::string bytes(reinterpret_cast<const char*>(at), count);
        at += count;
        return bytes;
    }
};

void step(Program& program) {
    const int op = program.next();
    const int argument = op >> 3;
    const int side = argument & 1;
    switch (op & 7) {
        case 0:
            return put(BOARD, program.chunk(argument));
        case 1:
            return put(HOST, program.chunk(argument));
        case 2:
            return Com_ProcessComBuf(side);
        case 3:
            return side == BOARD && com_sys_ex_is_open(BOARD) ? void() : pot_check_all(side);
        case 4:
            return side == BOARD ? midi_flush() : led_show_traffic();
        case 5:
            for (int i = 0; i <= argument; ++i) {
                led_set_traffic_flag(TRAFFIC_FLAG_NO_DATA, side);
            }
            return;
        case 6:
            pass_time(DEFERRED_MS / 8);
            return board_pass(program.chunk(argument));
        default:
            return host_pass(program.chunk(argument));
    }
}

void start_afresh() {
    fuzz::board = fuzz::host = fuzz::Line();
    for (const int ring : {BOARD, HOST}) {
        Com_ProcessComBuf(ring);  // makes room for what ends an open message
        com_put_char('\xF7', ring);
        Com_ProcessComBuf(ring);
        com_rx_buf_r[ring] = com_rx_buf_w[ring] = com_rx_len[ring] = 0;
    }
    Com_ProcessComBuf(BOARD);  // a reset that is due
    memcpy(pots, at_start, sizeof pots);
    btn_process_power_off(NOTE_ON, POWER_SWITCH_CC, 0);  // every release counts
    midi_reset_buf();
    utl_set_task_mask(1);
    for (int i = 0; i < 2; ++i) {
        utl_check_task();
        pass_time(DEFERRED_MS);
        utl_check_task();
    }
    for (int i = 0; i <= MAX_DELAY_TRAFFIC_NO_DATA + 1; ++i) {
        led_set_traffic_flag(TRAFFIC_FLAG_NO_DATA, 0);
        led_set_traffic_flag(TRAFFIC_FLAG_NO_DATA, 1);
    }
    led_show_traffic();
    fuzz::board = fuzz::host = fuzz::Line();
    fed.clear();
    fed_until = 0;
    sysex.clear();
    heard.clear();
    queries = requests = 0;
}

// --- What must hold at the end of every input ---

std::string message(int b0, int b1, int b2) {
    return {static_cast<char>(b0), static_cast<char>(b1), static_cast<char>(b2)};
}

void expect_heard(const char* what, const std::string& wanted) {
    if (std::find(heard.begin(), heard.end(), wanted) == heard.end()) {
        fail("%s has not arrived as %s", what, hex(wanted).c_str());
    }
}

void idle_passes(int count) {
    for (int i = 0; i < count; ++i) {
        board_pass();
        host_pass();
    }
}

bool has_waiting() {
    return !fuzz::board.waiting.empty() || !fuzz::host.waiting.empty();
}

// One byte ends what a system exclusive message may still hold up; then all must arrive.
void check_healthy_messages(u8 pick) {
    const size_t waiting = fuzz::board.waiting.size() + fuzz::host.waiting.size();
    for (size_t i = 0; i <= waiting && has_waiting(); ++i) {  // a byte a pass, except in the first
        idle_passes(1);
    }
    if (has_waiting()) {
        fail("a full ring is not freed");
    }
    board_pass("\xF7");
    host_pass("\xF7");
    idle_passes(SLOWEST);
    if (!sysex.empty()) {
        fail("to the host: the end is missing, %s", hex(sysex).c_str());
    }

    board_pass(message(NOTE_OFF, board_number(FIRST_BUTTON), pick & DATA_MASK));
    heard.clear();
    board_pass(message(NOTE_ON, board_number(FIRST_BUTTON), pick & DATA_MASK));
    expect_heard("a press", message(NOTE_ON | CHANNEL, FIRST_BUTTON, 0x7F));

    const int level = 1 + pick % 127;
    host_pass(message(NOTE_ON | CHANNEL, FIRST_LIGHT, 0));
    heard.clear();
    host_pass(message(NOTE_ON | CHANNEL, FIRST_LIGHT, level));
    expect_heard("a light", message(NOTE_ON, board_number(FIRST_LIGHT), level));

    std::string exclusive(3 + static_cast<size_t>(pick) * 253 / 255, static_cast<char>(pick / 2));
    exclusive.front() = '\xF0';
    exclusive.back() = '\xF7';
    board_pass(exclusive);
    expect_heard("a system exclusive message", exclusive);
}

// Steps twice, as one report may be less than a step.
std::string report(int idx, u8 pick) {
    const int number = board_number(idx);
    if (idx >= FIRST_BUTTON) {
        return message(NOTE_ON, number, pick & DATA_MASK);
    }
    if (pot_is_relative_in(idx)) {
        const std::string steps = message(CONTROL_CHANGE, number, 0x7F);
        return steps + steps;
    }
    return message(CONTROL_CHANGE | (pick >> 7), number, pick & DATA_MASK);
}

// A fourth of the controls, as many as go to the host in one pass.
void report_some(u8 pick, bool all_are_sent) {
    constexpr int count = MIDI_BUF_SIZE / 3;
    const int first = pick % 4 * count;
    const int last = std::min(first + count, TOTAL_CTL_NUM);
    std::string reports;
    for (int idx = first; idx < last; ++idx) {
        reports += report(idx, pick);
    }
    heard.clear();
    board_pass(reports);
    for (int i = 1; i < SLOWEST; ++i) {
        board_pass();
    }
    for (int idx = first; all_are_sent && idx < last; ++idx) {
        const u8 status = (idx < FIRST_BUTTON ? CONTROL_CHANGE : NOTE_ON) | CHANNEL;
        if (std::none_of(heard.begin(), heard.end(), [&](const std::string& m) {
                return byte_at(m, 0) == status && m[1] == idx;
            })) {
            fail("control %d is not sent afresh after a status query", idx);
        }
    }
}

void check_query(u8 pick) {
    report_some(pick, false);
    queries = requests = 0;
    host_pass(QUERY);
    report_some(pick, true);
    for (int i = 0; i < 2; ++i) {
        pass_time(DEFERRED_MS);
        board_pass();
    }
    if (queries != 1 || requests != 1) {
        fail("a status query reached the board %d times, with %d requests", queries, requests);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    fuzz::set_up(argc, argv);
    const fuzz::Input input;
    write_resource("orvik.midictl.cfg", mapping());
    write_resource("orvik.sys.cfg", "midi_channel=" + std::to_string(CHANNEL) + "\n");
    write_resource("orvik.color.cfg", "0 \\033[0;37m WHITE\n1 \\033[1;31m RED\n");
    write_resource("orvik.softlabelpos.cfg", "3 2 ONE\n5 12 TWO\n");
    write_resource("orvik.miditxt.cfg0.txt.ok",
                   "ONE $HOME 30 RED WHITE\nTWO a\\b\" " + std::to_string(LABEL_NOTE) + " RED X\n");
    pot_init();
    list_init(TYPE_COLOR_LIST);
    list_init(TYPE_SOFT_LABEL);
    apply_preset();
    cf_init();
    midi_init();
    memcpy(at_start, pots, sizeof pots);
    const bool ready = cfg_midi_channel_no() == CHANNEL && total_valid_soft_label == 2 &&
                       pots[BOARD][FIRST_BUTTON].cc_out == FIRST_BUTTON;
    if (!ready) {
        fail("the configuration is not as written");
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const fuzz::Input input;
    Program program = {data, data + size};
    const u8 options = program.next();
    dbg_set_msg_level(options % 8 == 7 ? DBG_GREEN : DBG_DEFAULT);
    start_afresh();
    while (!program.done()) {
        step(program);
        check_all();
        check_mapping();
    }
    check_healthy_messages(options);
    check_query(options);
    check_mapping();
    return 0;
}
