#include "utility.h"

#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "config.h"
#include "debug.h"
#include "uart_cf.h"

namespace {

constexpr u32 TASK_RPT_POTS = 1;
constexpr char sysex_reset[3] = {static_cast<char>(NOTE_ON), 0x00, 0x00};

std::atomic<u32> task_mask{0};  // set by the host worker, cleared by the board worker
std::int64_t task_timer = 0;    // board worker, microseconds; 0: the delay has not begun

constexpr int GADGET_VALUE_LEN = 16;
constexpr int QUOTED_VALUE_LEN = 2 * GADGET_VALUE_LEN;
constexpr int GADGET_CMD_LEN = 160;  // 65 characters, two identities, two quoted names

// Special to the shell between double quotes.
constexpr const char* SHELL_SPECIAL = "\"$`\\";

bool is_letter_or_digit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool is_control(char c) {
    const u8 value = static_cast<u8>(c);
    return value < ' ' || value == 0x7F;
}

// Module parameters cannot hold a double quote.
bool is_usb_name(const char* text) {
    for (const char* c = text; *c != '\0'; ++c) {
        if (is_control(*c) || *c == '"') {
            return false;
        }
    }
    return true;
}

void refuse_value(const char* key, char* value) {
    char* const cr = strchr(value, '\r');
    if (cr != nullptr) {
        *cr = '\0';
        dbg_about<TEXT_VALUE_CR>(sys_cfg, 0, "", value, key);
    } else {
        dbg_about<TEXT_VALUE>(sys_cfg, 0, "", value, key);
    }
    value[0] = '\0';
}

void get_gadget_value(const char* key, bool (*allowed)(const char*), char* value) {
    cfg_get_value_from_file(sys_cfg, key, value, GADGET_VALUE_LEN);
    if (value[0] != '\0' && !allowed(value)) {
        refuse_value(key, value);
    }
}

// Microseconds of the whole process. clock() measures the same, but with 32 bits for 35 minutes
// only; from then on it wraps or fails, as the C library has it.
std::int64_t processor_time() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return std::int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000;
}

}  // namespace

int utl_run(const char* command) {
    // Inherited by the command, unless they are the usual ones meanwhile. SCHED_RESET_ON_FORK is
    // not known to the oldest kernels, and leaves newer ones with a slack of 0.
    int policy = SCHED_OTHER;
    sched_param priority = {};
    pthread_getschedparam(pthread_self(), &policy, &priority);
    const int slack = prctl(PR_GET_TIMERSLACK);
    const sched_param usual = {};
    pthread_setschedparam(pthread_self(), SCHED_OTHER, &usual);
    prctl(PR_SET_TIMERSLACK, 0UL);
    const int status = system(command);
    prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(slack));
    pthread_setschedparam(pthread_self(), policy, &priority);
    return status;
}

void utl_hide_controls(char* text) {
    for (char* c = text; *c != '\0'; ++c) {
        if (is_control(*c)) {
            *c = '?';
        }
    }
}

FILE* utl_open_shell(const char* command) {
    FILE* const output = popen(command, "r");
    if (output == nullptr) {
        static_cast<void>(access("/bin/sh", X_OK));  // popen() reports a missing shell as ENOMEM
        dbg_pmesg(DBG_DEFAULT, "cannot start the shell for \"%s\": %s\n", command, strerror(errno));
        abort();
    }
    return output;
}

bool utl_quote(const char* text, char* quoted, size_t size) {
    size_t len = 0;
    for (const char* c = text; *c != '\0'; ++c) {
        const bool special = strchr(SHELL_SPECIAL, *c) != nullptr;
        if (len + (special ? 2 : 1) >= size) {
            quoted[0] = '\0';
            return false;
        }
        if (special) {
            quoted[len++] = '\\';
        }
        quoted[len++] = *c;
    }
    quoted[len] = '\0';
    return true;
}

bool utl_is_unquoted(const char* text, char except) {
    for (const char* c = text; *c != '\0'; ++c) {
        if (*c != except && strchr(SHELL_SPECIAL, *c) != nullptr) {
            return false;
        }
    }
    return true;
}

bool utl_is_bare_word(const char* text) {
    for (const char* c = text; *c != '\0'; ++c) {
        const bool inside = c != text && strchr("-.+", *c) != nullptr;
        if (!is_letter_or_digit(*c) && *c != '_' && !inside) {
            return false;
        }
    }
    return text[0] != '\0';
}

void get_gadget_values(gadget_values* values) {
    get_gadget_value("vendor_id", utl_is_bare_word, values->buf_vendor_id);
    get_gadget_value("product_id", utl_is_bare_word, values->buf_product_id);
    get_gadget_value("manufacturer", is_usb_name, values->buf_manufacturer);
    get_gadget_value("product_name", is_usb_name, values->buf_product_name);
}

void load_midi_gadget() {
    gadget_values values;
    get_gadget_values(&values);
    char manufacturer[QUOTED_VALUE_LEN];
    char product_name[QUOTED_VALUE_LEN];
    utl_quote(values.buf_manufacturer, manufacturer, sizeof manufacturer);
    utl_quote(values.buf_product_name, product_name, sizeof product_name);
    dbg_pmesg(DBG_GREEN, "Now load g_midi \n");
    char buf[GADGET_CMD_LEN];
    snprintf(buf, sizeof buf,
             "modprobe g_midi idVendor=%.15s idProduct=%.15s iManufacturer=\"%s\" iProduct=\"%s\"",
             values.buf_vendor_id, values.buf_product_id, manufacturer, product_name);
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
    const std::int64_t now = processor_time();
    if (task_timer == 0) {
        task_timer = now;
        return;
    }
    if ((now - task_timer) / 1000 < TASK_DELAY) {
        return;
    }
    task_mask = 0;
    task_timer = 0;
    ask_cf_to_rpt_pots();
}

void ask_cf_to_rpt_pots() {
    cf_send(sysex_reset, sizeof sysex_reset);
}
