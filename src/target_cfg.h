// The facts of this controller: its devices and files, its controls and their numbers, the sizes of
// its buffers. The compiler checks what depends on them.
#pragma once

#include "common.h"

// --- Devices ---

#define TTY_DEVICE "/dev/ttymxc1"        // serial line to the control board
#define MIDI_DEVICE "/dev/snd/midiC1D0"  // raw MIDI port of the USB gadget
#define TEXT_CONSOLE "/dev/tty0"         // console that labels are drawn on

// --- Files, relative to the working directory, which is a sibling of `resources` ---

#define CFG_RESOURCES "../resources/"
#define CFG_PRESET_0 CFG_RESOURCES "orvik.midictl.cfg0.txt"
#define CFG_LABELS CFG_RESOURCES "orvik.miditxt.cfg0.txt"
#define CFG_CHECKED ".ok"  // ends the name of a copy that the check script has made
#define CFG_CHECK_SCRIPT CFG_RESOURCES "check_field_num.sh"
constexpr const char* MIDI_CTL_CFG = CFG_RESOURCES "orvik.midictl.cfg";
constexpr const char* SYS_CFG = CFG_RESOURCES "orvik.sys.cfg";
constexpr const char* COLOR_CFG = CFG_RESOURCES "orvik.color.cfg";
constexpr const char* LABEL_POSITION_CFG = CFG_RESOURCES "orvik.softlabelpos.cfg";
constexpr const char* SPLASH_WITH_LABELS = "orv_midi_screen.ppm";
constexpr const char* SPLASH_WITHOUT_LABELS = "orv_midi_screen_wide.ppm";

// --- Controls ---

enum ctl_kind {
    CTL_POT,
    CTL_PLATTER,
    CTL_TOUCHED,
    CTL_ENCODER,
    CTL_BUTTON,
    CTL_LED,
    CTL_METER,
    CTL_SPARE
};
enum ctl_side { DECK_A, MIXER, DECK_B };
enum ctl_group { TOP, TURNING, EFFECTS, TEMPO, LOOPS, PADS, TRANSPORT, KNOBS, FADERS, KEYS, CROSS };

struct ctl_info {
    ctl_kind kind;
    int board;  // number that the board reports it under, a note for buttons; -1: it reports none
    int light;  // the board's number of its LED or meter; -1: it has none
    ctl_side side;  // where it stands on the front
    ctl_group group;
};

