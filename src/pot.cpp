#include "pot.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>

#include "config.h"
#include "debug.h"
#include "midi.h"
#include "softlabel.h"
#include "uart_cf.h"
#include "utility.h"

t_pot_internal pots[2][TOTAL_CTL_NUM];

namespace {

std::atomic<bool> board_reset_wanted{false};  // set by the host worker, cleared by the board worker
constexpr useconds_t POWER_OFF_WAIT_US = 100000;

constexpr u8 NO_MOTION = 0x40;  // the relative value that means rest
constexpr int MAX_STEPS = 63;   // that one message carries
static_assert(NO_MOTION + MAX_STEPS == DATA_MASK);

// What a control that no mapping line names goes out under, and a light is found by.
u8 default_number(int buf_id, int idx) {
    if (IsUartBuffer(buf_id)) {
        return static_cast<u8>(idx < TOTAL_POT_NUM ? idx : CONTROLS[idx].board);
    }
    const int cfg_idx = idx + HOST_CFG_BASE;
    return static_cast<u8>(cfg_idx <= LAST_DEFAULT_LED ? CONTROLS[cfg_idx].board : 0);
}

void send_message(int buf_id, u8 b0, u8 b1, u8 b2) {
    const char message[3] = {static_cast<char>(b0), static_cast<char>(b1), static_cast<char>(b2)};
    if (IsUartBuffer(buf_id)) {
        midi_push_buf(message, sizeof message);
    } else {
        cf_send(message, sizeof message);
    }
}

}  // namespace

// --- The table ---

void pot_init() {
    for (const int buf_id : {UART_OUT_BUF_ID, MIDI_IN_BUF_ID}) {
        for (int i = 0; i < TOTAL_CTL_NUM; ++i) {
            t_pot_internal& pot = pots[buf_id][i];
            const bool relative = IsUartBuffer(buf_id) && pot_is_relative_in(i);
            pot.vv_in_msg_type = relative ? MSG_TYPE_RELATIVE : MSG_TYPE_ABSOLUTE;
            pot.cc_out = default_number(buf_id, i);
            pot.cc_in = pot.cc_out;
            pot.tick_sent_min = POT_RPT_INTERVAL;
        }
        pot_reset_vv(buf_id);
    }
    cfg_test();
}

void pot_request_board_reset() {
    board_reset_wanted = true;
}

void pot_carry_out_board_reset() {
    if (board_reset_wanted) {
        board_reset_wanted = false;
        pot_reset_vv(UART_OUT_BUF_ID);
    }
}

void pot_reset_vv(int buffer_id) {
    for (int i = 0; i < TOTAL_CTL_NUM; ++i) {
        t_pot_internal& pot = pots[buffer_id][i];
        if (pot_is_relative_in(i)) {
            pot.vv = RELATIVE_MID_VALUE;
            pot.vv_sent = pot.vv;
        } else {
            pot.vv = NO_VALUE;
            pot.vv_sent = NO_VALUE;
            pot.tick_sent = 0;
        }
        pot_set_stop_flag(i, buffer_id);
    }
}

bool pot_is_relative_in(int pot_idx) {
    const bool is_control = pot_idx >= 0 && pot_idx < TOTAL_CFG_ITEM;
    const ctl_kind kind = is_control ? CONTROLS[pot_idx].kind : CTL_SPARE;
    return kind == CTL_PLATTER || kind == CTL_TOUCHED || kind == CTL_ENCODER;
}

