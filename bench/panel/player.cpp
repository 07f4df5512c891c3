#include "panel/player.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <thread>
#include <utility>

#include "machine/machine.h"

namespace bench {
namespace {

constexpr milliseconds TICK(20);
constexpr milliseconds TAP(80);
constexpr milliseconds SPIN(60);            // from one message of a spinning platter to the next
constexpr milliseconds COMES_TO_REST(300);  // after the last turn by a key
constexpr int FULL = 127, MIDDLE = 64;
constexpr int SPIN_STEPS = 2;                           // that the host sees of each message
constexpr int LABEL_CHANGE = 0x40, MOST_LABELS = 0x3E;  // velocities 64 to 126

std::string step_of(const char* verb, const Control& control, std::optional<int> value = {}) {
    return std::string(verb) + " " + control.name + (value ? " " + std::to_string(*value) : "");
}

std::string spin_step(const Control& control) {
    return step_of("board spin", control, SPIN_STEPS * control.units_per_step());
}

bool has_light(const Control& control) {
    return control.host_sends >= 0 && control.kind != Kind::Meter && control.kind != Kind::Spare;
}

std::string new_file_name() {
    const std::time_t now = std::time(nullptr);
    char name[40];
    std::strftime(name, sizeof name, "recording-%Y%m%d-%H%M%S.scn", std::localtime(&now));
    return std::filesystem::absolute(name).string();
}

}  // namespace

Player::Player(const PanelConfig& config) : config_(config) {
    if (config.ports.any()) {
        ports_.emplace(config.ports, product_name(config.world));
    }
    start();
}

Player::~Player() {
    if (records()) {
        write_recording();
        std::puts(message.c_str());
    }
}

void Player::start() {
    if (records()) {
        write_recording();
    }
    kept_.clear();
    later_.clear();
    spinning_.reset();
    played_.clear();
    is_ready_ = false;
    bridge_.reset();
    bridge_ = std::make_unique<Controller>(config_.world);
    if (ports_) {
        ports_->attach(*bridge_);
    }
}

void Player::step() {
    if (bridge_ == nullptr) {
        std::this_thread::sleep_for(TICK);
        return;
    }
    ports_ ? ports_->step(*bridge_, TICK) : bridge_->step(TICK);
    if (!is_ready_ && bridge_->ready() && !has_ended()) {
        is_ready_ = true;
        message = message == STARTING ? "" : message;
        for (const std::string& step : std::exchange(kept_, {})) {
            message.clear();
            play(step);
        }
    }
    for (std::size_t i = 0; i < later_.size();) {
        if (later_[i].at > Clock::now()) {
            ++i;
            continue;
        }
        const std::string step = later_[i].step;
        later_.erase(later_.begin() + static_cast<std::ptrdiff_t>(i));
        if (play(step) && spinning_ && step == spin_step(mapping().at(*spinning_))) {
            play_later(SPIN, step);
        }
    }
}

std::string Player::state() const {
    const std::string seconds = ", " + std::to_string(bridge_->now().count() / 1000) + " s";
    if (const std::optional<int> status = bridge_->exit_status()) {
        return "ended with status " + std::to_string(*status) + ", R restarts";
    }
    if (const Machine* const machine = bridge_->machine(); machine && !machine->has_booted()) {
        return "starting the machine" + seconds;
    }
    const int channel = bridge_->setup().channel;
    return !is_ready_    ? "starting the bridge" + seconds
           : channel < 0 ? "no channel"
                         : "ch " + std::to_string(channel + 1);
}

// --- Steps ---

bool Player::play(const std::string& step) {
    if (bridge_ == nullptr || has_ended()) {
        message = "the bridge is not running: nothing is sent";
        return false;
    }
    try {
        const std::optional<Sending> sending = StepReader(bridge_->setup()).read(step).sending;
        if (!sending) {
            message = "expected a step that sends: board press PLAY_A, host send 90 3c 7f";
        } else if (is_ready_) {
            send(step, *sending);
        } else {
            kept_.push_back(step);
            message = "kept until the bridge is up: " + step;
        }
        return sending.has_value();
    } catch (const NotAsExpected& error) {
        message = error.why;
        return false;
    }
}

void Player::send(const std::string& step, const Sending& sending) {
    const std::size_t first = bridge_->events().size();
    if (!bridge_->send(sending.end, sending.messages)) {
        message = "there is no line to send on";
    } else if (records()) {
        played_.push_back({step, first, bridge_->events().size()});
    }
}

void Player::play_later(milliseconds delay, const std::string& step) {
    later_.push_back({Clock::now() + delay, step});
}

void Player::forget_later(const std::string& step) {
    std::erase_if(later_, [&](const Later& known) { return known.step == step; });
}

// --- Gestures ---

// The button that a hand on this platter presses: TOUCH_A for PLATTER_A.
const Control* Player::touch_of(const Control& control) const {
    const std::size_t deck = control.mapped ? control.name.rfind('_') : std::string::npos;
    return deck == std::string::npos ? nullptr
                                     : mapping().find("TOUCH" + control.name.substr(deck));
}

const Control& Player::moved(const Control& control) const {
    const Control* const hand = control.kind == Kind::Platter ? touch_of(control) : nullptr;
    const bool touched = hand != nullptr && bridge_->board().pressed(hand->index);
    return touched ? mapping().at(control.index + TO_PARTNER) : control;
}

void Player::press(const Control& control) {
    play(step_of("board press", control));
}

void Player::release(const Control& control) {
    play_later(TAP, step_of("board release", control));
}

void Player::tap(const Control& control) {
    if (control.sends_notes()) {
        press(control);
        release(control);
    } else if (control.sends_position()) {
        play(step_of("board turn", control, MIDDLE));
    } else if (!control.sends_steps()) {
        message = control.name + " has no button: " +
                  (control.kind == Kind::Meter ? "0 to 9 set it as the host does"
                   : has_light(control)        ? "l and 0 to 9 light it as the host does"
                                               : "the host has nothing for it either");
    } else if (spinning_) {
        stop_spinning();
    } else {
        spinning_ = moved(control).index;
        play_later(milliseconds(0), spin_step(moved(control)));
    }
}

void Player::hold(const Control& control) {
    if (control.sends_notes() && bridge_->board().pressed(control.index)) {
        play(step_of("board release", control));
    } else {
        control.sends_notes() ? press(control) : tap(control);
    }
}

void Player::turn(const Control& turned, int amount) {
    const Control& control = moved(turned);
    if (control.sends_position()) {
        set(control, std::clamp(bridge_->board().position(control.index) + amount, 0, FULL));
    } else if (control.sends_steps()) {
        play(step_of("board spin", control, amount * control.units_per_step()));
        const std::string at_rest = step_of("board rest", control);
        forget_later(at_rest);
        play_later(COMES_TO_REST, at_rest);
    } else {
        message = control.name + " does not turn";
    }
}

void Player::set(const Control& control, int value) {
    if (control.sends_position()) {
        play(step_of("board turn", control, value));
    } else if (control.kind == Kind::Meter) {
        play(step_of("host meter", control, value));
    } else if (has_light(control)) {
        play(value == 0 ? step_of("host dark", control) : step_of("host light", control, value));
    } else {
        message = control.name + " has no position, light or meter";
    }
}

void Player::rest(const Control& control) {
    const int spun = spinning_.value_or(-1);
    stop_spinning();
    const Control& resting = moved(control);
    if (!resting.sends_steps()) {
        message = control.name + " stays where it is: platters and the encoder come to rest";
    } else if (resting.index != spun) {
        forget_later(step_of("board rest", resting));
        play(step_of("board rest", resting));
    }
}

void Player::stop_spinning() {
    if (spinning_) {
        const Control& control = mapping().at(*std::exchange(spinning_, std::nullopt));
        forget_later(spin_step(control));
        play(step_of("board rest", control));
    }
}

void Player::touch(const Control& control) {
    if (const Control* const hand = touch_of(control)) {
        stop_spinning();
        hold(*hand);
    } else {
        message = "no button named TOUCH belongs to " + control.name;
    }
}

void Player::light(const Control& control) {
    if (has_light(control) || control.kind == Kind::Meter) {
        set(control, bridge_->board().light(control.index) > 0 ? 0 : FULL);
    } else {
        message = control.name + " has no light or meter";
    }
}

void Player::label(const Control& control) {
    if (!has_light(control)) {
        message = "no note from the host belongs to " + control.name;
    } else if (play(step_of("host light", control, LABEL_CHANGE + labels_changed_))) {
        labels_changed_ = (labels_changed_ + 1) % MOST_LABELS;
        message = "changes the label that has note " + std::to_string(control.host_sends) +
                  ", if there is one";
    }
}

// --- Recording ---

void Player::record() {
    if (records()) {
        write_recording();
        return;
    }
    start();
    recording_ = new_file_name();
    message = "recording to " + recording_;
}

void Player::write_recording() {
    std::ofstream file(recording_);
    if (config_.own_resources) {
        const auto from_here = std::filesystem::absolute(config_.world.resources);
        file << "resources " << std::filesystem::relative(from_here).string() << "\n";
    }
    std::string options;
    for (const std::string& option : config_.world.options) {
        options += " " + option;
    }
    file << (options.empty() ? "" : "options" + options + "\n") << "\n## Recorded\n"
         << recording(played_, bridge_->events(), bridge_->setup());
    message = (file.flush() ? "wrote " : "cannot write ") + recording_;
    recording_.clear();
}

}  // namespace bench