// Every control, in the order of the configuration indices. A touched platter is what a platter
// reports as while a hand is on it.
constexpr ctl_info CONTROLS[] = {
    // 0 to 20
    {CTL_POT, 0x00, -1, DECK_A, FADERS},
    {CTL_POT, 0x01, -1, DECK_B, FADERS},
    {CTL_POT, 0x02, -1, DECK_A, KNOBS},
    {CTL_POT, 0x03, -1, DECK_B, KNOBS},
    {CTL_POT, 0x04, -1, DECK_A, KNOBS},
    {CTL_POT, 0x05, -1, DECK_B, KNOBS},
    {CTL_POT, 0x06, -1, DECK_A, KNOBS},
    {CTL_POT, 0x07, -1, DECK_B, KNOBS},
    {CTL_POT, 0x08, -1, DECK_A, KNOBS},
    {CTL_POT, 0x09, -1, DECK_B, KNOBS},
    {CTL_POT, 0x0A, -1, DECK_A, TURNING},
    {CTL_POT, 0x0B, -1, DECK_B, TURNING},
    {CTL_PLATTER, 0x0C, -1, DECK_A, TURNING},
    {CTL_PLATTER, 0x0D, -1, DECK_B, TURNING},
    {CTL_TOUCHED, 0x0E, -1, DECK_A, TURNING},
    {CTL_TOUCHED, 0x0F, -1, DECK_B, TURNING},
    {CTL_POT, 0x10, -1, MIXER, CROSS},
    {CTL_POT, 0x11, -1, MIXER, KNOBS},
    {CTL_ENCODER, 0x40, -1, MIXER, TOP},
    {CTL_POT, 0x41, -1, MIXER, KNOBS},
    {CTL_POT, 0x42, -1, MIXER, KNOBS},
    // 21 to 71
    {CTL_BUTTON, 0x01, 0x01, DECK_A, TRANSPORT},
    {CTL_BUTTON, 0x02, 0x02, DECK_A, TRANSPORT},
    {CTL_BUTTON, 0x03, 0x03, DECK_A, TRANSPORT},
    {CTL_BUTTON, 0x04, 0x04, DECK_A, PADS},
    {CTL_BUTTON, 0x05, 0x05, DECK_A, PADS},
    {CTL_BUTTON, 0x06, 0x06, DECK_A, PADS},
    {CTL_BUTTON, 0x07, 0x07, DECK_A, PADS},
    {CTL_BUTTON, 0x08, 0x08, DECK_A, LOOPS},
    {CTL_BUTTON, 0x09, 0x09, DECK_A, LOOPS},
    {CTL_BUTTON, 0x0A, 0x0A, DECK_A, LOOPS},
    {CTL_BUTTON, 0x0B, 0x0B, DECK_A, LOOPS},
    {CTL_BUTTON, 0x0C, 0x0C, DECK_A, LOOPS},
    {CTL_BUTTON, 0x0D, -1, DECK_A, TEMPO},
    {CTL_BUTTON, 0x0E, -1, DECK_A, TEMPO},
    {CTL_BUTTON, 0x0F, 0x0F, DECK_A, TEMPO},
    {CTL_BUTTON, 0x10, 0x10, DECK_A, TEMPO},
    {CTL_BUTTON, 0x11, 0x11, DECK_A, EFFECTS},
    {CTL_BUTTON, 0x12, 0x12, DECK_A, EFFECTS},
    {CTL_BUTTON, 0x13, 0x13, DECK_A, EFFECTS},
    {CTL_BUTTON, 0x14, 0x14, DECK_A, EFFECTS},
    {CTL_BUTTON, 0x15, 0x15, DECK_A, TRANSPORT},
    {CTL_BUTTON, 0x16, 0x16, DECK_B, TRANSPORT},
    {CTL_BUTTON, 0x17, 0x17, DECK_B, TRANSPORT},
    {CTL_BUTTON, 0x18, 0x18, DECK_B, TRANSPORT},
    {CTL_BUTTON, 0x19, 0x19, DECK_B, PADS},
    {CTL_BUTTON, 0x1A, 0x1A, DECK_B, PADS},
    {CTL_BUTTON, 0x1B, 0x1B, DECK_B, PADS},
    {CTL_BUTTON, 0x1C, 0x1C, DECK_B, PADS},
    {CTL_BUTTON, 0x1D, 0x1D, DECK_B, LOOPS},
    {CTL_BUTTON, 0x1E, 0x1E, DECK_B, LOOPS},
    {CTL_BUTTON, 0x1F, 0x1F, DECK_B, LOOPS},
    {CTL_BUTTON, 0x20, 0x20, DECK_B, LOOPS},
    {CTL_BUTTON, 0x21, 0x21, DECK_B, LOOPS},
    {CTL_BUTTON, 0x22, -1, DECK_B, TEMPO},
    {CTL_BUTTON, 0x23, -1, DECK_B, TEMPO},
    {CTL_BUTTON, 0x24, 0x24, DECK_B, TEMPO},
    {CTL_BUTTON, 0x25, 0x25, DECK_B, TEMPO},
    {CTL_BUTTON, 0x26, 0x26, DECK_B, EFFECTS},
    {CTL_BUTTON, 0x27, 0x27, DECK_B, EFFECTS},
    {CTL_BUTTON, 0x28, 0x28, DECK_B, EFFECTS},
    {CTL_BUTTON, 0x29, 0x29, DECK_B, EFFECTS},
    {CTL_BUTTON, 0x2A, 0x2A, DECK_B, TRANSPORT},
    {CTL_BUTTON, 0x2B, -1, DECK_A, TURNING},
    {CTL_BUTTON, 0x2C, -1, DECK_B, TURNING},
    {CTL_BUTTON, 0x40, 0x40, MIXER, KEYS},
    {CTL_BUTTON, 0x41, -1, MIXER, TOP},
    {CTL_BUTTON, 0x42, -1, MIXER, TOP},
    {CTL_BUTTON, 0x43, 0x43, DECK_A, TOP},
    {CTL_BUTTON, 0x44, 0x44, DECK_B, TOP},
    {CTL_BUTTON, 0x45, -1, MIXER, TOP},
    {CTL_BUTTON, 0x46, 0x46, MIXER, KEYS},
    // 72 to 81; the note of the last one resets the host side
    {CTL_LED, -1, 0x2D, DECK_A, TURNING},
    {CTL_LED, -1, 0x2E, DECK_B, TURNING},
    {CTL_LED, -1, 0x2F, DECK_A, TOP},
    {CTL_LED, -1, 0x30, DECK_B, TOP},
    {CTL_LED, -1, 0x31, DECK_A, TOP},
    {CTL_LED, -1, 0x32, DECK_B, TOP},
    {CTL_LED, -1, 0x33, DECK_A, TOP},
    {CTL_LED, -1, 0x34, DECK_B, TOP},
    {CTL_LED, -1, 0x35, MIXER, KEYS},
    {CTL_LED, -1, 0x36, MIXER, KEYS},
    // 82 to 84
    {CTL_METER, -1, 0x50, DECK_A, FADERS},
    {CTL_METER, -1, 0x51, DECK_B, FADERS},
    {CTL_SPARE, -1, 0x37, MIXER, KEYS},
};

