#include "panel/terminal.h"

#define NCURSES_NOMACROS
#include <curses.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <stdexcept>

#include "panel/room.h"

namespace bench {
namespace {

constexpr int ENDING[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr int CRASHING[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr int ESCAPE_DELAY = 25;  // milliseconds, for the rest of a key's bytes
constexpr std::string_view REPORT_DRAGS = "\033[?1002h", REPORT_NO_DRAGS = "\033[?1002l";

volatile std::sig_atomic_t signalled = 0;
termios found;

void note_signal(int) {
    signalled = 1;
}

// After a crash nothing of the library may be called: mouse off, main screen, cursor, colours.
void restore_and_crash(int signal) {
    static constexpr char RESTORE[] =
        "\033[?1006l\033[?1002l\033[?1000l\033[?1049l\033[?25h\033[0m\r\n";
    [[maybe_unused]] const ssize_t size = write(STDOUT_FILENO, RESTORE, sizeof RESTORE - 1);
    tcsetattr(STDIN_FILENO, TCSANOW, &found);
    raise(signal);
}

template <std::size_t N>
void handle(const int (&signals)[N], void (*handler)(int), int flags) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    for (const int signal : signals) {
        sigaction(signal, &action, nullptr);
    }
}

// What the library has no call for.
void write_out(std::string_view sequence) {
    [[maybe_unused]] const ssize_t size = write(STDOUT_FILENO, sequence.data(), sequence.size());
}

// The nearest colour that the terminal has; the bright half of sixteen is bold text on eight.
int nearest(int color) {
    constexpr int CUBE = 16, GREYS = 232, LIGHT_GREY = 245, HALF = 3;
    const auto part = [&](int unit) { return (color - CUBE) / unit % 6 >= HALF ? 1 : 0; };
    return color < 8 || color < COLORS ? color
           : color < CUBE              ? color - 8
           : color < GREYS             ? part(36) | part(6) << 1 | part(1) << 2
           : color < LIGHT_GREY        ? COLOR_BLACK
                                       : COLOR_WHITE;
}

attr_t attributes(const Ink& ink) {
    attr_t result = (ink.bold ? A_BOLD : 0) | (ink.reverse ? A_REVERSE : 0);
    if (has_colors()) {
        if (ink.foreground >= COLORS && ink.foreground < 16) {
            result |= A_BOLD;
        }
        const int pair = alloc_pair(nearest(ink.foreground), nearest(ink.background));
        result |= pair > 0 ? static_cast<attr_t>(COLOR_PAIR(pair)) : 0;
    }
    return result;
}

}  // namespace

Terminal::Terminal() {
    std::setlocale(LC_ALL, "");
    if (MB_CUR_MAX == 1) {
        std::setlocale(LC_CTYPE, "C.UTF-8");
    }
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0) {
        throw std::runtime_error("the panel needs a terminal");
    }
    tcgetattr(STDIN_FILENO, &found);
    const bool known = newterm(nullptr, stdout, stdin) != nullptr;
    if (!known || tigetstr("cup") == nullptr) {
        if (known) {
            endwin();
        }
        const char* const type = std::getenv("TERM");
        throw std::runtime_error("the panel cannot draw on a terminal of type \"" +
                                 std::string(type != nullptr ? type : "") +
                                 "\": set TERM to what the terminal is, as xterm-256color");
    }
    cbreak();
    noecho();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    set_escdelay(ESCAPE_DELAY);
    define_key("\033[4~", KEY_END);  // as some terminals have it, whatever they are called
    define_key("\033[1~", KEY_HOME);
    curs_set(0);
    if (has_colors()) {
        start_color();
        use_default_colors();
    }
    // A press and a release in one read come as a click.
    mousemask(BUTTON1_PRESSED | BUTTON1_RELEASED | BUTTON1_CLICKED | BUTTON1_DOUBLE_CLICKED |
                  BUTTON1_TRIPLE_CLICKED | BUTTON3_PRESSED | BUTTON3_CLICKED | BUTTON4_PRESSED |
                  BUTTON5_PRESSED | REPORT_MOUSE_POSITION,
              nullptr);
    mouseinterval(0);
    if (has_mouse()) {
        write_out(REPORT_DRAGS);
    }
    handle(ENDING, note_signal, 0);
    handle(CRASHING, restore_and_crash, static_cast<int>(SA_RESETHAND));
}

Terminal::~Terminal() {
    if (has_mouse()) {
        write_out(REPORT_NO_DRAGS);
    }
    endwin();
    handle(ENDING, SIG_DFL, 0);
    handle(CRASHING, SIG_DFL, 0);
}

int Terminal::rows() const {
    return LINES;
}

int Terminal::columns() const {
    return COLS;
}

void Terminal::begin() {
    erase();
}

void Terminal::end() {
    refresh();
}

void Terminal::redraw() {
    clearok(stdscr, TRUE);
}

void Terminal::text(int row, int column, int width, std::string_view text, const Ink& ink) {
    width = std::min(width, COLS - column);
    if (row < 0 || row >= LINES || column < 0 || width <= 0) {
        return;
    }
    std::string shown;
    int used = 0;
    for (const char c : text) {
        used += begins_character(c) ? 1 : 0;
        if (used > width) {
            break;
        }
        const bool control = static_cast<unsigned char>(c) < ' ' || c == 0x7F;
        shown += control ? ' ' : c;
    }
    shown.append(static_cast<std::size_t>(std::max(0, width - used)), ' ');
    attrset(attributes(ink));
    mvaddstr(row, column, shown.c_str());
    attrset(A_NORMAL);
}

bool Terminal::ending() {
    return signalled != 0;
}

}  // namespace bench
