// What draws: the front, the panes below it, the title, the last line and the page of keys.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "panel/front.h"
#include "panel/line_edit.h"
#include "panel/monitor.h"
#include "panel/player.h"
#include "panel/terminal.h"

namespace bench {

constexpr int FEWEST_COLUMNS = 80, FEWEST_ROWS = 24;
constexpr int ROOMY = 100;
constexpr int WIDE = ROOMY + SCREEN_COLUMNS + 1;  // room for the screen beside the front
constexpr int FRAME_ROWS = 4;                     // title, help line, head of the pane, last line
constexpr int FEWEST_PANE_ROWS = 6;

// What is asked on the last line.
struct Prompt {
    const char* question;
    LineEdit line = {};
};

class View {
  public:
    // Takes the terminal. Throws std::runtime_error if that cannot be done.
    explicit View(Player& player);

    // After a start: its controls, and what is found in its files.
    void begin();
    // Takes what has happened since the last time. Returns whether there was anything.
    bool take_events();
    void draw();
    void redraw() { terminal_.redraw(); }

    // There is room for all of it.
    bool fits() const {
        return terminal_.columns() >= FEWEST_COLUMNS && terminal_.rows() >= FEWEST_ROWS;
    }
    // A place of the terminal that is below the front.
    bool is_in_pane(int row) const { return row > front_rows(); }
    const Control& current() const { return player_.bridge()->mapping().at(front.cursor()); }

    // First to findings that nobody has looked at, then round.
    void next_pane();
    void pause();
    void scroll(int pages);
    void newest();  // in every pane

    using Rows = std::vector<std::pair<std::string, std::string>>;

    Front front;
    std::string filter;              // of the wire's lines
    const Prompt* prompt = nullptr;  // what is being asked
    const Rows* help = nullptr;      // the page of keys is shown
    int help_page = 0;

  private:
    enum Pane { Wire, Log, Found, Picture, Board, PANE_COUNT };  // the last with a real board

    void lay_out();
    void draw_bridge();
    void draw_title();
    void draw_help();
    void draw_prompt(int row);
    void draw_last_line();
    void draw_pane(int pane, int row, int column, int height, int width);
    void draw_board(int row, int column, int height, int width);
    void draw_screen(int row, int column, int height, int width);
    std::string pane_title();
    int panes() const { return player_.heard() == nullptr ? Board : PANE_COUNT; }
    bool is_wide() const { return terminal_.columns() >= WIDE; }
    int front_rows() const;
    int pane_rows() const { return terminal_.rows() - front_rows() - FRAME_ROWS; }
    Scroll& lines(int pane);

    Player& player_;
    Terminal terminal_;
    Monitor monitor_;
    std::string found_;  // "1 error, 2 warnings" that nobody has looked at
    bool ended_ = false;
    int pane_;
    std::optional<int> screen_top_;  // nothing: the first row that is not empty
    int lines_shown_ = 0;            // of the pane in front
};

}  // namespace bench
