// Control engine: the table of all controls in both directions, what arrives for them, and the
// scan that turns changed state into messages.
#pragma once

#include "common.h"
#include "target_cfg.h"

// --- Start-up ---

// Builds the defaults of both sides, resets their values and loads the configuration.
void pot_init();

// Applies one line of the mapping: `idx` 0 to 84 (others are ignored with a message), the board's
// number or -1 to set the host's number alone. Values are stored as their low 8 bits.
void pot_set_para(int idx, int cf_cc, int app_cc, int ctl_type, int data_type, int add_data,
                  int add_data2);

// Applies one line of a preset: changes only the host's number of `idx`. `cf_cc` is not used.
void pot_set_app_cc(int idx, int cf_cc, int app_cc);

// --- Every pass ---

// Handles one controller message; `b0` is 0xB0 to 0xBF from the board, 0xB0 from the host.
void pot_process_pkg(u8 b0, u8 b1, u8 b2, int buf_id);

// Handles one note message; `b0` is 0x90 or 0x80 without channel bits.
void btn_process_pkg(u8 b0, u8 b1, u8 b2_in, int buf_id);

// Sends what changed on one side, in ascending order of the records. The side's own worker.
void pot_check_all(int buf_id);

// Asks the board worker to reset its side. Any worker may call it.
void pot_request_board_reset();

// Resets the board side if that was asked for. Board worker, before it dispatches what the board
// reports: earlier values have gone out by then, later ones go out again.
void pot_carry_out_board_reset();

// True for the board side.
bool IsUartBuffer(int buf_id);

// --- The table ---

constexpr u8 MSG_TYPE_ABSOLUTE = 0;
constexpr u8 MSG_TYPE_RELATIVE = 1;

constexpr u16 RELATIVE_MID_VALUE = 0x4000;  // centre position of a relative value
constexpr u16 VV_MASK = 0x7FFF;             // position bits of a relative value
constexpr u16 MOTIONLESS_FLAG = 0x8000;     // set in a relative value when the board reports rest
constexpr u16 NO_VALUE = 0xFFFF;            // nothing arrived, or nothing sent, since the reset
constexpr u32 STATUS_POT_MOVE = 0x01;
constexpr u16 POT_RPT_INTERVAL = 2;
constexpr u16 MAX_TICK_SENT = 0x7FFF;

constexpr int DIR_CLOCK_WISE = 1;          // the position grew
constexpr int DIR_COUNTER_CLOCK_WISE = 0;  // it shrank or stayed
constexpr int CLEAR_0x40_FLAG = 1;         // re-centring clears the motionless flag
constexpr int KEEP_0x40_FLAG = 0;

struct pot_internal {
    u8 cc_in;            // number that the message arrives under (host side: looked up by it)
    u8 cc_out;           // number that it goes out under
    u8 vv_in_msg_type;   // MSG_TYPE_ABSOLUTE or MSG_TYPE_RELATIVE
    u8 vv_out_msg_type;  // MIDI_DATA_SLIDER_ABSOLUTE or MIDI_DATA_SLIDER_RELATIVE
    u8 ctl_type;         // MIDI_CTL_TYPE_...
    u8 add_data;         // board: high four bits select the zoom; host: not 0, note-off means off
    u16 vv;              // current value: position, flag and position, or status and data byte
    u16 vv_sent;         // value last sent, or reference of a relative output
    u16 tick_sent;       // scans since the last send, up to MAX_TICK_SENT
    u16 tick_sent_min;   // fewest scans between two sends
    u32 pot_status;      // STATUS_POT_MOVE while the control moves
};
using t_pot_internal = pot_internal;

// First index: the buffer identifier. The values of a side belong to its worker; the mapping fields
// are only read once the workers run.
extern t_pot_internal pots[2][TOTAL_CTL_NUM];

// Makes one side forget its values, so that each control goes out again when it next reports.
// Called by the side's own worker.
void pot_reset_vv(int buffer_id);

// True for the controls that report steps rather than positions.
bool pot_is_relative_in(int pot_idx);

// Writes the type fields of one record.
void pot_set_msg_type(int buf_id, int idx, int ctl_type, int data_type, int add_data,
                      int add_data2);

// True when a mapping line sets only the host's number (`cf_cc` is -1).
bool is_to_set_app_cc(int cf_cc, int app_cc);

// --- Steps of a controller message ---