void pot_set_para(int idx, int cf_cc, int app_cc, int ctl_type, int data_type, int add_data,
                  int add_data2) {
    if (idx < 0 || idx >= TOTAL_CFG_ITEM) {
        dbg_pmesg(DBG_DEFAULT, "configuration index %d ignored: expected 0 to %d\n", idx,
                  TOTAL_CFG_ITEM - 1);
        return;
    }
    const bool app_cc_only = is_to_set_app_cc(cf_cc, app_cc);
    if (idx < TOTAL_CTL_NUM) {
        t_pot_internal& board = pots[UART_OUT_BUF_ID][idx];
        board.cc_out = static_cast<u8>(app_cc);
        if (!app_cc_only) {
            board.cc_in = static_cast<u8>(cf_cc);
            pot_set_msg_type(UART_OUT_BUF_ID, idx, ctl_type, data_type, add_data, add_data2);
        }
    }
    if (idx >= HOST_CFG_BASE) {
        const int host_idx = idx - HOST_CFG_BASE;
        t_pot_internal& host = pots[MIDI_IN_BUF_ID][host_idx];
        host.cc_in = static_cast<u8>(app_cc);
        if (!app_cc_only) {
            host.cc_out = static_cast<u8>(cf_cc);
            dbg_pmesg(DBG_YELLOW, " Set %d to %2x cc_in and %2x app_cc\n", host_idx, host.cc_in,
                      host.cc_out);
            pot_set_msg_type(MIDI_IN_BUF_ID, host_idx, ctl_type, data_type, add_data, add_data2);
        }
    }
}

void pot_set_app_cc(int idx, [[maybe_unused]] int cf_cc, int app_cc) {
    pot_set_para(idx, -1, app_cc, 0, 0, 0, 0);
    dbg_pmesg(DBG_RED, "update %d %d \n", idx, app_cc);
}

void pot_set_msg_type(int buf_id, int idx, int ctl_type, int data_type, int add_data,
                      int add_data2) {
    t_pot_internal& pot = pots[buf_id][idx];
    pot.vv_out_msg_type = static_cast<u8>(data_type);
    pot.add_data = static_cast<u8>(add_data);
    pot.ctl_type = static_cast<u8>(ctl_type);
    pot.tick_sent_min = static_cast<u8>(add_data2);
    if (data_type == MIDI_DATA_SLIDER_RELATIVE) {
        pot.vv = RELATIVE_MID_VALUE;
    }
}

bool is_to_set_app_cc(int cf_cc, [[maybe_unused]] int app_cc) {
    return cf_cc == -1;
}

bool IsUartBuffer(int buf_id) {
    return buf_id == UART_OUT_BUF_ID;
}

// --- Controller messages ---

void pot_process_pkg(u8 b0, u8 b1, u8 b2, int buf_id) {
    if (!IsUartBuffer(buf_id)) {
        pot_process_meter_led(b0, b1, b2);
        return;
    }
    const int idx = pot_cf_ctl_idx(b1);
    if (idx >= 0) {
        pot_update(idx, pot_cf_ctl_vv(idx, buf_id, b0, b1, b2), buf_id);
    }
}

int pot_cf_ctl_idx(u8 cc) {
    return cc < MIDI_NUMBERS ? BOARD_POTS.idx[cc] : -1;
}

u16 pot_cf_ctl_vv(int pot_idx, int buf_id, u8 b0, [[maybe_unused]] u8 b1, u8 b2) {
    if (pots[buf_id][pot_idx].vv_in_msg_type == MSG_TYPE_RELATIVE) {
        return b2;
    }
    return static_cast<u16>(((b0 & 1) * 128 + b2) >> 1);
}

void pot_update(int pot_id, u16 vv, int buf_id) {
    t_pot_internal& pot = pots[buf_id][pot_id];
    if (pot.vv_in_msg_type == MSG_TYPE_ABSOLUTE) {
        pot.vv = vv;
    } else if (vv == NO_MOTION) {
        pot.vv |= MOTIONLESS_FLAG;
    } else {
        pot.vv = static_cast<u16>(pot.vv + vv - NO_MOTION);
        ProcessPlatter(pot_id, vv, buf_id);
    }
}

void ProcessPlatter(int pot_id, u16 vv, int buf_id) {
    const int partner_id = pot_id + PARTNER_OFFSET;
    if (pot_is_basic_platter(pot_id, buf_id) && PlatterIsMoving(partner_id, buf_id)) {
        t_pot_internal& partner = pots[buf_id][partner_id];
        partner.vv = static_cast<u16>(partner.vv + vv - NO_MOTION);
        pot_set_stop_flag(pot_id, buf_id);
    }
}

