// The terminal that the panel draws on. However the program ends, the terminal is left as it was.
#pragma once

#include <string>
#include <string_view>

namespace bench {

// Colours are those of a terminal with 256, brought down to what the real one has; -1: its own.
struct Ink {
    int foreground = -1;
    int background = -1;
    bool bold = false;
    bool reverse = false;
};

class Terminal {
  public:
    // Takes the terminal over. Throws std::runtime_error if standard output is none that can be
    // drawn on.
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    int rows() const;
    int columns() const;

    // Begins an empty picture, and shows it; only what differs from the last one is sent.
    void begin();
    void end();
    // Draws UTF-8 text, cut or filled with blanks to `width` columns. Rows and columns count from
    // 0; what lies outside is not drawn.
    void text(int row, int column, int width, std::string_view text, const Ink& ink = {});
    // Sends everything anew at the next end().
    void redraw();

    // A signal has asked the program to end.
    static bool ending();
};

}  // namespace bench
