// Traffic LED: one LED of the control board shows bytes to the board and to the host.
#pragma once

#include "common.h"

constexpr int MAX_DELAY_TRAFFIC_NO_DATA = 0x10;  // idle calls before a bit may be cleared
constexpr int NOT_REAL_TRAFFIC = 0xA0;           // counter value while marks are ignored

// Marks traffic (`flag` not 0) or counts one idle call (`flag` 0) for `cnt_idx`: 0 is the direction
// to the board (bit 0x01), 1 the direction to the host (bit 0x02). Any worker may mark.
void led_set_traffic_flag(u8 flag, int cnt_idx);

// Sends the LED state (0 to 3) to the board when it differs from the state last sent. Board worker.
void led_show_traffic();
