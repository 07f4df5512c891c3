#include "panel/view.h"

#include <algorithm>
#include <utility>

#include "panel/room.h"

namespace bench {
namespace {

constexpr std::size_t WIRE_HEAD = 17;  // time and end

constexpr const char* PANES[] = {"Wire", "Log", "Findings", "Screen", "Board"};
constexpr int INDENTS[] = {11, 2, 2};  // of lines that go on
constexpr Ink TITLE{231, 24, true}, HELP{252, 237}, HEAD{75}, NAME{220, -1, true},
    ALARM{231, 124, true}, HINT{245};
constexpr Ink FINDINGS[] = {{252}, {214, -1, true}, {203, -1, true}};  // by severity
constexpr const char* SEVERITIES[] = {"note", "warning", "error"};

std::string counted(int count, const std::string& what) {
    return count == 0 ? "" : std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

View::View(Player& player) : player_(player), pane_(player.heard() == nullptr ? Wire : Board) {
    begin();
}

void View::begin() {
    monitor_ = Monitor();
    ended_ = false;
    if (player_.bridge() == nullptr) {
        return;
    }
    std::vector<Finding> findings = findings_of(player_.config().world.resources);
    front.take(player_.bridge()->mapping(), findings);
    // The worst are the newest lines of the pane.
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding& a, const Finding& b) { return a.severity < b.severity; });
    int counts[std::size(SEVERITIES)]{};
    for (const Finding& one : findings) {
        const auto severity = static_cast<std::size_t>(one.severity);
        ++counts[severity];
        monitor_.findings.add(
            {one.where() + ": " + SEVERITIES[severity] + ": " + one.text + " [" + one.rule + "]",
             FINDINGS[severity]});
    }
    found_ = joined({counted(counts[2], SEVERITIES[2]), counted(counts[1], SEVERITIES[1])},
                    FEWEST_COLUMNS);
    lay_out();
}

// Opens the log where it says why the bridge ended.
bool View::take_events() {
    if (player_.bridge() == nullptr) {
        return false;
    }
    const bool some = monitor_.take(*player_.bridge());
    if (!ended_ && player_.has_ended()) {
        ended_ = true;
        help = nullptr;
        pane_ = Log;
        newest();
    }
    return some;
}

// --- Panes ---

Scroll& View::lines(int pane) {
    Scroll* const scrolls[] = {&monitor_.wire, &monitor_.log, &monitor_.findings};
    return *scrolls[pane];
}

void View::next_pane() {
    pane_ = found_.empty() ? (pane_ + 1) % panes() : static_cast<int>(Found);
    found_.clear();
}

void View::pause() {
    if (pane_ < Picture) {
        lines(pane_).following() ? lines(pane_).stay() : lines(pane_).follow();
    }
}

void View::newest() {
    for (const int pane : {Wire, Log, Found}) {
        lines(pane).follow();
    }
    screen_top_.reset();
}

void View::scroll(int pages) {
    const int height = pane_rows();
    if (pane_ < Picture) {
        lines(pane_).back(pages * std::max(1, lines_shown_ - 1), pane_ == Wire ? filter : "");
    } else if (pane_ == Picture) {
        screen_top_ = std::clamp(screen_top_.value_or(0) - pages * (height / 2), 0,
                                 std::max(0, SCREEN_ROWS - height));
    }
}

// --- Room ---

int View::front_rows() const {
    const int wanted = std::max(front.height(), is_wide() ? SCREEN_ROWS + 1 : 0);
    return std::min(wanted, terminal_.rows() - FRAME_ROWS - FEWEST_PANE_ROWS);
}

// About half of the rows are the front's; the screen beside it gives it more.
void View::lay_out() {
    const int most = std::max(terminal_.rows() / 2 + 2, is_wide() ? SCREEN_ROWS + 1 : 0);
    const int aside = is_wide() ? SCREEN_COLUMNS + 1 : 0;
    front.lay_out(player_.bridge()->mapping(), terminal_.columns() - aside, most);
}

// --- Drawing ---

void View::draw() {
    terminal_.begin();
    const int rows = terminal_.rows(), columns = terminal_.columns();
    if (!fits()) {
        const auto room = [](int width, int height) {
            return std::to_string(width) + " columns and " + std::to_string(height) + " rows";
        };
        int row = 0;
        for (const std::string& line :
             wrapped("The panel needs " + room(FEWEST_COLUMNS, FEWEST_ROWS) + "; there are " +
                         room(columns, rows) + ". The bridge goes on; q ends it.",
                     columns, 0)) {
            terminal_.text(row++, 0, columns, line);
        }
    } else if (help != nullptr) {
        draw_help();
    } else if (player_.bridge() != nullptr) {
        draw_bridge();
    }
    if (help == nullptr || !fits()) {
        draw_last_line();
    }
    terminal_.end();
}

void View::draw_last_line() {
    const int row = terminal_.rows() - 1, columns = terminal_.columns();
    if (prompt != nullptr) {
        draw_prompt(row);
    } else if (!player_.message.empty()) {
        terminal_.text(row, 0, columns, player_.message, NAME);
    } else if (!found_.empty()) {
        terminal_.text(row, 0, columns, found_ + " in the files, v shows them", FINDINGS[1]);
    } else {
        terminal_.text(row, 0, columns, "? keys   q end", HINT);
    }
}

void View::draw_prompt(int row) {
    const LineEdit& line = prompt->line;
    const int start = text_width(prompt->question);
    const int room = std::max(1, terminal_.columns() - start);
    const int scrolled = std::max(0, line.cursor() - room + 1);
    const std::string shown = (line.text() + " ").substr(static_cast<std::size_t>(scrolled));
    const auto cursor = static_cast<std::size_t>(line.cursor() - scrolled);
    terminal_.text(row, 0, start + room, prompt->question + shown, NAME);
    terminal_.text(row, start + static_cast<int>(cursor), 1, shown.substr(cursor, 1),
                   {NAME.foreground, NAME.background, true, true});
}

void View::draw_help() {
    constexpr int NAME_WIDTH = 23, INDENT = 1;
    const int room = terminal_.columns() - NAME_WIDTH - INDENT;
    Rows rows;
    for (const auto& [name, text] : *help) {
        std::string first = name;
        for (const std::string& line : wrapped(text, room, 0)) {
            rows.emplace_back(std::exchange(first, ""), line);
        }
    }
    const int height = terminal_.rows() - 2, count = static_cast<int>(rows.size());
    const int pages = (count + height - 1) / height;
    help_page = std::clamp(help_page, 0, pages - 1);
    const std::string page = "   page " + std::to_string(help_page + 1) + " of " +
                             std::to_string(pages) + ", Space for the next";
    terminal_.text(0, 0, terminal_.columns(),
                   " Keys, mouse, signs" + (pages > 1 ? page : "") + "   q goes back", TITLE);
    rows.erase(rows.begin(), rows.begin() + std::ptrdiff_t{help_page} * height);
    rows.resize(std::min(rows.size(), static_cast<std::size_t>(height)));
    int row = 0;
    for (const auto& [name, text] : rows) {
        terminal_.text(++row, INDENT, NAME_WIDTH, name, NAME);
        terminal_.text(row, INDENT + NAME_WIDTH, room, text);
    }
}

void View::draw_bridge() {
    const int columns = terminal_.columns();
    const int left = is_wide() ? columns - SCREEN_COLUMNS - 1 : columns;
    lay_out();
    const int front_height = front_rows(), pane = front_height + 2, height = pane_rows();
    draw_title();
    for (const Control& control : player_.bridge()->mapping().controls()) {
        monitor_.motions[static_cast<std::size_t>(control.index)].silent =
            player_.heard() != nullptr && control.board_sends >= 0 &&
            !player_.heard()->has_spoken(control.index);
    }
    front.draw(terminal_, 1, front_height, *player_.bridge(), monitor_.motions);
    const bool said = prompt != nullptr && !player_.message.empty();  // about what is being typed
    terminal_.text(pane - 1, 0, columns,
                   said ? player_.message : front.help(player_.bridge()->mapping(), columns),
                   said ? NAME : HELP);
    terminal_.text(pane, 0, left, pane_title(), HEAD);
    if (is_wide()) {
        terminal_.text(1, left, SCREEN_COLUMNS, "── Screen", HEAD);
        draw_pane(Picture, 2, left, front_height - 1, SCREEN_COLUMNS);
        terminal_.text(pane, left, SCREEN_COLUMNS, "── Log", HEAD);
        draw_pane(Log, pane + 1, left, height, SCREEN_COLUMNS);
    }
    draw_pane(pane_, pane + 1, 0, height, is_wide() ? left - 1 : columns);
}

void View::draw_title() {
    static constexpr const char* TRAFFIC[] = {"", " ▼", "▲", "▲▼"};
    std::string title = " ctlbridge";
    for (const std::string& option : player_.config().world.options) {
        title += " " + option;
    }
    const std::string ports = player_.ports_state();
    title += "  " + player_.state() + (ports.empty() ? "" : "  " + ports) +
             (player_.records() ? "  ● REC" : "");
    const int columns = terminal_.columns();
    terminal_.text(0, 0, columns, title, ended_ ? ALARM : TITLE);
    terminal_.text(0, columns - 3, 3, TRAFFIC[player_.bridge()->board().traffic() & 3], TITLE);
}

std::string View::pane_title() {
    std::string title = "── ";
    for (int i = 0; i < panes(); ++i) {
        title += std::string(i == pane_ ? "[" : " ") + PANES[i] + (i == pane_ ? "]" : " ") + " ";
    }
    const bool live = pane_ >= Picture || lines(pane_).following();
    return title + (live ? "" : "  paused") + (filter.empty() ? "" : "  only " + filter);
}

// Lines broken to the width; without the columns that line up in more room.
void View::draw_pane(int pane, int row, int column, int height, int width) {
    if (pane >= Picture) {
        pane == Picture ? draw_screen(row, column, height, width)
                        : draw_board(row, column, height, width);
        return;
    }
    const std::vector<const MonitorLine*> seen =
        lines(pane).view(height, pane == Wire ? filter : "");
    std::vector<std::pair<std::string, Ink>> rows;
    auto line = seen.rbegin();
    for (; line != seen.rend(); ++line) {
        const bool tight = pane == Wire && width < ROOMY;
        std::vector<std::string> parts = wrapped(
            tight ? tightened((*line)->text, WIRE_HEAD) : (*line)->text, width, INDENTS[pane]);
        if (static_cast<int>(rows.size() + parts.size()) > height) {
            break;
        }
        std::for_each(parts.rbegin(), parts.rend(),
                      [&](std::string& part) { rows.emplace_back(std::move(part), (*line)->ink); });
    }
    lines_shown_ = static_cast<int>(line - seen.rbegin());
    for (auto part = rows.rbegin(); part != rows.rend(); ++part) {
        terminal_.text(row++, column, width, part->first, part->second);
    }
}

void View::draw_board(int row, int column, int height, int width) {
    const int end = row + height;
    for (const std::string& line : player_.heard()->lines(player_.bridge()->mapping())) {
        const bool known = !line.starts_with(Heard::UNKNOWN);
        for (const std::string& part : wrapped(line, width, INDENTS[Log])) {
            if (row < end) {
                terminal_.text(row++, column, width, part, FINDINGS[known ? 0 : 1]);
            }
        }
    }
}

void View::draw_screen(int row, int column, int height, int width) {
    const Screen& screen = player_.bridge()->screen();
    const int indent = std::min(width - SCREEN_COLUMNS, 2);
    int top = screen_top_.value_or(0);
    while (!screen_top_ && top < SCREEN_ROWS && screen.text(top + 1).empty()) {
        ++top;
    }
    top = std::clamp(top, 0, std::max(0, SCREEN_ROWS - height));
    for (int i = 0; i < std::min(height, SCREEN_ROWS); ++i) {
        for (int x = 0; x < SCREEN_COLUMNS; ++x) {
            const Cell cell = screen.at(top + i + 1, x + 1);
            terminal_.text(row + i, column + indent + x, 1, cell.text,
                           {cell.foreground, cell.background, false, cell.reverse});
        }
    }
}

}  // namespace bench
