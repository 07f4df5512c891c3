// How the panel looks.
#include <algorithm>
#include <iterator>

#include "panel/panel.h"

namespace bench {
namespace {

constexpr int FEWEST_COLUMNS = 100, FEWEST_ROWS = 30;
constexpr int WIDE = FEWEST_COLUMNS + SCREEN_COLUMNS + 1;  // room for the screen beside the front
constexpr int FRAME_ROWS = 4;  // title, help line, head of the pane, last line
constexpr int FEWEST_PANE_ROWS = 8;

constexpr const char* PANES[] = {"Wire", "Log", "Screen"};
constexpr Ink TITLE{231, 24, true}, HELP{252, 237}, HEAD{75}, QUESTION{220, -1, true},
    ALARM{231, 124, true};
constexpr Ink FROM_BOARD{114}, TO_BOARD{151}, FROM_HOST{180}, TO_HOST{222}, OTHER{245};

Ink ink_of(const MonitorLine& line) {
    switch (line.place) {
        case Place::Board:
            return line.to_daemon ? FROM_BOARD : TO_BOARD;
        case Place::Host:
            return line.to_daemon ? FROM_HOST : TO_HOST;
        case Place::World:
            return ALARM;
        default:
            return OTHER;
    }
}

}  // namespace

bool Panel::is_wide() const {
    return terminal_->columns() >= WIDE;
}

bool Panel::fits() const {
    return terminal_->columns() >= FEWEST_COLUMNS && terminal_->rows() >= FEWEST_ROWS;
}

int Panel::pane_rows() const {
    return terminal_->rows() - front_rows() - FRAME_ROWS;
}

int Panel::front_rows() const {
    const int wanted = std::max(front_.height(), is_wide() ? SCREEN_ROWS + 1 : 0);
    return std::min(wanted, terminal_->rows() - FRAME_ROWS - FEWEST_PANE_ROWS);
}

void Panel::draw() {
    Terminal& terminal = *terminal_;
    terminal.begin();
    const int rows = terminal.rows(), columns = terminal.columns();
    if (!fits()) {
        terminal.text(0, 0, columns,
                      "The panel needs " + std::to_string(FEWEST_COLUMNS) + " columns and " +
                          std::to_string(FEWEST_ROWS) + " rows.");
        terminal.text(1, 0, columns,
                      "There are " + std::to_string(columns) + " and " + std::to_string(rows) +
                          ": please make the window larger.");
        terminal.text(2, 0, columns, "The bridge goes on; q ends it.");
    } else if (help_) {
        draw_help();
    } else if (controller_ != nullptr) {
        draw_front();
    }
    const std::string last = question_.empty() ? message_ : question_ + typed_ + "█";
    terminal.text(rows - 1, 0, columns, last.empty() ? "? keys   q end" : last,
                  last.empty() ? OTHER : QUESTION);
    terminal.end();
}

void Panel::draw_front() {
    Terminal& terminal = *terminal_;
    const int columns = terminal.columns();
    const int left = is_wide() ? columns - SCREEN_COLUMNS - 1 : columns;
    front_.lay_out(controller_->mapping(), left);
    const int front = front_rows(), pane = front + 2, height = pane_rows();
    draw_title();
    front_.draw(terminal, 1, front, *controller_, travel_);
    terminal.text(front + 1, 0, columns, control_help(current()), HELP);
    terminal.text(pane, 0, left, pane_title(), HEAD);
    draw_pane(pane_, pane + 1, 0, height, left - (is_wide() ? 1 : 0));
    if (is_wide()) {
        terminal.text(1, left, SCREEN_COLUMNS, "── Screen", HEAD);
        draw_pane(Picture, 2, left, front - 1, SCREEN_COLUMNS);
        terminal.text(pane, left, SCREEN_COLUMNS, "── Log", HEAD);
        draw_pane(Log, pane + 1, left, height, SCREEN_COLUMNS);
    }
}

std::string Panel::state() const {
    if (const std::optional<int> status = controller_->exit_status()) {
        return "ended with status " + std::to_string(*status) + ", R restarts";
    }
    const int channel = controller_->setup().channel;
    if (!ready_) {
        return "starting";
    }
    return channel < 0 ? "no channel" : "ch " + std::to_string(channel + 1);
}

void Panel::draw_title() {
    static constexpr const char* TRAFFIC[] = {"  ", "▼ ", "▲ ", "▲▼"};
    const auto rate = [&](End end, bool to_daemon) {
        return std::to_string(monitor_.counters.rate(end, to_daemon, controller_->now()));
    };
    std::string title = " ctlbridge";
    for (const std::string& option : config_.world.options) {
        title += " " + option;
    }
    title += "  " + state() + (recording_.empty() ? "" : "  ● REC");
    const std::string counts = std::string(TRAFFIC[controller_->board().traffic() & 3]) +
                               "  board " + rate(End::Board, true) + "→" + rate(End::Host, false) +
                               " host/s  host " + rate(End::Host, true) + "→" +
                               rate(End::Board, false) + " board/s  dropped " +
                               std::to_string(monitor_.counters.dropped()) + " B  merged " +
                               std::to_string(monitor_.counters.merged()) + " ";
    const int columns = terminal_->columns(), width = text_width(counts);
    terminal_->text(0, 0, columns - width, title, controller_->exit_status() ? ALARM : TITLE);
    terminal_->text(0, columns - width, width, counts, TITLE);
}

std::string Panel::pane_title() const {
    std::string title = "── ";
    for (int i = 0; i < static_cast<int>(std::size(PANES)); ++i) {
        title += std::string(i == pane_ ? "[" : " ") + PANES[i] + (i == pane_ ? "]" : " ") + " ";
    }
    const Scroll& lines = pane_ == Log ? monitor_.log : monitor_.wire;
    title += pane_ != Picture && !lines.following() ? "  paused" : "";
    return title + (filter_.empty() ? "" : "  only " + filter_);
}

void Panel::draw_pane(int pane, int row, int column, int height, int width) {
    if (pane == Picture) {
        draw_screen(row, column, height, width);
    } else {
        draw_lines(pane == Wire ? monitor_.wire : monitor_.log, row, column, height, width);
    }
}

void Panel::draw_lines(const Scroll& lines, int row, int column, int height, int width) {
    const std::string& filter = &lines == &monitor_.wire ? filter_ : std::string();
    for (const MonitorLine* line : lines.view(height, filter)) {
        terminal_->text(row++, column, width, line->text, ink_of(*line));
    }
}

void Panel::draw_screen(int row, int column, int height, int width) {
    constexpr int FOREGROUND = 7, BACKGROUND = 0;
    if (controller_ == nullptr) {
        return;
    }
    const Screen& screen = controller_->screen();
    const int indent = std::min(width - SCREEN_COLUMNS, 2);
    int top = screen_top_.value_or(0);
    while (!screen_top_ && top < SCREEN_ROWS && screen.text(top + 1).empty()) {
        ++top;
    }
    top = std::clamp(top, 0, std::max(0, SCREEN_ROWS - height));
    for (int i = 0; i < std::min(height, SCREEN_ROWS); ++i) {
        for (int x = 0; x < SCREEN_COLUMNS; ++x) {
            const Cell cell = screen.at(top + i + 1, x + 1);
            terminal_->text(
                row + i, column + indent + x, 1, cell.text,
                {cell.foreground < 0 ? FOREGROUND : cell.foreground,
                 cell.background < 0 ? BACKGROUND : cell.background, false, cell.reverse});
        }
    }
}

}  // namespace bench
