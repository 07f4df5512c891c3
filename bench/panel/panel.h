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
#include "panel/monitor.h"
#include "panel/recorder.h"
#include "panel/terminal.h"

namespace bench {

struct PanelConfig {
    WorldConfig world;
    bool own_resources = false;  // not those that `ctlbench play` takes by itself
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
    enum Pane { Wire, Log, Picture, PANE_COUNT };
    struct Later {
        Clock::time_point at;
        std::string step;
    };
    static const Key KEYS[];

    // Starts the bridge with the files as they now are on disk.
    void start();
    bool work();
    void notice_events();
    void do_later();

    // Plays one step, in the words of a scenario. Nothing is sent if it is none that sends.
    void play(const std::string& step);
    void play_later(milliseconds delay, const std::string& step);
    void forget_later(const std::string& step);
    const Control& current() const { return controller_->mapping().at(front_.cursor()); }
    // The relative control that a turn moves: a platter's partner while a hand is on it.
    const Control& moved(const Control& control) const;
    const Control* touch_of(const Control& control) const;

    // What the keys do.
    void move_across(int columns) { front_.move(columns, 0); }
    void move_along(int rows) { front_.move(0, rows); }
    void step(int places) { front_.step(places); }
    void go_to(int);
    void tap(int);
    void hold(int);
    void turn(int amount);
    void set(int tenths);
    void touch(int);
    void rest(int);
    void light(int);
    void label(int);
    void identity(int);
    void type_step(int);
    void next_pane(int);
    void pause(int);
    void scroll(int pages);
    void filter_control(int);
    void filter_text(int);
    void record(int);
    void restart(int);
    void help(int);
    void redraw(int) { terminal_->redraw(); }
    void quit(int) { quit_ = true; }

    void key(int code);
    void command_key(int code);
    void prompt_key(int code);
    void mouse();
    void prompt(const std::string& question, void (Panel::*answered)(const std::string&));
    void go_to_named(const std::string& name);
    void filter_by(const std::string& text) { filter_ = text; }

    void draw();
    void draw_front();
    void draw_title();
    void draw_pane(int pane, int row, int column, int height, int width);
    void draw_lines(const Scroll& lines, int row, int column, int height, int width);
    void draw_screen(int row, int column, int height, int width);
    void draw_help();
    std::string state() const;
    std::string pane_title() const;
    Scroll* scroll_of_pane();
    bool is_wide() const;
    int front_rows() const;
    int pane_rows() const;
    bool fits() const;

    PanelConfig config_;
    WorldConfig started_;  // with the files as they were at the start
    std::unique_ptr<Controller> controller_;
    std::unique_ptr<Terminal> terminal_;
    Front front_;
    Monitor monitor_;
    std::array<int, CONTROL_COUNT> travel_{};
    std::array<int, CONTROL_COUNT> label_{};  // the last label change sent to each control's note
    std::size_t seen_ = 0;
    std::vector<Later> later_;
    std::vector<Played> played_;
    std::optional<int> held_by_mouse_;
    std::string spinning_;  // the step that is played again and again

    int pane_ = Wire;
    std::optional<int> screen_top_;  // nothing: the first row that is not empty
    std::string filter_, message_, typed_, question_;
    void (Panel::*answered_)(const std::string&) = nullptr;
    std::string recording_;  // name of the file while recording
    bool ready_ = false, help_ = false, quit_ = false, changed_ = true;
};

}  // namespace bench
