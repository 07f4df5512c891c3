#include "led.h"

#include <atomic>

#include "target_cfg.h"
#include "uart_cf.h"

namespace {

std::atomic<u32> traffic_flag{0};               // both workers
std::atomic<int> traffic_flag_cnt[2] = {0, 0};  // both workers
u32 traffic_flag_sent = 0;                      // board worker

void led_set_counters(int value) {
    for (std::atomic<int>& cnt : traffic_flag_cnt) {
        cnt = value;
    }
}

}  // namespace

void led_set_traffic_flag(u8 flag, int cnt_idx) {
    std::atomic<int>& cnt = traffic_flag_cnt[cnt_idx];
    if (flag == TRAFFIC_FLAG_NO_DATA) {
        // Only the board worker makes idle calls, so the test and the step need not be one
        // operation.
        if (cnt < MAX_DELAY_TRAFFIC_NO_DATA) {
            ++cnt;
        } else {
            traffic_flag &= ~(1U << cnt_idx);
        }
    } else if (cnt != NOT_REAL_TRAFFIC) {
        traffic_flag |= flag;
    }
}

void led_show_traffic() {
    // Read once, so that what is sent is also what is remembered as sent: a mark that the host
    // worker makes in between still shows as a difference in the next pass.
    const u32 state = traffic_flag;
    if (state == traffic_flag_sent) {
        return;
    }
    const char message[3] = {static_cast<char>(NOTE_ON), LED_MIDI_NOTE_NUM_MIC_IN,
                             static_cast<char>(state)};
    led_set_counters(NOT_REAL_TRAFFIC);  // the LED message itself does not count
    cf_send(message, sizeof message);
    led_set_counters(0);
    traffic_flag_sent = state;
}
