// What plays: the bridge, its ports, and the steps that keys, mouse and typed lines stand for.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "controller/controller.h"
#include "panel/recorder.h"
#include "port/ports.h"
#include "scenario/step.h"

namespace bench {

struct PanelConfig {
    WorldConfig world;
    bool own_resources = false;  // not those that `ctlbench play` takes by itself
    PortPlan ports;
};

class Player {
  public:
    static constexpr const char* STARTING = "the bridge is still starting";

    // Connects the ports and starts the bridge. Throws std::runtime_error if it cannot be done.
    explicit Player(const PanelConfig& config);
    // Writes what was recorded, and says so.
    ~Player();

    // Starts the bridge with the files as they now are on disk; what was recorded is written.
    // Throws std::runtime_error: there is no bridge then.
    void start();
    // Moves bytes all ways, and plays what is due; waits for a moment if there is nothing to do.
    void step();

    const PanelConfig& config() const { return config_; }
    Controller* bridge() const { return bridge_.get(); }  // null: none could be started
    bool is_ready() const { return is_ready_; }           // the bridge has opened its lines
    bool has_ended() const { return bridge_ != nullptr && bridge_->exit_status().has_value(); }
    bool records() const { return !recording_.empty(); }
    // "starting the bridge, 3 s", "ch 1"; of the ports, as they say it.
    std::string state() const;
    std::string ports_state() const { return ports_ ? ports_->state() : ""; }
    const Heard* heard() const { return ports_ ? ports_->heard() : nullptr; }

    // Plays one step, in the words of a scenario; until the bridge is up it is kept. Returns
    // whether it is one that sends.
    bool play(const std::string& step);

    // Gestures at a control, and the host's part of it.
    void press(const Control& control);
    void release(const Control& control);  // so late that the bridge sees the press before
    void tap(const Control& control);
    void hold(const Control& control);  // and, again, lets go
    void turn(const Control& control, int amount);
    void set(const Control& control, int value);  // 0 to 127: a pot, a light, a meter
    void touch(const Control& control);
    void rest(const Control& control);
    void light(const Control& control);
    void label(const Control& control);

    // Records from a new start on; the second time, writes the scenario.
    void record();

    std::string message;  // what there is to tell whoever plays

  private:
    using Clock = std::chrono::steady_clock;
    struct Later {
        Clock::time_point at;
        std::string step;
    };

    void send(const std::string& step, const Sending& sending);
    void play_later(milliseconds delay, const std::string& step);
    void forget_later(const std::string& step);
    void stop_spinning();
    const Mapping& mapping() const { return bridge_->mapping(); }
    // The relative control that a turn moves: a platter's partner while a hand is on it.
    const Control& moved(const Control& control) const;
    const Control* touch_of(const Control& control) const;
    void write_recording();

    PanelConfig config_;
    std::optional<Ports> ports_;
    std::unique_ptr<Controller> bridge_;
    bool is_ready_ = false;
    std::vector<std::string> kept_;  // typed before the bridge was up
    std::vector<Later> later_;
    std::optional<int> spinning_;  // index of the control that is moved again and again
    int labels_changed_ = 0;
    std::string recording_;  // name of the file while recording
    std::vector<Played> played_;
};

}  // namespace bench
