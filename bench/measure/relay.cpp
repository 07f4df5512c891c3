// Bare relays, to measure the daemon against: they copy bytes between the two devices that the
// daemon opens, and do nothing else.
//
//     relay busy        asks both devices all the time, in one loop
//     relay paced       waits as the daemon does: a worker for each way, of which the one for the
//                       board's line sleeps 50 microseconds when there is nothing
//     relay blocking    sleeps in the system until something comes
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <string>
#include <thread>

namespace {

int open_raw(const char* path) {
    const int fd = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK);
    termios settings;
    if (fd < 0 || tcgetattr(fd, &settings) < 0) {
        perror(path);
        return fd;
    }
    cfmakeraw(&settings);
    cfsetspeed(&settings, B115200);
    tcsetattr(fd, TCSAFLUSH, &settings);
    return fd;
}

bool copy(int from, int to) {
    char bytes[256];
    const ssize_t count = read(from, bytes, sizeof bytes);
    return count > 0 && write(to, bytes, static_cast<std::size_t>(count)) > 0;
}

[[noreturn]] void run_busy(int serial, int midi) {
    for (;;) {
        copy(serial, midi);
        copy(midi, serial);
    }
}

[[noreturn]] void run_paced(int serial, int midi) {
    std::thread host([=] {
        for (;;) {
            copy(midi, serial);
        }
    });
    prctl(PR_SET_TIMERSLACK, 1UL);
    for (;;) {
        if (!copy(serial, midi)) {
            usleep(50);
        }
    }
}

[[noreturn]] void run_blocking(int serial, int midi) {
    for (;;) {
        pollfd polled[] = {{serial, POLLIN, 0}, {midi, POLLIN, 0}};
        poll(polled, 2, -1);
        copy(serial, midi);
        copy(midi, serial);
    }
}

const std::map<std::string, void (*)(int serial, int midi)> KINDS = {
    {"busy", run_busy}, {"paced", run_paced}, {"blocking", run_blocking}};

}  // namespace

int main(int argc, char** argv) {
    const std::string kind = argc == 2 ? argv[1] : "";
    const auto known = KINDS.find(kind);
    if (known == KINDS.end()) {
        fputs("usage: relay busy|paced|blocking\n", stderr);
        return 2;
    }
    sleep(1);  // until the lines are watched; the daemon has much to do before it opens them
    // The serial line first: it is open, at its speed, when the other one is.
    const int serial = open_raw("/dev/ttymxc1");
    const int midi = open_raw("/dev/snd/midiC1D0");
    known->second(serial, midi);
}