// The board index, 0 to 20, of board controller `cc`, or -1.
int pot_cf_ctl_idx(u8 cc);

// The reading that a message carries: a step around 0x40, or an 8-bit position halved to 0-127.
u16 pot_cf_ctl_vv(int pot_idx, int buf_id, u8 b0, u8 b1, u8 b2);

// Stores a decoded reading; steps add up, and reach the partner of a touched platter too.
void pot_update(int pot_id, u16 vv, int buf_id);

// Passes a basic platter's step on to its partner while that one moves.
void ProcessPlatter(int pot_id, u16 vv, int buf_id);

// True when the record's move flag is set and it has a value.
bool PlatterIsMoving(int pot_id, int buf_id);

// The host index of the meter under host controller `cc`, or 0.
int pot_meter_ctl_idx(u8 cc);

// Stores a meter level from the host, 0-127 reduced to 0x30 to 0x37.
void pot_process_meter_led(u8 b0, u8 b1, u8 b2);

// --- Steps of a note message ---

// The board index, 21 to 71, of board note `b1`, or -1.
int cf_btn_idx(u8 b1);

// The lowest host index, 0 to 60, of host note `btn_id`, or -1.
int led_btn_idx(int btn_id);

// The LED value to store: 0 for a note-off if the record asks for it, else `vv`.
u8 led_vv(int idx, u8 note_on_off, u8 vv);

// Stores status byte and velocity as the record's value.
void btn_update(int btn_id, u8 note_on_off, u8 vv, int buf_id);

// Reports whether board notes 0x2B and 0x2C alternate note-on and note-off.
void btn_check_pair(u8 b0, u8 b1, u8 b2);

// Powers the computer off when the power switch is released after a press.
void btn_process_power_off(u8 b0, u8 b1, u8 b2);

// --- Steps of the scan ---

// Sends one record if it changed and, for a pot, its rate allows it.
void pot_check(int pot_id, int buf_id);

// True for a record that goes out as a note.
bool ctl_is_btn(int pot_id, int buf_id);

// True when the rate limit allows a send in this scan; counts the scan.
bool pot_is_to_send_data(int pot_id, int buf_id);

// Counts the scan; true when enough scans have passed since the last send.
bool pot_check_tick_sent(int pot_id, int buf_id);

// True for an absolute board control at either end of its travel.
bool pot_absolute_0_7f_vv(int pot_id, int buf_id);

// Sends a pot's value if it changed or moves. True when the record counts as sent.
bool pot_send(int pot_id, int buf_id);

// Sends a note record if it changed.
void btn_send(int btn_id, int buf_id);

// --- Steps of a pot's value ---

// Writes the value's byte, on the board side 0 to 0x7F, to `buf[0]` and brings the record up to
// date. Returns 1 when a message is to go out, else 0.
int calculate_pot_vv(int pot_id, int buf_id, char* buf);

// Stores the distance of two positions and returns the direction from the second to the first.
int u16_diff_dir(u16 u1_in, u16 u2_in, u16* ret);

// Position units per step of the record, 1 to 80.
u16 pot_zoom_factor(int buf_id, int pot_id);

// Re-centres the record, keeping the part of `delta` that makes no whole step.
void pot_set_relative_mid_value(int buf_id, int pot_id, int clear_0x40_flag, int dir_cc, u16 delta,
                                u16 zoom_f);

// True when the board has reported rest since the record was last centred.
bool PotIsMotionless(int pot_id, int buf_id);

// Sets the position to the centre, without flag; the reference stays.
void pot_reset_vv_stop_flag(int buf_id, int pot_id);

// Clears the move flag.
void pot_set_stop_flag(int pot_id, int buf_id);

// Sets the move flag.
void pot_set_move_flag(int pot_id, int buf_id);

// True when the move flag is clear.
bool pot_status_stop(int pot_id, int buf_id);

// --- Steps of a touched platter ---

// True for the basic record of a platter, on the board side.
bool pot_is_basic_platter(int pot_id, int buf_id);

// Sets position and reference to `vv`.
void pot_set_mid_value(int pot_id, int buf_id, u16 vv);

// Ends the movement of a moving record with a centre message (value 0x40) to the host.
void pot_send_0x40(int pot_id, int buf_id);

// Stops a basic platter that came to rest, and its partner with it. Others are left alone.
void process_touch_platter(int pot_id, int buf_id);
