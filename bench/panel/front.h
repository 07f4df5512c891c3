// The controls as the panel shows them: where each stands, which one the cursor is on, how it
// looks.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "controller/controller.h"
#include "panel/findings.h"
#include "panel/monitor.h"
#include "panel/room.h"
#include "panel/terminal.h"

namespace bench {

class Front {
  public:
    // Takes the controls of a start, and marks those with findings that are more than notes. One
    // whose line is gone keeps the name that it had.
    void take(const Mapping& mapping, const std::vector<Finding>& findings);
    // Lays them out by their names, in so many rows if it can be: _A left, _B right, others and the
    // unmapped ones between.
    void lay_out(const Mapping& mapping, int width, int rows);
    // Rows that it takes to show all, the headings' row included.
    int height() const { return layout_.rows + 1; }

    int cursor() const { return cursor_; }
    void put_cursor(int index) { cursor_ = index; }
    // To the nearest control that way, or so many on in reading order.
    void move(int columns, int rows);
    void step(int places);
    // The control that is shown under this name, or under one that begins so.
    std::optional<int> find(const std::string& name) const;
    std::vector<std::string> names() const;

    // The control at a place; and how far along a control's cell a column is, 0 to 127.
    std::optional<int> at(int row, int column) const;
    int along(int index, int column) const;

    // Draws into rows `top` to `top + rows`, scrolled so that the cursor's control is seen.
    void draw(Terminal& terminal, int top, int rows, Controller& controller,
              const Motions& motions);
    // "PLAY_A   index 21   board note 1   host note 60 ...": the control under the cursor as the
    // mapping has it, as far as there is room.
    std::string help(const Mapping& mapping, int width) const;

  private:
    struct Place {
        int index, row, column, width;
    };
    // What the panel tells of a control beyond its line in the mapping.
    struct Known {
        std::string name;
        bool lost = false;                   // a line is missing that there was
        std::string finding = {};            // "FILE:LINE" of the worst one
        Severity severity = Severity::Note;  // of that one
    };
    struct Look;
    // How a control is called in its cell.
    std::string label(int index) const;
    const Place* place(int index) const;
    const Known& known(int index) const { return known_[static_cast<std::size_t>(index)]; }
    void draw_control(Terminal& terminal, const Place& place, int row, Controller& controller,
                      const Motion& motion) const;
    Look look_of(Controller& controller, const Control& control, int width,
                 const Motion& motion) const;

    std::array<Known, CONTROL_COUNT> known_;
    std::vector<Place> places_;
    Layout layout_;
    int cursor_ = 0;
    int top_ = 0, scrolled_ = 0, rows_ = 0;
};

}  // namespace bench