bool PlatterIsMoving(int pot_id, int buf_id) {
    return !pot_status_stop(pot_id, buf_id) && pots[buf_id][pot_id].vv != NO_VALUE;
}

int pot_meter_ctl_idx(u8 cc) {
    for (const int idx : METERS) {
        if (pots[MIDI_IN_BUF_ID][idx].cc_in == cc) {
            return idx;
        }
    }
    return 0;
}

void pot_process_meter_led([[maybe_unused]] u8 b0, u8 b1, u8 b2) {
    const int idx = pot_meter_ctl_idx(b1);
    if (idx != 0) {
        pot_update(idx, static_cast<u16>(b2 / METER_INTERVAL + METER_VV_BASE), MIDI_IN_BUF_ID);
    }
}

// --- Note messages ---

namespace {

// Board worker. Whether the power switch was pressed; note-ons minus note-offs of the checked pair.
int pwr_switch = 0;
int note_on_off_pair[std::size(CHECKED_PAIR)] = {};

void btn_process_board(u8 b0, u8 b1, u8 b2_in) {
    dbg_pmesg(DBG_YELLOW, "uart btn %2x %2x %2x \n", b0, b1, b2_in);
    btn_check_pair(b0, b1, b2_in);
    btn_process_power_off(b0, b1, b2_in);
    const int idx = cf_btn_idx(b1);
    if (idx < 0) {
        return;
    }
    const u8 velocity = b0 == NOTE_ON ? 0x7F : b2_in;
    btn_update(idx, cfg_midi_send_channel_no() | b0, velocity, UART_OUT_BUF_ID);
}

void btn_process_host(u8 b0, u8 b1, u8 b2_in) {
    dbg_pmesg(DBG_YELLOW, "POT: midi btn in %2x %2x %2x \n", b0, b1, b2_in);
    sl_check_midi_input(b0, b1, b2_in);
    const int idx = led_btn_idx(b1);
    if (idx == LED_ZERO) {
        pot_reset_vv(MIDI_IN_BUF_ID);
    }
    if (idx == -1) {
        dbg_pmesg(DBG_YELLOW, "invalid Led %2x \n", b1);
        return;
    }
    dbg_pmesg(DBG_YELLOW, " update btn %d \n", idx);
    btn_update(idx, NOTE_ON, led_vv(idx, b0, b2_in), MIDI_IN_BUF_ID);
}

}  // namespace

void btn_process_pkg(u8 b0, u8 b1, u8 b2_in, int buf_id) {
    if (IsUartBuffer(buf_id)) {
        btn_process_board(b0, b1, b2_in);
    } else {
        btn_process_host(b0, b1, b2_in);
    }
}

int cf_btn_idx(u8 b1) {
    return b1 < MIDI_NUMBERS ? BOARD_BTNS.idx[b1] : -1;
}

int led_btn_idx(int btn_id) {
    for (int i = 0; i < TOTAL_LED_CTL_NUM; ++i) {
        if (pots[MIDI_IN_BUF_ID][i].cc_in == static_cast<u8>(btn_id)) {
            return i;
        }
    }
    return -1;
}

u8 led_vv(int idx, u8 note_on_off, u8 vv) {
    const bool off_turns_off = pots[MIDI_IN_BUF_ID][idx].add_data != 0;
    return off_turns_off && note_on_off != NOTE_ON ? 0 : vv;
}

void btn_update(int btn_id, u8 note_on_off, u8 vv, int buf_id) {
    pots[buf_id][btn_id].vv = static_cast<u16>(note_on_off << 8 | vv);
}

