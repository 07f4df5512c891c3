// The full-screen panel: a virtual controller that a person plays with keys and mouse.
#pragma once

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "controller/controller.h"
#include "panel/front.h"
#include "panel/line_edit.h"
#include "panel/monitor.h"
#include "panel/recorder.h"
#include "panel/terminal.h"
#include "port/ports.h"

namespace bench {

struct PanelConfig {
    WorldConfig world;
    bool own_resources = false;  // not those that `ctlbench play` takes by itself
    PortPlan ports;
};

class Panel {
  public:
    // Starts the bridge, then takes the terminal. Throws std::runtime_error if either cannot be
    // done.
    explicit Panel(const PanelConfig& config);
    // Runs until the user or a signal ends it; returns the exit status of the program.
    int run();

  private:
    using Clock = std::chrono::steady_clock;
    struct Key;
    struct Prompt;
    enum Pane { Wire, Log, Picture, BoardPane, PANE_COUNT };  // the last with a real board
    enum Question { AskStep, AskControl, AskFilter, QUESTION_COUNT };
    struct Later {
        Clock::time_point at;
        std::string step;
    };
    static constexpr const char* STARTING = "the bridge is still starting";
    static const Key KEYS[];
    static const Prompt PROMPTS[QUESTION_COUNT];

    // Starts the bridge with the files as they now are on disk.
    void start();
    bool work();
    void notice_events();
    void notice_end();
    void do_later();

    // Plays one step, in the words of a scenario. Nothing is sent if it is none that sends.
    void play(const std::string& step);
    void play_later(milliseconds delay, const std::string& step);
    void forget_later(const std::string& step);
    const Control& current() const { return controller_->mapping().at(front_.cursor()); }
    // The relative control that a turn moves: a platter's partner while a hand is on it.
    const Control& moved(const Control& control) const;
    const Control* touch_of(const Control& control) const;
    bool has_label(const Control& control) const;

    // What the keys do.
    void move(int direction);
    void step(int places) { front_.step(places); }
    void ask(int question);
    void tap(int);
    void hold(int);
    void turn(int amount);
    void set(int tenths);
    void touch(int);
    void rest(int);
    void light(int);
    void label(int);
    void identity(int);
    void next_pane(int);
    void show_in_log(Tone tone);
    void pause(int);
    void scroll(int pages);
    void filter_control(int);
    void record(int);
    void restart(int);
    void help(int);
    void turn_page(int pages);
    void redraw(int) { terminal_->redraw(); }
    void quit(int) { quit_ = true; }

    void key(int code);
    void command_key(int code);
    void help_key(int code);
    void prompt_key(int code);
    void mouse();
    void mouse_event(int row, int column, unsigned long state);
    void mouse_at(int index, int column, unsigned long state);
    void drag_to(int column);
    void put(const Control& pot, int position);
    void go_to_named(const std::string& name);
    void filter_by(const std::string& text) { filter_ = text; }
    std::vector<std::string> step_candidates() const;
    std::vector<std::string> name_candidates() const { return front_.names(); }
    std::vector<std::string> no_candidates() const { return {}; }

    void draw();
    void lay_out();
    void draw_front();
    void draw_title();
    void draw_pane(int pane, int row, int column, int height, int width);
    void draw_lines(const Scroll& lines, int row, int column, int height, int width);
    void draw_board(int row, int column, int height, int width);
    void draw_screen(int row, int column, int height, int width);
    void draw_help();
    void draw_last_line();
    void draw_prompt(int row);
    std::string counts(bool in_words) const;
    std::string hint() const;
    std::string state() const;
    std::string pane_title() const;
    Scroll* scroll_of_pane();
    static std::vector<std::string> rows_of(const MonitorLine& line, int width);
    int panes() const { return heard() == nullptr ? BoardPane : PANE_COUNT; }
    const Heard* heard() const { return ports_ ? ports_->heard() : nullptr; }
    bool is_wide() const;
    int pane_width() const;
    int most_front_rows() const;
    int front_rows() const;
    int pane_rows() const;
    bool fits() const;

    PanelConfig config_;
    WorldConfig started_;  // with the files as they were at the start
    std::unique_ptr<Controller> controller_;
    std::optional<Ports> ports_;
    std::string ports_state_;  // as it was shown last
    std::unique_ptr<Terminal> terminal_;
    Front front_;
    Monitor monitor_;
    Motions motions_{};
    std::array<int, CONTROL_COUNT> label_{};  // the last label change sent to each control's note
    std::size_t seen_ = 0;
    std::vector<Later> later_;
    std::vector<Played> played_;
    std::optional<int> held_by_mouse_, dragged_;
    std::string spinning_;  // the step that is played again and again

    int pane_ = Wire;
    std::optional<int> screen_top_;  // nothing: the first row that is not empty
    std::string filter_, message_;
    std::optional<int> asked_;
    std::array<LineEdit, QUESTION_COUNT> lines_;
    int findings_seen_ = 0;  // when v last showed them
    int help_page_ = 0;
    int lines_shown_ = 0;    // of the pane in front
    std::string recording_;  // name of the file while recording
    bool ready_ = false, ended_ = false, help_ = false, quit_ = false, changed_ = true;
};

}  // namespace bench
