// The controls as the panel shows them: where each stands, which one the cursor is on, how it
// looks.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "controller/controller.h"
#include "panel/terminal.h"

namespace bench {

class Front {
  public:
    // Lays the controls out by their names: _A left, _B right, others and the unmapped ones where
    // there is room.
    void lay_out(const Mapping& mapping, int width);
    // Rows that it takes to show all, the headings' row included.
    int height() const { return height_; }

    int cursor() const { return cursor_; }
    void put_cursor(int index) { cursor_ = index; }
    // To the nearest control that way, or so many on in reading order.
    void move(int columns, int rows);
    void step(int places);

    // The control at a place, and how far along its cell, 0 to 127.
    struct Spot {
        int index;
        int along;
    };
    std::optional<Spot> at(int row, int column) const;

    // Draws into rows `top` to `top + rows`, scrolled so that the cursor's control is seen.
    // `travel`: how far each relative control was moved, by configuration index.
    void draw(Terminal& terminal, int top, int rows, Controller& controller,
              const std::array<int, CONTROL_COUNT>& travel);

  private:
    struct Place {
        int index, row, column, width;
    };
    const Place* place(int index) const;

    std::vector<Place> places_;
    std::array<int, 4> borders_{};  // columns between which the three sections stand
    int height_ = 1;
    int cursor_ = 0;
    int top_ = 0, scrolled_ = 0, rows_ = 0;
};

// "PLAY_A   index 21   board 1   host 60   ...": a control as the mapping has it.
std::string control_help(const Control& control);

}  // namespace bench