void btn_check_pair(u8 b0, u8 b1, [[maybe_unused]] u8 b2) {
    const auto* const checked = std::find(std::begin(CHECKED_PAIR), std::end(CHECKED_PAIR), b1);
    if (checked == std::end(CHECKED_PAIR)) {
        return;
    }
    const char* const missing = " <<<<<< %2x miss note-off >>>>>>> \n";
    int& balance = note_on_off_pair[checked - CHECKED_PAIR];
    if (b0 == NOTE_ON) {
        if (++balance > 1) {
            dbg_pmesg(DBG_RED_0, missing, b1);
        } else {
            dbg_pmesg(DBG_VERBOSE, "%2X note-on\n", b1);
        }
    } else if (b0 == NOTE_OFF) {
        if (--balance != 0) {
            dbg_pmesg(DBG_RED_0, missing, b1);
        } else {
            dbg_pmesg(DBG_RED_0, "<%2x ok>\n", b1);
        }
    }
}

void btn_process_power_off(u8 b0, u8 b1, [[maybe_unused]] u8 b2) {
    if (b1 != POWER_SWITCH_CC) {
        return;
    }
    if (b0 == NOTE_ON) {
        pwr_switch = 1;
    } else if (b0 == NOTE_OFF && pwr_switch == 1) {
        utl_run("echo -ne \"\\x90\\x00\\x5a\" > " TTY_DEVICE);
        usleep(POWER_OFF_WAIT_US);
        utl_run("poweroff");
    }
}

// --- Output scan ---

// A loop for each kind of record, with sending kept out of line: nearly all of a pass is spent
// here, finding that none of 72 records has changed.
void pot_check_all(int buf_id) {
    if (!IsUartBuffer(buf_id)) {
#pragma GCC unroll 4
        for (int i = 0; i < TOTAL_CTL_NUM; ++i) {
            pot_check(i, MIDI_IN_BUF_ID);
        }
        return;
    }
    for (int i = 0; i < TOTAL_POT_NUM; ++i) {
        pot_check(i, UART_OUT_BUF_ID);
    }
    for (int i = TOTAL_POT_NUM; i < TOTAL_CTL_NUM; ++i) {
        pot_check(i, UART_OUT_BUF_ID);
    }
}

void pot_check(int pot_id, int buf_id) {
    if (ctl_is_btn(pot_id, buf_id)) {
        btn_send(pot_id, buf_id);
    } else if (pot_is_to_send_data(pot_id, buf_id) && pot_send(pot_id, buf_id)) {
        pots[buf_id][pot_id].tick_sent = 0;
    }
}

bool ctl_is_btn(int pot_id, int buf_id) {
    if (IsUartBuffer(buf_id)) {
        return pot_id >= TOTAL_POT_NUM;
    }
    const u8 type = pots[buf_id][pot_id].ctl_type;
    return type == MIDI_CTL_TYPE_LED || type == MIDI_CTL_TYPE_BTN_LED;
}

bool pot_is_to_send_data(int pot_id, int buf_id) {
    return pot_check_tick_sent(pot_id, buf_id) || pot_absolute_0_7f_vv(pot_id, buf_id);
}

bool pot_check_tick_sent(int pot_id, int buf_id) {
    t_pot_internal& pot = pots[buf_id][pot_id];
    if (pot.tick_sent < MAX_TICK_SENT) {
        ++pot.tick_sent;
    }
    return pot.tick_sent >= pot.tick_sent_min;
}

bool pot_absolute_0_7f_vv(int pot_id, int buf_id) {
    const t_pot_internal& pot = pots[buf_id][pot_id];
    return IsUartBuffer(buf_id) && pot.vv_in_msg_type == MSG_TYPE_ABSOLUTE &&
           (pot.vv == 0x00 || pot.vv == 0x7F);
}

namespace {

[[gnu::noinline]] bool send_pot(int pot_id, int buf_id) {
    char value;
    if (calculate_pot_vv(pot_id, buf_id, &value) == 0) {
        return false;
    }
    if (pot_is_basic_platter(pot_id, buf_id) && !pot_status_stop(pot_id + PARTNER_OFFSET, buf_id)) {
        return true;  // while the partner moves, it speaks for the platter
    }
    const u8 channel = IsUartBuffer(buf_id) ? cfg_midi_send_channel_no() : 0;
    send_message(buf_id, CONTROL_CHANGE | channel, pots[buf_id][pot_id].cc_out,
                 static_cast<u8>(value));
    return true;
}

[[gnu::noinline]] void send_btn(int btn_id, int buf_id) {
    t_pot_internal& pot = pots[buf_id][btn_id];
    pot.vv_sent = pot.vv;
    send_message(buf_id, static_cast<u8>(pot.vv >> 8), pot.cc_out, static_cast<u8>(pot.vv));
}

}  // namespace

