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

constexpr int TOTAL_POT_NUM = 21;  // board controls with continuous values
constexpr int TOTAL_BTN_NUM = 51;
constexpr int TOTAL_CTL_NUM = TOTAL_POT_NUM + TOTAL_BTN_NUM;  // records per side
constexpr int TOTAL_CFG_ITEM = 85;                            // configuration indices 0 to 84
constexpr int HOST_CFG_BASE = TOTAL_POT_NUM;               // configuration index of host record 0
constexpr int TOTAL_LED_CTL_NUM = 81 - HOST_CFG_BASE + 1;  // host records that are LEDs
constexpr int LED_ZERO = TOTAL_LED_CTL_NUM - 1;  // host record whose note resets the host side
constexpr int METERS[] = {TOTAL_LED_CTL_NUM, TOTAL_LED_CTL_NUM + 1};  // host records
static_assert(METERS[1] < TOTAL_CTL_NUM && TOTAL_CFG_ITEM - HOST_CFG_BASE <= TOTAL_CTL_NUM);

// A run of `count` controls: the record `idx` has `number`, the next one the next number.
struct ctl_block {
    int idx, count, number;

    constexpr bool has_idx(int i) const { return i >= idx && i < idx + count; }
    constexpr bool has_number(int n) const { return n >= number && n < number + count; }
};

// The numbers that the board reports its controls under, by board record.
constexpr ctl_block BOARD_POTS[] = {{0, 18, 0x00}, {18, 3, 0x40}};
constexpr ctl_block BOARD_BTNS[] = {{TOTAL_POT_NUM, 44, 0x01}, {65, 7, 0x40}};
static_assert(BOARD_POTS[0].count + BOARD_POTS[1].count == TOTAL_POT_NUM);
static_assert(BOARD_BTNS[0].count + BOARD_BTNS[1].count == TOTAL_BTN_NUM);
static_assert(BOARD_POTS[1].idx == BOARD_POTS[0].count);
static_assert(BOARD_BTNS[1].idx == TOTAL_POT_NUM + BOARD_BTNS[0].count);

// The numbers of controls that no mapping line names, by record of the side; 0 outside the blocks.
constexpr ctl_block DEFAULT_BOARD_NUMBERS[] = {{0, TOTAL_POT_NUM, 0}, BOARD_BTNS[0], BOARD_BTNS[1]};
constexpr ctl_block DEFAULT_HOST_NUMBERS[] = {{0, 44, 0x01}, {44, 6, 0x40}};

constexpr int RELATIVE_CTLS[] = {12, 13, 14, 15, 18};  // board records that report steps

// A platter reports on two channels: its basic record and, once touched, the partner.
struct platter_pair {
    int basic, partner;
};
constexpr platter_pair PLATTERS[] = {{12, 14}, {13, 15}};
constexpr int PARTNER_OFFSET = 2;  // from a basic platter to its partner
static_assert(PLATTERS[0].partner == PLATTERS[0].basic + PARTNER_OFFSET);
static_assert(PLATTERS[1].partner == PLATTERS[1].basic + PARTNER_OFFSET);

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
