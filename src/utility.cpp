#include "utility.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "config.h"
#include "debug.h"
#include "uart_cf.h"

namespace {

constexpr u32 TASK_RPT_POTS = 1;
constexpr char sysex_reset[3] = {static_cast<char>(NOTE_ON), 0x00, 0x00};

std::atomic<u32> task_mask{0};
clock_t task_timer = 0;  // 0: the delay has not begun

constexpr int GADGET_VALUE_LEN = 16;
constexpr int GADGET_CMD_LEN = 128;

bool is_control(char c) {
    const u8 value = static_cast<u8>(c);
    return value < ' ' || value == 0x7F;
}

// A USB name stands between double quotes in the command.
bool fits_in_quotes(char c) {
    return !is_control(c) && strchr("\"$`\\", c) == nullptr;
}

// A USB identity stands there bare.
bool fits_bare(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           c == '-' || c == '.';
}

void refuse_value(const char* key, char* value) {
    char* const cr = strchr(value, '\r');
    if (cr != nullptr) {
        *cr = '\0';
    }
    for (char* c = value; *c != '\0'; ++c) {
        if (is_control(*c)) {
            *c = '?';
        }
    }
    dbg_pmesg(
        DBG_DEFAULT, "%s: value \"%s\" of %s refused: %s\n", sys_cfg, value, key,
        cr != nullptr ? "the file has CR LF line ends" : "a character that is not allowed there");
    value[0] = '\0';
}

void get_gadget_value(const char* key, bool (*allowed)(char), char* value) {
    cfg_get_value_from_file(sys_cfg, key, value, GADGET_VALUE_LEN);
    for (const char* c = value; *c != '\0'; ++c) {
        if (!allowed(*c)) {
            refuse_value(key, value);
            return;
        }
    }
}

}  // namespace

int utl_run(const char* command) {
    return system(command);
}

void utl_report_lost(const char* device, int fd, int count, bool* lost) {
    const bool gone = count == 0 || (errno != EAGAIN && errno != EINTR);
    if (fd < 0 || *lost || !gone) {
        return;
    }
    *lost = true;
    if (count == 0) {
        dbg_pmesg(DBG_DEFAULT, "lost %s: hung up\n", device);
    } else {
        dbg_pmesg(DBG_DEFAULT, "lost %s: errno %d\n", device, errno);
    }
}

void load_midi_gadget() {
    char buf_vendor_id[32];
    char buf_product_id[32];
    char buf_manufacturer[32];
    char buf_product_name[32];
    get_gadget_value("vendor_id", fits_bare, buf_vendor_id);
    get_gadget_value("product_id", fits_bare, buf_product_id);
    get_gadget_value("manufacturer", fits_in_quotes, buf_manufacturer);
    get_gadget_value("product_name", fits_in_quotes, buf_product_name);
    dbg_pmesg(DBG_GREEN, "Now load g_midi \n");
    char buf[GADGET_CMD_LEN];
    snprintf(buf, sizeof buf,
             "modprobe g_midi idVendor=%.15s idProduct=%.15s iManufacturer=\"%.15s\" "
             "iProduct=\"%.15s\"",
             buf_vendor_id, buf_product_id, buf_manufacturer, buf_product_name);
    dbg_pmesg(DBG_GREEN, "%s \n", buf);
    const int ret = utl_run(buf);
    printf("Load g_midi with %d\n", ret);
}

void utl_set_task_mask(u32 mask) {
    task_mask = mask;
}

void utl_check_task() {
    if ((task_mask & TASK_RPT_POTS) == 0) {
        return;
    }
    const clock_t now = clock();
    if (task_timer == 0) {
        task_timer = now;
        return;
    }
    if (utl_elapsed_ms(task_timer, now) < TASK_DELAY) {
        return;
    }
    task_mask = 0;
    task_timer = 0;
    ask_cf_to_rpt_pots();
}

void ask_cf_to_rpt_pots() {
    cf_send(sysex_reset, sizeof sysex_reset);
}

clock_t utl_elapsed_ms(clock_t from, clock_t to) {
    // clock_t has 32 bits on the controller and wraps after 35 minutes of processor time.
    using unsigned_clock = std::make_unsigned_t<clock_t>;
    return static_cast<clock_t>(static_cast<unsigned_clock>(to) -
                                static_cast<unsigned_clock>(from)) /
           1000;
}
