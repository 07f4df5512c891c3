// How the panel looks.
#include <algorithm>
#include <iterator>
#include <utility>

#include "panel/panel.h"
#include "panel/text.h"

namespace bench {
namespace {

constexpr int FEWEST_COLUMNS = 80, FEWEST_ROWS = 24;
constexpr int ROOMY = 100;
constexpr int WIDE = ROOMY + SCREEN_COLUMNS + 1;  // room for the screen beside the front
constexpr int FRAME_ROWS = 4;                     // title, help line, head of the pane, last line
constexpr int FEWEST_PANE_ROWS = 6;
constexpr std::size_t WIRE_HEAD = 17;            // time and end
constexpr int WIRE_INDENT = 11, LOG_INDENT = 2;  // of lines that go on

constexpr const char* PANES[] = {"Wire", "Log", "Screen", "Board"};
constexpr Ink TITLE{231, 24, true}, HELP{252, 237}, HEAD{75}, QUESTION{220, -1, true},
    ALARM{231, 124, true};
constexpr Ink FROM_BOARD{114}, TO_BOARD{151}, FROM_HOST{180}, TO_HOST{222}, OTHER{245};
constexpr Ink FINDING{214, -1, true}, NOISE{242}, PLAIN{252};

constexpr Ink LOG_INKS[] = {PLAIN, NOISE, FINDING, ALARM};  // by tone

Ink ink_of(const MonitorLine& line) {
    switch (line.place) {
        case Place::Board:
            return line.to_daemon ? FROM_BOARD : TO_BOARD;
        case Place::Host:
            return line.to_daemon ? FROM_HOST : TO_HOST;
        case Place::World:
            return ALARM;
        case Place::Log:
            return LOG_INKS[static_cast<std::size_t>(line.tone)];
        default:
            return OTHER;
    }
}

}  // namespace

bool Panel::is_wide() const {
    return terminal_->columns() >= WIDE;
}

int Panel::pane_width() const {
    return terminal_->columns() - (is_wide() ? SCREEN_COLUMNS + 2 : 0);
}

bool Panel::fits() const {
    return terminal_->columns() >= FEWEST_COLUMNS && terminal_->rows() >= FEWEST_ROWS;
}

int Panel::pane_rows() const {
    return terminal_->rows() - front_rows() - FRAME_ROWS;
}

// About half of them; the screen beside the front gives it more.
int Panel::most_front_rows() const {
    return std::max(terminal_->rows() / 2 + 2, is_wide() ? SCREEN_ROWS + 1 : 0);
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
    if (!help_ || !fits()) {
        draw_last_line();
    }
    terminal.end();
}

std::string Panel::hint() const {
    const bool unseen = monitor_.findings.count() > findings_seen_;
    return unseen ? monitor_.findings.text() + ", v shows the log" : "";
}

void Panel::draw_last_line() {
    Terminal& terminal = *terminal_;
    const int row = terminal.rows() - 1, columns = terminal.columns();
    if (asked_) {
        draw_prompt(row);
    } else if (!message_.empty()) {
        terminal.text(row, 0, columns, message_, QUESTION);
    } else if (const std::string findings = hint(); !findings.empty()) {
        terminal.text(row, 0, columns, findings, FINDING);
    } else {
        terminal.text(row, 0, columns, "? keys   q end", OTHER);
    }
}

void Panel::lay_out() {
    const int aside = is_wide() ? SCREEN_COLUMNS + 1 : 0;
    front_.lay_out(controller_->mapping(), terminal_->columns() - aside, most_front_rows());
}

void Panel::draw_front() {
    Terminal& terminal = *terminal_;
    const int columns = terminal.columns();
    const int left = is_wide() ? columns - SCREEN_COLUMNS - 1 : columns;
    lay_out();
    const int front = front_rows(), pane = front + 2, height = pane_rows();
    draw_title();
    for (const Control& control : controller_->mapping().controls()) {
        motions_[static_cast<std::size_t>(control.index)].silent =
            heard() != nullptr && control.board_sends >= 0 && !heard()->has_spoken(control.index);
    }
    front_.draw(terminal, 1, front, *controller_, motions_);
    const bool said = asked_ && !message_.empty();  // about what is being typed
    terminal.text(front + 1, 0, columns, said ? message_ : front_.help(*controller_, columns),
                  said ? QUESTION : HELP);
    terminal.text(pane, 0, left, pane_title(), HEAD);
    if (is_wide()) {
        terminal.text(1, left, SCREEN_COLUMNS, "── Screen", HEAD);
        draw_pane(Picture, 2, left, front - 1, SCREEN_COLUMNS);
        terminal.text(pane, left, SCREEN_COLUMNS, "── Log", HEAD);
        draw_pane(Log, pane + 1, left, height, SCREEN_COLUMNS);
    }
    draw_pane(pane_, pane + 1, 0, height, pane_width());
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

std::string Panel::counts(bool in_words) const {
    static constexpr const char* TRAFFIC[] = {"  ", "▼ ", "▲ ", "▲▼"};
    const auto rate = [&](End end, bool to_daemon) {
        return std::to_string(monitor_.counters.rate(end, to_daemon, controller_->now()));
    };
    return std::string(TRAFFIC[controller_->board().traffic() & 3]) + "  board " +
           rate(End::Board, true) + "→" + rate(End::Host, false) + (in_words ? " host/s  " : "  ") +
           "host " + rate(End::Host, true) + "→" + rate(End::Board, false) +
           (in_words ? " board/s" : "") + "  dropped " +
           std::to_string(monitor_.counters.dropped()) + (in_words ? " B" : "") + "  merged " +
           std::to_string(monitor_.counters.merged()) + " ";
}

void Panel::draw_title() {
    std::string title = " ctlbridge";
    for (const std::string& option : config_.world.options) {
        title += " " + option;
    }
    title += "  " + state() + (ports_state_.empty() ? "" : "  " + ports_state_) +
             (recording_.empty() ? "" : "  ● REC");
    const int columns = terminal_->columns();
    terminal_->text(0, 0, columns, title, ended_ ? ALARM : TITLE);
    for (const bool in_words : {true, false}) {
        const std::string text = counts(in_words);
        if (const int width = text_width(text); text_width(title) + 1 + width <= columns) {
            terminal_->text(0, columns - width, width, text, TITLE);
            break;
        }
    }
}

std::string Panel::pane_title() const {
    std::string title = "── ";
    for (int i = 0; i < panes(); ++i) {
        title += std::string(i == pane_ ? "[" : " ") + PANES[i] + (i == pane_ ? "]" : " ") + " ";
    }
    const Scroll& lines = pane_ == Log ? monitor_.log : monitor_.wire;
    title += pane_ < Picture && !lines.following() ? "  paused" : "";
    return title + (filter_.empty() ? "" : "  only " + filter_);
}

void Panel::draw_pane(int pane, int row, int column, int height, int width) {
    if (pane == Picture) {
        draw_screen(row, column, height, width);
    } else if (pane == BoardPane) {
        draw_board(row, column, height, width);
    } else {
        draw_lines(pane == Wire ? monitor_.wire : monitor_.log, row, column, height, width);
    }
}

// A line broken to the width; without the columns that line up in more room.
std::vector<std::string> Panel::rows_of(const MonitorLine& line, int width) {
    if (line.place == Place::Log) {
        return wrapped(line.text, width, LOG_INDENT);
    }
    return wrapped(width < ROOMY ? tightened(line.text, WIRE_HEAD) : line.text, width, WIRE_INDENT);
}

void Panel::draw_lines(const Scroll& lines, int row, int column, int height, int width) {
    const std::vector<const MonitorLine*> seen =
        lines.view(height, &lines == &monitor_.wire ? filter_ : "");
    std::vector<std::pair<std::string, Ink>> rows;
    auto line = seen.rbegin();
    for (; line != seen.rend(); ++line) {
        std::vector<std::string> parts = rows_of(**line, width);
        if (static_cast<int>(rows.size() + parts.size()) > height) {
            break;
        }
        std::for_each(parts.rbegin(), parts.rend(), [&](std::string& part) {
            rows.emplace_back(std::move(part), ink_of(**line));
        });
    }
    lines_shown_ = static_cast<int>(line - seen.rbegin());
    for (auto part = rows.rbegin(); part != rows.rend(); ++part) {
        terminal_->text(row++, column, width, part->first, part->second);
    }
}

void Panel::draw_board(int row, int column, int height, int width) {
    const int end = row + height;
    for (const std::string& line : heard()->lines(controller_->mapping())) {
        const Ink ink = line.starts_with(Heard::UNKNOWN) ? FINDING : PLAIN;
        for (const std::string& part : wrapped(line, width, LOG_INDENT)) {
            if (row < end) {
                terminal_->text(row++, column, width, part, ink);
            }
        }
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
