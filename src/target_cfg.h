// What the controller is made of: file names, control counts, control and data types.
#pragma once

// Files, relative to the working directory, which is a sibling of `resources`.
#define CFG_RESOURCES "../resources/"
constexpr const char* MIDI_CTL_CFG = CFG_RESOURCES "orvik.midictl.cfg";
constexpr const char* SYS_CFG = CFG_RESOURCES "orvik.sys.cfg";

constexpr int TOTAL_POT_NUM = 21;  // board controls with continuous values
constexpr int TOTAL_BTN_NUM = 51;
constexpr int TOTAL_CTL_NUM = TOTAL_POT_NUM + TOTAL_BTN_NUM;  // records per side
constexpr int TOTAL_CFG_ITEM = 85;                            // configuration indices 0 to 84
constexpr int TOTAL_LED_CTL_NUM = 81 - 21 + 1;                // host records that are LEDs
constexpr int LED_ZERO = TOTAL_LED_CTL_NUM - 1;  // host record whose note resets the host side

// Control types of the mapping file.
constexpr int MIDI_CTL_TYPE_SLIDER = 0;
constexpr int MIDI_CTL_TYPE_BUTTON = 1;
constexpr int MIDI_CTL_TYPE_LED = 2;
constexpr int MIDI_CTL_TYPE_BTN_LED = 3;
constexpr int MIDI_CTL_TYPE_LED_METER = 4;

// Data types of the mapping file.
constexpr int MIDI_DATA_SLIDER_ABSOLUTE = 0;
constexpr int MIDI_DATA_SLIDER_RELATIVE = 1;
