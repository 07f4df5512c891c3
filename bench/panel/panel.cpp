#include "panel/panel.h"

#define NCURSES_NOMACROS
#include <curses.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "scenario/step.h"

namespace bench {
namespace {

constexpr milliseconds TICK(20);
constexpr milliseconds FRAME(33);
constexpr milliseconds SECOND(1000);
constexpr milliseconds TAP(80);             // the bridge sees the press before the release
constexpr milliseconds SPIN(60);            // from one message of a spinning platter to the next
constexpr milliseconds COMES_TO_REST(300);  // after the last turn by a key
constexpr int FULL = 127;
constexpr int SPIN_STEPS = 2;                           // that the host sees of each message
constexpr int LABEL_CHANGE = 0x40, MOST_LABELS = 0x3E;  // velocities 64 to 126

constexpr const char* LABELS = "orvik.miditxt.cfg0.txt";
constexpr std::size_t LABEL_FIELDS = 5;

std::string new_file_name() {
    const std::time_t now = std::time(nullptr);
    char name[40];
    std::strftime(name, sizeof name, "recording-%Y%m%d-%H%M%S.scn", std::localtime(&now));
    return name;
}

}  // namespace

Panel::Panel(const PanelConfig& config) : config_(config) {
    if (config.ports.any()) {
        ports_.emplace(config.ports, product_name(config.world));
        pane_ = heard() == nullptr ? Wire : BoardPane;
    }
    start();
    terminal_ = std::make_unique<Terminal>();
}

void Panel::start() {
    later_.clear();
    spinning_.clear();
    held_by_mouse_.reset();
    dragged_.reset();
    played_.clear();
    motions_ = {};
    controller_.reset();
    monitor_ = Monitor();
    seen_ = 0;
    findings_seen_ = 0;
    ready_ = ended_ = false;
    changed_ = true;
    started_ = config_.world;
    const ReadFile read = resource_reader(config_.world);
    read_setup(
        [&](const std::string& name) {
            std::optional<std::string> text = read(name);
            if (text) {
                started_.files[name] = *text;
            }
            return text;
        },
        started_.options);
    if (const std::optional<std::string> labels = read(LABELS)) {
        started_.files[LABELS] = *labels;
    }
    controller_ = std::make_unique<Controller>(started_);
    if (ports_) {
        ports_->attach(*controller_);
    }
    front_.take(controller_->mapping());
}

// --- The loop ---

int Panel::run() {
    Clock::time_point drawn{}, counted{};
    while (!quit_ && !Terminal::ending()) {
        const bool work_done = work();
        const Clock::time_point now = Clock::now();
        // The counters fall back to nothing in the second after the last message.
        const bool counting = now - counted < SECOND + FRAME;
        counted = work_done ? now : counted;
        if ((changed_ && now - drawn >= FRAME) || (counting && now - drawn >= SECOND / 4)) {
            draw();
            drawn = now;
            changed_ = false;
        }
    }
    if (!recording_.empty()) {
        record(0);
        terminal_.reset();
        std::puts(message_.c_str());
    }
    return 0;
}

// Returns whether anything crossed the bridge.
bool Panel::work() {
    if (controller_ == nullptr) {
        napms(static_cast<int>(TICK.count()));
    } else {
        ports_ ? ports_->step(*controller_, TICK) : controller_->step(TICK);
        do_later();
    }
    for (int code = getch(); code != ERR; code = getch()) {
        key(code);
        changed_ = true;
    }
    if (controller_ == nullptr) {
        return false;
    }
    const bool some = monitor_.take(*controller_);
    notice_events();
    notice_end();
    if (!ready_ && controller_->ready() && !ended_) {
        ready_ = changed_ = true;
        message_ = message_ == STARTING ? "" : message_;
    }
    changed_ |= some;
    if (ports_ && ports_->state() != ports_state_) {
        ports_state_ = ports_->state();
        changed_ = true;
    }
    return some;
}

void Panel::notice_events() {
    const std::vector<Event>& events = controller_->events();
    for (; seen_ < events.size(); ++seen_) {
        const Event& event = events[seen_];
        if (event.sent_by(End::Board) && event.control >= 0 &&
            controller_->mapping().at(event.control).sends_steps()) {
            Motion& motion = motions_[static_cast<std::size_t>(event.control)];
            motion.travel += event.bytes[2] - REST;
            motion.moves = event.bytes[2] != REST;
        }
    }
}

// Opens the log where it says why the bridge ended.
void Panel::notice_end() {
    if (!ended_ && controller_->exit_status()) {
        ended_ = true;
        help_ = false;
        pane_ = Log;
        show_in_log(Tone::Failure);
    }
}

void Panel::do_later() {
    for (std::size_t i = 0; i < later_.size();) {
        if (later_[i].at > Clock::now()) {
            ++i;
            continue;
        }
        const std::string step = later_[i].step;
        later_.erase(later_.begin() + static_cast<std::ptrdiff_t>(i));
        play(step);
        if (step == spinning_) {
            play_later(SPIN, step);
        }
    }
}

// --- Playing ---

void Panel::play(const std::string& step) {
    if (!ready_ || controller_->exit_status()) {
        message_ = "the bridge is not running: nothing is sent";
        spinning_.clear();
        return;
    }
    message_.clear();
    try {
        const std::optional<Sending> sending = StepReader(controller_->setup()).read(step).sending;
        if (!sending) {
            message_ = "expected a step that sends: board press PLAY_A, host send 90 3c 7f";
            return;
        }
        const std::size_t first = controller_->events().size();
        if (!controller_->send(sending->end, sending->messages)) {
            message_ = "there is no line to send on";
        } else if (!recording_.empty()) {
            played_.push_back({step, first, controller_->events().size()});
        }
    } catch (const NotAsExpected& error) {
        message_ = error.why;
    }
}

void Panel::play_later(milliseconds delay, const std::string& step) {
    later_.push_back({Clock::now() + delay, step});
}

void Panel::forget_later(const std::string& step) {
    std::erase_if(later_, [&](const Later& known) { return known.step == step; });
}

// The button that a hand on this platter presses: TOUCH with the platter's last letters.
const Control* Panel::touch_of(const Control& control) const {
    return controller_->mapping().find("TOUCH" + control.name.substr(control.name.size() - 2));
}

const Control& Panel::moved(const Control& control) const {
    const Control* const hand =
        control.kind == Kind::Platter && control.mapped ? touch_of(control) : nullptr;
    const bool touched = hand != nullptr && controller_->board().pressed(hand->index);
    return touched ? controller_->mapping().at(control.index + TO_PARTNER) : control;
}

void Panel::tap(int) {
    const Control& control = current();
    if (control.sends_notes()) {
        play("board press " + control.name);
        play_later(TAP, "board release " + control.name);
    } else if (control.sends_position()) {
        play("board turn " + control.name + " 64");
    } else if (control.sends_steps() && !spinning_.empty()) {
        rest(0);
    } else if (control.sends_steps()) {
        const Control& turning = moved(control);
        spinning_ = "board spin " + turning.name + " " +
                    std::to_string(SPIN_STEPS * turning.units_per_step());
        play_later(milliseconds(0), spinning_);
    }
}

void Panel::hold(int) {
    const Control& control = current();
    if (control.sends_notes()) {
        const bool pressed = controller_->board().pressed(control.index);
        play((pressed ? "board release " : "board press ") + control.name);
    } else {
        tap(0);
    }
}

void Panel::turn(int amount) {
    const Control& control = moved(current());
    if (control.sends_position()) {
        const int position = controller_->board().position(control.index) + amount;
        play("board turn " + control.name + " " + std::to_string(std::clamp(position, 0, FULL)));
    } else if (control.sends_steps()) {
        play("board spin " + control.name + " " +
             std::to_string(amount * control.units_per_step()));
        const std::string at_rest = "board rest " + control.name;
        forget_later(at_rest);
        play_later(COMES_TO_REST, at_rest);
    } else {
        message_ = control.name + " does not turn";
    }
}

void Panel::rest(int) {
    const Control& control = current();
    forget_later(spinning_);
    spinning_.clear();
    if (control.sends_steps()) {
        forget_later("board rest " + moved(control).name);
        play("board rest " + moved(control).name);
    } else {
        message_ = control.name + " stays where it is: platters and the encoder come to rest";
    }
}

void Panel::touch(int) {
    const Control& control = current();
    const Control* const hand = control.mapped ? touch_of(control) : nullptr;
    if (hand == nullptr) {
        message_ = "no button named TOUCH belongs to " + control.name;
        return;
    }
    const bool touched = controller_->board().pressed(hand->index);
    if (!spinning_.empty()) {
        rest(0);
    }
    play((touched ? "board release " : "board press ") + hand->name);
}

void Panel::set(int tenths) {
    const Control& control = current();
    const std::string value = std::to_string((tenths * FULL + 4) / 9);
    if (control.sends_position()) {
        play("board turn " + control.name + " " + value);
    } else if (control.kind == Kind::Meter) {
        play("host meter " + control.name + " " + value);
    } else if (has_light(control)) {
        play(tenths == 0 ? "host dark " + control.name
                         : "host light " + control.name + " " + value);
    } else {
        message_ = control.name + " has no position, light or meter";
    }
}

void Panel::light(int) {
    const Control& control = current();
    set(controller_->board().light(control.index) > 0 ? 0 : 9);
}

// In the labels as they were at the start; one bad line, and the daemon uses none of them.
bool Panel::has_label(const Control& control) const {
    const auto file = started_.files.find(LABELS);
    std::istringstream text(file == started_.files.end() ? "" : file->second);
    bool found = false;
    for (std::string line; std::getline(text, line);) {
        std::istringstream words(line);
        const std::vector<std::string> fields{std::istream_iterator<std::string>(words), {}};
        if (fields.empty() || line[0] == '#' || line[0] == ' ') {
            continue;
        }
        if (fields.size() != LABEL_FIELDS) {
            return false;
        }
        found |= fields[2] == std::to_string(control.host_sends);
    }
    return found;
}

void Panel::label(int) {
    const Control& control = current();
    int& count = label_[static_cast<std::size_t>(control.index)];
    if (has_light(control) && !has_label(control)) {
        message_ = std::string("no label in ") + LABELS + " has note " +
                   std::to_string(control.host_sends);
    } else if (has_light(control)) {
        play("host light " + control.name + " " + std::to_string(LABEL_CHANGE + count));
        count = (count + 1) % MOST_LABELS;
    } else {
        message_ = "no note from the host belongs to " + control.name;
    }
}

void Panel::identity(int) {
    play("host send identity request");
}

void Panel::go_to_named(const std::string& name) {
    if (const std::optional<int> found = front_.find(name)) {
        front_.put_cursor(*found);
    } else {
        message_ = "no control's name begins with " + name;
    }
}

// --- Panes, recording, restart ---

Scroll* Panel::scroll_of_pane() {
    Scroll* const scrolls[PANE_COUNT] = {&monitor_.wire, &monitor_.log, nullptr, nullptr};
    return scrolls[pane_];
}

void Panel::next_pane(int) {
    const bool unseen = monitor_.findings.count() > findings_seen_;
    pane_ = unseen ? static_cast<int>(Log) : (pane_ + 1) % panes();
    if (unseen) {
        show_in_log(Tone::Finding);
    }
}

void Panel::show_in_log(Tone tone) {
    findings_seen_ = monitor_.findings.count();
    lay_out();
    monitor_.log.show_first(tone, pane_rows(), [this](const MonitorLine& line) {
        return static_cast<int>(rows_of(line, pane_width()).size());
    });
}

void Panel::pause(int) {
    if (Scroll* const lines = scroll_of_pane()) {
        lines->following() ? lines->stay() : lines->follow();
    }
}

void Panel::scroll(int pages) {
    const int height = pane_rows();
    if (Scroll* const lines = scroll_of_pane()) {
        const int shown = std::max(1, lines_shown_ - 1);
        lines->back(pages * shown, pane_ == Wire ? filter_ : "");
    } else if (pane_ == Picture) {
        screen_top_ = std::clamp(screen_top_.value_or(0) - pages * (height / 2), 0,
                                 std::max(0, SCREEN_ROWS - height));
    }
}

void Panel::filter_control(int) {
    filter_ = filter_.empty() ? current().name : "";
}

void Panel::restart(int) {
    if (!recording_.empty()) {
        record(0);
    }
    try {
        start();
    } catch (const std::exception& error) {
        message_ = error.what();
    }
}

// A recording begins with a new bridge, since that is what it is played to later.
void Panel::record(int) {
    if (recording_.empty()) {
        restart(0);
        recording_ = std::filesystem::absolute(new_file_name()).string();
        message_ = "recording to " + recording_;
        return;
    }
    std::ofstream file(recording_);
    if (config_.own_resources) {
        const auto from_here = std::filesystem::absolute(config_.world.resources);
        file << "resources " << std::filesystem::relative(from_here).string() << "\n";
    }
    if (!config_.world.options.empty()) {
        file << "options";
        for (const std::string& option : config_.world.options) {
            file << " " << option;
        }
        file << "\n";
    }
    file << "\n## Recorded\n"
         << bench::recording(played_, controller_->events(), controller_->setup());
    message_ = (file.flush() ? "wrote " : "cannot write ") + recording_;
    recording_.clear();
}

void Panel::help(int) {
    help_ = !help_;
    help_page_ = 0;
}

}  // namespace bench