bool pot_send(int pot_id, int buf_id) {
    const t_pot_internal& pot = pots[buf_id][pot_id];
    const bool settled = pot.vv == pot.vv_sent && pot_status_stop(pot_id, buf_id);
    return !settled && send_pot(pot_id, buf_id);
}

void btn_send(int btn_id, int buf_id) {
    const t_pot_internal& pot = pots[buf_id][btn_id];
    if (pot.vv != pot.vv_sent) {
        send_btn(btn_id, buf_id);
    }
}

// --- Value of a pot message ---

namespace {

char step_value(int dir, int steps) {
    return static_cast<char>(dir == DIR_CLOCK_WISE ? NO_MOTION + steps : NO_MOTION - steps);
}

int send_plain(t_pot_internal& pot, int bits, char* buf) {
    buf[0] = static_cast<char>(pot.vv & bits);
    pot.vv_sent = pot.vv;
    return 1;
}

// Sends whole steps; what is left of a step becomes the new position.
int send_steps(int pot_id, int buf_id, int flag_handling, int dir, u16 distance, char* buf) {
    const u16 zoom_f = pot_zoom_factor(buf_id, pot_id);
    pot_set_move_flag(pot_id, buf_id);
    pot_set_relative_mid_value(buf_id, pot_id, flag_handling, dir, distance, zoom_f);
    buf[0] = step_value(dir, std::min(distance / zoom_f, MAX_STEPS));
    return 1;
}

// Sends as many steps as one message carries and drops the rest of the movement.
int send_most_steps(int pot_id, int buf_id, int dir, char* buf) {
    t_pot_internal& pot = pots[buf_id][pot_id];
    const int most = 64 * pot_zoom_factor(buf_id, pot_id) - 1;
    pot_set_move_flag(pot_id, buf_id);
    pot.vv = static_cast<u16>(dir == DIR_CLOCK_WISE ? pot.vv - most : pot.vv + most);
    pot.vv_sent = pot.vv;
    buf[0] = step_value(dir, MAX_STEPS);
    return 1;
}

// With less than a step pending, only the 0x40 that ends a movement goes out.
int send_rest(int pot_id, int buf_id, int dir, u16 distance, char* buf) {
    if (!PotIsMotionless(pot_id, buf_id)) {
        return 0;
    }
    process_touch_platter(pot_id, buf_id);
    if (pot_status_stop(pot_id, buf_id)) {
        pot_reset_vv_stop_flag(buf_id, pot_id);
        return 0;
    }
    pot_set_relative_mid_value(buf_id, pot_id, CLEAR_0x40_FLAG, dir, distance,
                               pot_zoom_factor(buf_id, pot_id));
    pot_set_stop_flag(pot_id, buf_id);
    if (distance != 0) {
        dbg_pmesg(DBG_RED, "send 0x40 here for %d \n", distance);
    }
    buf[0] = NO_MOTION;
    return 1;
}

}  // namespace