constexpr int count_controls(ctl_kind first, ctl_kind last) {
    int count = 0;
    for (const ctl_info& one : CONTROLS) {
        count += one.kind >= first && one.kind <= last ? 1 : 0;
    }
    return count;
}

constexpr int TOTAL_CFG_ITEM = sizeof CONTROLS / sizeof CONTROLS[0];  // configuration indices
constexpr int TOTAL_POT_NUM = count_controls(CTL_POT, CTL_ENCODER);   // continuous values
constexpr int TOTAL_BTN_NUM = count_controls(CTL_BUTTON, CTL_BUTTON);
constexpr int TOTAL_CTL_NUM = TOTAL_POT_NUM + TOTAL_BTN_NUM;  // records per side
constexpr int HOST_CFG_BASE = TOTAL_POT_NUM;  // configuration index of host record 0
constexpr int TOTAL_LED_CTL_NUM = TOTAL_BTN_NUM + count_controls(CTL_LED, CTL_LED);  // host records
constexpr int LED_ZERO = TOTAL_LED_CTL_NUM - 1;  // host record whose note resets the host side
constexpr int METERS[] = {TOTAL_LED_CTL_NUM, TOTAL_LED_CTL_NUM + 1};  // host records
constexpr int LAST_DEFAULT_LED = 70;  // LEDs up to this index have their button's number built in
constexpr int PARTNER_OFFSET = 2;     // from a platter to the same one, touched

// By the board's number: the record of the control that it reports under it, or -1.
constexpr int MIDI_NUMBERS = 128;
struct ctl_by_number {
    signed char idx[MIDI_NUMBERS];
};
constexpr ctl_by_number by_board_number(bool buttons) {
    ctl_by_number result{};
    for (signed char& idx : result.idx) {
        idx = -1;
    }
    for (int i = 0; i < TOTAL_CTL_NUM; ++i) {
        signed char& idx = result.idx[CONTROLS[i].board];
        if (buttons == (i >= TOTAL_POT_NUM)) {
            idx = static_cast<signed char>(i);
        }
    }
    return result;
}
constexpr ctl_by_number BOARD_POTS = by_board_number(false);
constexpr ctl_by_number BOARD_BTNS = by_board_number(true);

