#include "uart_cf.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <mutex>

#include "buffer.h"
#include "common.h"
#include "debug.h"
#include "led.h"
#include "target_cfg.h"

namespace {

constexpr const char* tty_file_name = TTY_DEVICE;
dbg_device tty_device = {tty_file_name};
constexpr useconds_t RECV_IDLE_US = 50;

std::atomic<int> fd_tty{-1};  // written by the board worker, read by both
com_urgent_mutex send_lock;   // both workers: one message at a time

// Two readers would each get half of the board's bytes. This lock binds root too, ends with the
// process and is not inherited by the shell. A device that cannot be locked is used without.
bool take_line() {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    if (fcntl(fd_tty, F_SETLK, &lock) == 0 || (errno != EACCES && errno != EAGAIN)) {
        return true;
    }
    lock.l_pid = 0;
    fcntl(fd_tty, F_GETLK, &lock);
    printf("%s is in use by process %d: stop that one first\n", tty_file_name,
           static_cast<int>(lock.l_pid));
    return false;
}

}  // namespace

void cf_init() {
    cf_open(tty_file_name);
}

int cf_open(const char* target_tty) {
    fd_tty = open(target_tty, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd_tty < 0) {
        printf("error opening %s: errno %i\n", target_tty, errno);
        return -1;
    }
    if (!take_line()) {
        cf_close();
        return -1;
    }
    if (cf_set_raw() < 0) {
        printf("error configuring tty\n");
        cf_close();
        return -1;
    }
    return fd_tty;
}

int cf_set_raw() {
    termios settings;
    if (tcgetattr(fd_tty, &settings) < 0) {
        return -1;
    }
    cfmakeraw(&settings);
    cfsetispeed(&settings, B115200);
    cfsetospeed(&settings, B115200);
    return tcsetattr(fd_tty, TCSAFLUSH, &settings) < 0 ? -1 : 0;
}

void cf_close() {
    const int fd = fd_tty.exchange(-1);
    if (fd >= 0) {
        close(fd);
    }
}

int cf_send(const char* buf, int buf_size) {
    led_set_traffic_flag(TRAFFIC_FLAG_UART_OUT, 0);
    const std::lock_guard guard(send_lock);
    return static_cast<int>(write(fd_tty, buf, static_cast<size_t>(buf_size)));
}

void cf_recv() {
    char received[UART_RECV_SIZE];
    const int room = std::min(UART_RECV_SIZE, com_free(UART_OUT_BUF_ID));
    if (room == 0) {
        return;
    }
    const int count = static_cast<int>(read(fd_tty, received, static_cast<size_t>(room)));
    if (count > 0) {
        dbg_pmesg(DBG_YELLOW, "Got %d with 0: %2x \n", count, static_cast<u8>(received[0]));
        com_put_buf(received, count, UART_OUT_BUF_ID);
    } else {
        dbg_report_lost(&tty_device, count, errno);
        usleep(RECV_IDLE_US);
    }
}
