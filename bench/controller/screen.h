// The controller's screen: a text console of 60 by 17 character cells, emulated from what is
// written to /dev/tty0.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "controller/midi_text.h"

namespace bench {

constexpr int SCREEN_ROWS = 17;
constexpr int SCREEN_COLUMNS = 60;

// One character cell. Colours are the console's: 0 to 7 (black, red, green, yellow, blue, magenta,
// cyan, white), 8 to 15 the bright ones.
struct Cell {
    std::string text;    // UTF-8, a blank if nothing was written
    int foreground = 7;  // the console's own
    int background = 0;
    bool reverse = false;
    bool operator==(const Cell&) const = default;
};

class Screen {
  public:
    static constexpr int CELL_WIDTH = 8;  // pixels
    static constexpr int CELL_HEIGHT = 16;

    Screen();
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    // Takes what was written to the console.
    void write(const Bytes& bytes);

    // Rows and columns count from 1, as on the console.
    Cell at(int row, int column) const;
    // The texts of so many cells; all of the row without a length, blanks at its end cut.
    std::string text(int row, int column, int length) const;
    std::string text(int row) const;

    // "bright red on black": a cell's colours in words.
    static std::string colors(const Cell& cell);
    // True for words that colors() may return.
    static bool are_colors(const std::string& words);

    // Its text's and its background's colour as pixels of five bits of red, six of green and five
    // of blue.
    static std::pair<int, int> pixel_colors(const Cell& cell);

  private:
    struct Emulator;
    std::unique_ptr<Emulator> emulator_;
};

}  // namespace bench