// Pots of any kind come first, then buttons, LEDs, meters; each has a number of its own.
constexpr bool controls_are_in_order() {
    ctl_kind before = CTL_ENCODER;
    for (int i = 0; i < TOTAL_CFG_ITEM; ++i) {
        const ctl_info& one = CONTROLS[i];
        const ctl_kind kind = one.kind < CTL_ENCODER ? CTL_ENCODER : one.kind;
        const bool reports = i < TOTAL_CTL_NUM;
        const ctl_by_number& numbers = i < TOTAL_POT_NUM ? BOARD_POTS : BOARD_BTNS;
        if (kind < before || reports != (one.board >= 0) ||
            (reports && numbers.idx[one.board] != i) ||
            (one.kind == CTL_PLATTER && CONTROLS[i + PARTNER_OFFSET].kind != CTL_TOUCHED)) {
            return false;
        }
        before = kind;
    }
    return true;
}
static_assert(controls_are_in_order());
static_assert(count_controls(CTL_METER, CTL_METER) == sizeof METERS / sizeof METERS[0]);
static_assert(TOTAL_CFG_ITEM - HOST_CFG_BASE <= TOTAL_CTL_NUM);

constexpr u8 POWER_SWITCH_CC = 0x60;           // the board's note of the power switch
constexpr u8 LED_MIDI_NOTE_NUM_MIC_IN = 0x38;  // the board's note of the traffic LED
constexpr u8 CHECKED_PAIR[] = {0x2B, 0x2C};    // board notes whose note-ons and -offs are paired

// Control types of the mapping file.
constexpr int MIDI_CTL_TYPE_SLIDER = 0;
constexpr int MIDI_CTL_TYPE_BUTTON = 1;
constexpr int MIDI_CTL_TYPE_LED = 2;
constexpr int MIDI_CTL_TYPE_BTN_LED = 3;
constexpr int MIDI_CTL_TYPE_LED_METER = 4;

// Data types of the mapping file.
constexpr int MIDI_DATA_SLIDER_ABSOLUTE = 0;
constexpr int MIDI_DATA_SLIDER_RELATIVE = 1;

// Position units that make one step, by the zoom index: the high four bits of add_data.
constexpr int ZOOM_SCALE_MAX = 16;
constexpr u16 ZOOM_ARRAY[] = {1, 2, 4, 8, 16, 20, 24, 28, 32, 36, 40, 48, 56, 64, 72, 80};
static_assert(sizeof ZOOM_ARRAY / sizeof ZOOM_ARRAY[0] == ZOOM_SCALE_MAX);

constexpr int METER_INTERVAL = 18;  // width of one meter level in the host's 0 to 127
constexpr u8 METER_VV_BASE = 0x30;  // what the board is sent for level 0
static_assert(METER_VV_BASE + 127 / METER_INTERVAL == 0x37);

// --- Screen ---

constexpr int MAX_LIST_NUM = 256;          // slots of the colour list
constexpr int MAX_TOTAL_SOFT_LABELS = 24;  // slots of the label table
constexpr int MAX_LABEL_LEN = 9;           // characters of a label as shown

// --- Buffers ---

constexpr int COM_RX_BUF_SIZE = 256;  // of a receive ring: 22 ms of the serial line
constexpr int UART_RECV_SIZE = 256;   // most bytes taken from the serial line at once
constexpr int MIDI_RECV_SIZE = 3;     // most bytes taken from the host at once
constexpr int MIDI_BUF_SIZE = 64;     // MIDI output of one pass: 21 messages
constexpr int SYSEX_AREA_SIZE = 64;   // system exclusive message, or a piece of a longer one
static_assert((COM_RX_BUF_SIZE & (COM_RX_BUF_SIZE - 1)) == 0, "indices wrap by a mask");
static_assert(COM_RX_BUF_SIZE <= 256, "positions in a ring are bytes");
static_assert(SYSEX_AREA_SIZE <= MIDI_BUF_SIZE, "a piece fits the empty output buffer");