int calculate_pot_vv(int pot_id, int buf_id, char* buf) {
    t_pot_internal& pot = pots[buf_id][pot_id];
    if (!IsUartBuffer(buf_id)) {
        return send_plain(pot, 0xFF, buf);
    }
    if (pot.vv_out_msg_type == MIDI_DATA_SLIDER_ABSOLUTE) {
        return send_plain(pot, DATA_MASK, buf);
    }
    const int zoom_f = pot_zoom_factor(buf_id, pot_id);
    const bool no_reference = pot.vv_sent == NO_VALUE;
    u16 distance;
    const int dir =
        u16_diff_dir(pot.vv, no_reference ? RELATIVE_MID_VALUE : pot.vv_sent, &distance);
    if (no_reference) {
        return distance < zoom_f ? 0
                                 : send_steps(pot_id, buf_id, CLEAR_0x40_FLAG, dir, distance, buf);
    }
    if (distance >= 64 * zoom_f) {
        return send_most_steps(pot_id, buf_id, dir, buf);
    }
    if (distance < zoom_f) {
        return send_rest(pot_id, buf_id, dir, distance, buf);
    }
    dbg_pmesg(DBG_RED, "set move for %d \n", distance);
    return send_steps(pot_id, buf_id, KEEP_0x40_FLAG, dir, distance, buf);
}

int u16_diff_dir(u16 u1_in, u16 u2_in, u16* ret) {
    const int diff = (u1_in & VV_MASK) - (u2_in & VV_MASK);
    *ret = static_cast<u16>(diff > 0 ? diff : -diff);
    return diff > 0 ? DIR_CLOCK_WISE : DIR_COUNTER_CLOCK_WISE;
}

u16 pot_zoom_factor(int buf_id, int pot_id) {
    return ZOOM_ARRAY[pots[buf_id][pot_id].add_data >> 4];
}

void pot_set_relative_mid_value(int buf_id, int pot_id, int clear_0x40_flag, int dir_cc, u16 delta,
                                u16 zoom_f) {
    t_pot_internal& pot = pots[buf_id][pot_id];
    const int kept = clear_0x40_flag == KEEP_0x40_FLAG ? pot.vv & MOTIONLESS_FLAG : 0;
    const int rest = delta % zoom_f;
    const int centre = kept | RELATIVE_MID_VALUE;
    pot.vv = static_cast<u16>(dir_cc == DIR_CLOCK_WISE ? centre + rest : centre - rest);
    pot.vv_sent = pot.vv;
}

bool PotIsMotionless(int pot_id, int buf_id) {
    return (pots[buf_id][pot_id].vv & MOTIONLESS_FLAG) != 0;
}

void pot_reset_vv_stop_flag(int buf_id, int pot_id) {
    pots[buf_id][pot_id].vv = RELATIVE_MID_VALUE;
}

void pot_set_stop_flag(int pot_id, int buf_id) {
    pots[buf_id][pot_id].pot_status &= ~STATUS_POT_MOVE;
}

void pot_set_move_flag(int pot_id, int buf_id) {
    dbg_pmesg(DBG_RED, " %d platter moves \n", pot_id);
    pots[buf_id][pot_id].pot_status |= STATUS_POT_MOVE;
}

bool pot_status_stop(int pot_id, int buf_id) {
    return (pots[buf_id][pot_id].pot_status & STATUS_POT_MOVE) == 0;
}

// --- Platter touch ---

bool pot_is_basic_platter(int pot_id, int buf_id) {
    return IsUartBuffer(buf_id) && CONTROLS[pot_id].kind == CTL_PLATTER;
}

void pot_set_mid_value(int pot_id, int buf_id, u16 vv) {
    t_pot_internal& pot = pots[buf_id][pot_id];
    pot.vv = vv;
    pot.vv_sent = pot.vv;
}

void pot_send_0x40(int pot_id, int buf_id) {
    if (pot_status_stop(pot_id, buf_id)) {
        return;
    }
    pot_set_stop_flag(pot_id, buf_id);
    pot_set_mid_value(pot_id, buf_id, RELATIVE_MID_VALUE);
    send_message(buf_id, CONTROL_CHANGE | cfg_midi_send_channel_no(), pots[buf_id][pot_id].cc_out,
                 NO_MOTION);
}

void process_touch_platter(int pot_id, int buf_id) {
    if (!pot_is_basic_platter(pot_id, buf_id)) {
        return;
    }
    pot_send_0x40(pot_id + PARTNER_OFFSET, buf_id);
    pot_set_stop_flag(pot_id, buf_id);
    pots[buf_id][pot_id].vv_sent = RELATIVE_MID_VALUE;
}
