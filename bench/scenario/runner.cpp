#include "scenario/runner.h"

#include <algorithm>

namespace bench {
namespace {

constexpr milliseconds TICK(20);
constexpr milliseconds START_PATIENCE(60000);
constexpr milliseconds SETTLING(100);  // for what comes late, after the last step
constexpr milliseconds READING_PATIENCE(10000);
constexpr std::size_t LAST_MESSAGES = 5;
constexpr int MOST_POSITIONS = 127;  // of one pot under way: no two of them alike

std::size_t slot(Place place) {
    return static_cast<std::size_t>(place);
}
std::size_t slot(End end) {
    return slot(at(end));
}

std::string the(End end) {
    return std::string("the ") + name(end);
}

// "TEXT ..." fits whatever begins with TEXT.
bool call_fits(const std::string& wanted, const std::string& call) {
    constexpr std::string_view ANYTHING = " ...";
    if (wanted.ends_with(ANYTHING)) {
        return call.starts_with(wanted.substr(0, wanted.size() - ANYTHING.size()));
    }
    return call == wanted;
}

bool text_fits(const Step& step, const Event& event) {
    const bool call = event.place == Place::Platform;
    if (step.verb == Verb::FindLogLine) {
        return event.text == step.words;
    }
    return call ? call_fits(step.words, event.text)
                : event.text.find(step.words) != std::string::npos;
}

bool is_sanitizer_report(const std::string& line) {
    return line.find("Sanitizer") != std::string::npos ||
           line.find("runtime error:") != std::string::npos;
}

}  // namespace

struct Runner::Failure {
    std::string what;
};

struct Runner::Action {
    Verb verb;
    void (Runner::*act)(const Step&);
    bool needs_daemon;  // waits until the daemon has opened its lines
};
constexpr Runner::Action Runner::ACTIONS[] = {
    {Verb::Heading, &Runner::heading, false},
    {Verb::Send, &Runner::send, true},
    {Verb::Expect, &Runner::expect, false},
    {Verb::ExpectReport, &Runner::expect_report, true},
    {Verb::Until, &Runner::until, false},
    {Verb::Silent, &Runner::silent, true},
    {Verb::Drop, &Runner::drop, true},
    {Verb::ExpectCall, &Runner::expect_text, false},
    {Verb::UntilCall, &Runner::until_text, false},
    {Verb::RefuseCall, &Runner::refuse_text, false},
    {Verb::ExpectLog, &Runner::until_text, false},
    {Verb::FindLog, &Runner::find_text, false},
    {Verb::FindLogLine, &Runner::find_text, false},
    {Verb::RefuseLog, &Runner::refuse_text, false},
    {Verb::Wait, &Runner::wait, false},
    {Verb::HangUp, &Runner::hang_up, true},
    {Verb::StopReading, &Runner::stop_reading, true},
    {Verb::ReadAgain, &Runner::read_again, true},
    {Verb::Fill, &Runner::fill, true},
    {Verb::ExpectFill, &Runner::expect_fill, true},
    {Verb::ExpectExit, &Runner::expect_exit, false},
    {Verb::ExpectScreen, &Runner::expect_screen, false},
    {Verb::ShowScreen, &Runner::show_screen, false},
    {Verb::Random, &Runner::load, true},
    {Verb::Flood, &Runner::load, true},
    {Verb::FloodPots, &Runner::load, true},
    {Verb::WatchTraffic, &Runner::watch, false},
    {Verb::WatchOrder, &Runner::watch, false},
};

Runner::Runner(const Scenario& scenario, Controller& controller, Transcript& transcript)
    : scenario_(scenario), controller_(controller), transcript_(transcript) {}

Outcome Runner::play() {
    const Step* current = nullptr;
    Outcome outcome;
    try {
        for (const Step& step : scenario_.steps) {
            current = &step;
            const auto action =
                std::find_if(std::begin(ACTIONS), std::end(ACTIONS),
                             [&](const Action& known) { return known.verb == step.verb; });
            if (action->needs_daemon) {
                await_ready();
            }
            (this->*action->act)(step);
        }
        finish();
        outcome.good = true;
    } catch (const Failure& failure) {
        transcript_.print(controller_.events());
        const std::string line = current == nullptr ? "" : ":" + std::to_string(current->line);
        const std::string text = current == nullptr ? "" : " " + current->text;
        outcome.failure = scenario_.file + line + ":" + text + "\n  " + failure.what;
    }
    outcome.expectations = expectations_;
    return outcome;
}

// --- Steps ---

void Runner::heading(const Step& step) {
    transcript_.heading(step.words);
}

void Runner::send(const Step& step) {
    if (!controller_.send(step.end, step.messages)) {
        throw Failure{"there is no line to " + std::string(the(step.end)) + " to send on"};
    }
    pump(milliseconds(0));
}

void Runner::expect(const Step& step) {
    expect_message(step.end, step.pattern, step.time);
}

void Runner::expect_report(const Step& step) {
    for (const Control& control : controller_.mapping().controls()) {
        if (control.host_sees_position()) {
            expect_message(
                End::Host,
                {static_cast<std::uint8_t>(CONTROL_CHANGE | controller_.host().channel()),
                 static_cast<std::uint8_t>(control.host_sees),
                 static_cast<std::uint8_t>(controller_.board().position(control.index))},
                step.time);
        }
    }
}

void Runner::expect_message(End end, const Pattern& pattern, milliseconds patience) {
    const Event* const event = await_event(at(end), controller_.now() + patience);
    const std::string expected = "expected  " + describe(pattern);
    if (event == nullptr) {
        throw Failure{expected + "\n  came      nothing within " +
                      std::to_string(patience.count()) + " ms" + last_messages(end)};
    }
    if (!matches(pattern, event->bytes)) {
        throw Failure{expected + "\n  came      " + hex(event->bytes, 16) + "   " +
                      words_for(*event, controller_.mapping()) + last_messages(end)};
    }
    take(*event);
    ++expectations_;
}

void Runner::until(const Step& step) {
    const milliseconds deadline = controller_.now() + step.time;
    int passed = 0;
    while (const Event* event = await_event(at(step.end), deadline)) {
        take(*event);
        if (matches(step.pattern, event->bytes)) {
            ++expectations_;
            return;
        }
        ++passed;
    }
    throw Failure{"expected  " + describe(step.pattern) + "\n  came      not among " +
                  std::to_string(passed) + " messages within " + std::to_string(step.time.count()) +
                  " ms" + last_messages(step.end)};
}

void Runner::silent(const Step& step) {
    if (const Event* event = await_event(at(step.end), controller_.now() + step.time)) {
        throw Failure{"expected  silence\n  came      " + hex(event->bytes, 16) + "   " +
                      words_for(*event, controller_.mapping())};
    }
    ++expectations_;
}

void Runner::drop(const Step& step) {
    pump(milliseconds(0));
    next_[slot(step.end)] = controller_.events().size();
    dropped_[slot(step.end)] = true;
}

Place Runner::text_end(const Step& step) {
    const bool call = step.verb == Verb::ExpectCall || step.verb == Verb::UntilCall ||
                      step.verb == Verb::RefuseCall;
    return call ? Place::Platform : Place::Log;
}

void Runner::expect_text(const Step& step) {
    const Event* const event = await_event(text_end(step), controller_.now() + step.time);
    if (event == nullptr || !text_fits(step, *event)) {
        throw Failure{"expected  " + step.words + "\n  came      " +
                      (event == nullptr ? "no call" : event->text)};
    }
    take(*event);
    ++expectations_;
}

void Runner::until_text(const Step& step) {
    const milliseconds deadline = controller_.now() + step.time;
    while (const Event* event = await_event(text_end(step), deadline)) {
        take(*event);
        if (text_fits(step, *event)) {
            ++expectations_;
            return;
        }
    }
    throw Failure{"expected  " + step.words + "\n  came      not within " +
                  std::to_string(step.time.count()) + " ms"};
}

void Runner::find_text(const Step& step) {
    next_[slot(text_end(step))] = 0;
    until_text(step);
}

void Runner::refuse_text(const Step& step) {
    refusals_.push_back(&step);
    refuse_again();
    ++expectations_;
}

// What was refused once must not come for the rest of the scenario.
void Runner::refuse_again() const {
    for (const Step* const step : refusals_) {
        for (const Event& event : controller_.events()) {
            if (event.place == text_end(*step) && text_fits(*step, event)) {
                throw Failure{"refused   " + step->words + "\n  came      " + event.text};
            }
        }
    }
}

void Runner::wait(const Step& step) {
    pass_time(step.time);
}

void Runner::hang_up(const Step& step) {
    controller_.hang_up(step.link);
    pump(milliseconds(0));
}

void Runner::stop_reading(const Step& step) {
    pump(milliseconds(0));
    controller_.set_reading(step.end, false);
    transcript_.note("      " + step.text);
}

// What was sent up to here still finds the line as it is. Then it becomes as good as new: all that
// was left in it is read, and the daemon can write.
void Runner::read_again(const Step& step) {
    pass_time(SETTLING);
    const bool filled = filled_[slot(step.end)].has_value();
    const milliseconds deadline = controller_.now() + READING_PATIENCE;
    transcript_.note("      " + step.text);
    controller_.set_reading(step.end, true);
    while (controller_.full(step.end) || !controller_.drained(step.end)) {
        filled ? pump_unprinted(TICK) : pump(TICK);
        if (controller_.now() > deadline) {
            throw Failure{"what was left in the line has not come"};
        }
    }
    if (filled) {
        controller_.end_unfinished(step.end);
        pump_unprinted(milliseconds(0));
    }
}

void Runner::fill(const Step& step) {
    const End to = other(step.end);
    transcript_.note("      " + step.text);
    const Pump quiet_pump = [&](milliseconds timeout) { pump_unprinted(timeout); };
    const Filling& filling =
        filled_[slot(to)].emplace(bench::fill(controller_, step.end, quiet_pump));
    if (!filling.failure.empty()) {
        throw Failure{filling.failure};
    }
    transcript_.note("      " + std::string(the(to)) + " was sent " +
                     std::to_string(filling.messages.size()) + " messages, and the line is full");
    ++expectations_;
}

void Runner::expect_fill(const Step& step) {
    std::optional<Filling>& filling = filled_[slot(step.end)];
    if (!filling) {
        throw Failure{"no step has filled the line towards " + std::string(the(step.end))};
    }
    std::vector<const Event*> events;
    std::vector<Bytes> came;
    for (; const Event* event = next_event(at(step.end)); ++next_[slot(step.end)]) {
        events.push_back(event);
        came.push_back(event->bytes);
    }
    const FillingResult result = account(*filling, came);
    filling.reset();
    if (!result.good) {
        throw Failure{result.summary};
    }
    transcript_.note("      " + result.summary);
    take(*events[result.messages - 1]);
    ++expectations_;
}

void Runner::expect_exit(const Step& step) {
    const milliseconds deadline = controller_.now() + step.time;
    while (!controller_.exit_status() && controller_.now() < deadline) {
        pump(TICK);
    }
    const std::optional<int> status = controller_.exit_status();
    if (status != step.number) {
        throw Failure{"expected  exit status " + std::to_string(step.number) + "\n  came      " +
                      (status ? "exit status " + std::to_string(*status) : "no end")};
    }
    ++expectations_;
}

void Runner::expect_screen(const Step& step) {
    const Screen& screen = controller_.screen();
    const int length = static_cast<int>(step.words.size());
    const milliseconds deadline = controller_.now() + step.time;
    for (;;) {
        const std::string text = screen.text(step.row, step.column, length);
        const std::string color = Screen::colors(screen.at(step.row, step.column));
        if (text == step.words && (step.color.empty() || color == step.color)) {
            ++expectations_;
            return;
        }
        if (controller_.now() >= deadline || controller_.exit_status()) {
            throw Failure{"expected  \"" + step.words + "\" " + step.color + "\n  came      \"" +
                          text + "\" " + color};
        }
        pump(TICK);
    }
}

void Runner::show_screen(const Step&) {
    const std::string edge = "      +" + std::string(SCREEN_COLUMNS, '-') + "+";
    transcript_.note(edge);
    for (int row = 1; row <= SCREEN_ROWS; ++row) {
        transcript_.note("      |" + controller_.screen().text(row, 1, SCREEN_COLUMNS) + "|");
    }
    transcript_.note(edge);
}

void Runner::load(const Step& step) {
    const std::vector<End> ends =
        step.both ? std::vector<End>{End::Board, End::Host} : std::vector<End>{step.end};
    transcript_.note("      " + step.text);
    const Pump quiet_pump = [&](milliseconds timeout) { pump_unprinted(timeout); };
    FloodResult result = {true, ""};
    if (step.verb == Verb::Random) {
        result.summary = send_random(controller_, ends, step.time,
                                     static_cast<unsigned>(step.number), quiet_pump);
    } else {
        Plan plan = {.count = step.number, .per_second = LINE_MESSAGES_PER_SECOND};
        if (step.verb == Verb::FloodPots) {  // which the daemon's rate limit may merge
            plan.window = UNLIMITED;
            plan.note_depth = 0;
            plan.controller_depth = MOST_POSITIONS;
        }
        result = flood(controller_, ends, plan, quiet_pump);
    }
    for (const End end : {End::Board, End::Host}) {
        next_[slot(end)] = controller_.events().size();
        dropped_[slot(end)] = dropped_[slot(end)] || step.verb == Verb::Random;
    }
    if (!result.good) {
        throw Failure{result.summary};
    }
    transcript_.note(result.summary);
    ++expectations_;
}

void Runner::watch(const Step& step) {
    (step.verb == Verb::WatchTraffic ? watch_traffic_ : watch_order_) = true;
}

// --- Events ---

void Runner::pump(milliseconds timeout) {
    controller_.step(timeout);
    transcript_.print(controller_.events());
    look_into_log();
}

void Runner::pump_unprinted(milliseconds timeout) {
    controller_.step(timeout);
    transcript_.skip(controller_.events());
    look_into_log();
}

void Runner::pass_time(milliseconds time) {
    const milliseconds deadline = controller_.now() + time;
    while (controller_.now() < deadline) {
        pump(std::min(TICK, deadline - controller_.now()));
    }
}

void Runner::look_into_log() {
    const std::vector<Event>& events = controller_.events();
    for (; log_looked_ < events.size(); ++log_looked_) {
        if (events[log_looked_].place == Place::Log &&
            is_sanitizer_report(events[log_looked_].text)) {
            const std::string report = events[log_looked_].text;
            const milliseconds deadline = controller_.now() + SETTLING;
            while (controller_.now() < deadline) {  // the rest of the report
                controller_.step(TICK);
            }
            throw Failure{"a sanitizer reports: " + report};
        }
    }
    if (controller_.exit_status() && !scenario_.expects_exit) {
        throw Failure{"the daemon has ended with exit status " +
                      std::to_string(*controller_.exit_status())};
    }
}

void Runner::await_ready() {
    if (is_ready_) {
        return;
    }
    const milliseconds deadline = controller_.now() + START_PATIENCE;
    while (!is_ready_ && !controller_.exit_status()) {
        pump(TICK);
        is_ready_ = controller_.ready();
        if (controller_.now() > deadline) {
            throw Failure{"the daemon has not opened its devices within a minute"};
        }
    }
    // What the daemon told the board before that belongs to its start.
    next_[slot(End::Board)] = controller_.events().size();
}

// The first event at this end that no step has taken yet; null if there is none so far.
const Event* Runner::next_event(Place place) {
    const std::vector<Event>& events = controller_.events();
    std::size_t& next = next_[slot(place)];
    for (; next < events.size(); ++next) {
        const Event& event = events[next];
        const bool shown = watch_traffic_ || !is_traffic_light(event);
        if (event.place == place && !event.to_daemon && shown) {
            return &event;
        }
    }
    return nullptr;
}

const Event* Runner::await_event(Place place, milliseconds deadline) {
    dropped_[slot(place)] = false;
    for (;;) {
        if (const Event* event = next_event(place)) {
            return event;
        }
        if (controller_.now() >= deadline || controller_.exit_status()) {
            return nullptr;
        }
        pump(std::min(TICK, deadline - controller_.now()));
    }
}

void Runner::take(const Event& event) {
    const auto place_in_list = static_cast<std::size_t>(&event - controller_.events().data());
    if (watch_order_ && place_in_list < last_taken_) {
        throw Failure{"came before what the step before this one took: " +
                      transcript_line(event, controller_.mapping())};
    }
    last_taken_ = place_in_list;
    next_[slot(event.place)] = place_in_list + 1;
}

void Runner::finish() {
    if (!controller_.exit_status()) {
        pass_time(SETTLING);
    }
    refuse_again();
    dropped_[slot(End::Board)] |= !is_ready_;  // the daemon's start, if nothing else was asked for
    for (const End end : {End::Board, End::Host}) {
        const Event* const left = dropped_[slot(end)] ? nullptr : next_event(at(end));
        if (left != nullptr) {
            throw Failure{"left over at " + std::string(the(end)) +
                          " after the last step: " + transcript_line(*left, controller_.mapping())};
        }
    }
}

std::string Runner::last_messages(End end) const {
    std::vector<std::string> lines;
    const std::vector<Event>& events = controller_.events();
    for (auto event = events.rbegin(); event != events.rend() && lines.size() < LAST_MESSAGES;
         ++event) {
        if (event->came_to(end)) {
            lines.push_back(transcript_line(*event, controller_.mapping()));
        }
    }
    std::string text = lines.empty() ? "" : "\n  last messages there:";
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        text += "\n    " + *line;
    }
    return text;
}

}  // namespace bench
