#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <array>

#include "measure/measure.h"
#include "world/checked.h"
#include "world/places.h"

namespace bench {
namespace {

int open_raw(const char* path) {
    const int fd = check(open(path, O_RDWR | O_NOCTTY | O_NONBLOCK), path);
    termios settings;
    check(tcgetattr(fd, &settings), path);
    cfmakeraw(&settings);
    cfsetspeed(&settings, B115200);
    check(tcsetattr(fd, TCSAFLUSH, &settings), path);
    return fd;
}

void copy(int from, int to) {
    std::array<char, 256> bytes;
    const ssize_t count = read(from, bytes.data(), bytes.size());
    if (count > 0) {
        check(write(to, bytes.data(), static_cast<std::size_t>(count)), "relaying");
    }
}

}  // namespace

void relay() {
    sleep(1);  // until the lines are watched; the daemon has much to do before it opens them
    // The serial line first: it is open, at its speed, when the other one is.
    const int serial = open_raw(SERIAL_LINE);
    const int midi = open_raw(MIDI_DEVICE);
    for (;;) {
        copy(serial, midi);
        copy(midi, serial);
    }
}

}  // namespace bench
