#include "scenario/runner.h"

#include <algorithm>
#include <cstdio>

#include "machine/machine.h"

namespace bench {
namespace {

constexpr milliseconds TICK(20);
constexpr milliseconds START_PATIENCE(60000);
constexpr milliseconds SETTLING(100);
constexpr std::size_t LAST_MESSAGES = 5;
constexpr std::size_t MOST_BYTES = 16;

std::size_t slot(Place place) {
    return static_cast<std::size_t>(place);
}

bool is_sanitizer_report(const std::string& line) {
    return line.find("Sanitizer") != std::string::npos ||
           line.find("runtime error:") != std::string::npos;
}

// What the user of real software, or of a real board, is asked to do.
std::string invitation(End end, const Bytes& message, const Mapping& mapping) {
    Event event{.place = at(end), .to_daemon = true, .bytes = message};
    const auto find = end == End::Host ? &Mapping::sent_by_host : &Mapping::sent_by_board;
    const Control* const control =
        has_value(message) ? (mapping.*find)(message[0], message[1]) : nullptr;
    event.control = control == nullptr ? -1 : control->index;
    const std::string sent = hex(message, MOST_BYTES) + "   " + words_for(event, mapping);
    if (end == End::Board || control == nullptr) {
        return std::string("let ") + (end == End::Board ? "the board" : "your software") +
               " send " + sent;
    }
    const bool off = (message[0] & 0xF0) == NOTE_OFF || message[2] == 0;
    const char* const doing = control->kind == Kind::Meter ? "move " : off ? "turn off " : "press ";
    return doing + control->name + " in your software, so that it sends " + sent;
}

}  // namespace

void fail(const std::string& expected, const std::string& came) {
    throw Failure{"expected  " + expected + "\n  came      " + came};
}

Runner::Runner(const Scenario& scenario, Controller& controller, Transcript& transcript,
               Ports* ports)
    : scenario_(scenario),
      controller_(controller),
      transcript_(transcript),
      ports_(ports),
      may_end_(std::any_of(scenario.steps.begin(), scenario.steps.end(),
                           [](const Step& step) { return step.when == When::Ended; })) {}

Outcome Runner::play() {
    Outcome outcome;
    if (const Machine* const machine = controller_.machine()) {
        machine->await_boot();
    }
    try {
        for (const Step& step : scenario_.steps) {
            step_ = &step;
            if (step.when == When::LinesOpen) {
                await_ready();
            }
            if (is_left_to_outside(step)) {
                await_outside(*step.sending);
            } else {
                step.act(*this);
            }
        }
        finish();
        outcome.good = true;
    } catch (const Failure& failure) {
        transcript_.print(controller_.events());
        outcome.failure =
            scenario_.file + ":" +
            (step_ == nullptr ? "" : std::to_string(step_->line) + ": " + step_->text) + "\n  " +
            failure.what;
    }
    outcome.expectations = expectations_;
    return outcome;
}

void Runner::pump(milliseconds timeout, bool printed) {
    if (ports_ == nullptr) {
        controller_.step(timeout);
    } else {
        ports_->step(controller_, timeout);
        if (const std::string state = ports_->state(); state != ports_state_) {
            std::fprintf(stderr, "%s\n", state.c_str());
            ports_state_ = state;
        }
    }
    if (printed) {
        transcript_.print(controller_.events());
    } else {
        transcript_.skip(controller_.events());
    }
    look_into_log();
}

void Runner::pass_time(milliseconds time) {
    const milliseconds deadline = controller_.now() + time;
    while (controller_.now() < deadline) {
        pump(std::min(TICK, deadline - controller_.now()));
    }
}

bool Runner::await(milliseconds patience, const std::function<bool()>& is_so, bool printed) {
    const milliseconds deadline = controller_.now() + controller_.slowness() * patience;
    while (!is_so()) {
        if (controller_.now() >= deadline) {
            return false;
        }
        pump(TICK, printed);
    }
    return true;
}

void Runner::settle() {
    pass_time(SETTLING);
}

void Runner::send(End end, const std::vector<Bytes>& messages) {
    if (!controller_.send(end, messages)) {
        throw Failure{std::string("there is no line to the ") + name(end) + " to send on"};
    }
    pump(milliseconds(0));
}

bool Runner::is_left_to_outside(const Step& step) const {
    return step.sending && ports_ != nullptr && ports_->has(step.sending->end);
}

// For as long as it takes. What else came before it has had its effects at the other end.
void Runner::await_outside(const Sending& sending) {
    const std::vector<Event>& events = controller_.events();
    for (const Bytes& message : sending.messages) {
        std::printf("\n» %s\n", invitation(sending.end, message, controller_.mapping()).c_str());
        std::fflush(stdout);
        const auto is_it = [&](const Event& event) {
            return event.sent_by(sending.end) && event.bytes == message;
        };
        while (outside_next_ == events.size() || !is_it(events[outside_next_])) {
            outside_next_ == events.size() ? pump(TICK) : void(++outside_next_);
        }
        std::size_t& next = next_[slot(at(other(sending.end)))];
        next = std::max(next, outside_next_++);
    }
    hold();
}

const Event* Runner::next_event(Place place) {
    const std::vector<Event>& events = controller_.events();
    std::size_t& next = next_[slot(place)];
    for (; next < events.size(); ++next) {
        const Event& event = events[next];
        const bool shown = watches_traffic || !is_traffic_led(event);
        if (event.place == place && !event.to_daemon && shown) {
            return &event;
        }
    }
    return nullptr;
}

const Event* Runner::await_event(Place place, milliseconds patience) {
    return next_within(place, controller_.slowness() * patience);
}

const Event* Runner::next_within(Place place, milliseconds time) {
    const milliseconds deadline = controller_.now() + time;
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

std::vector<const Event*> Runner::events_left(Place place) {
    const std::size_t before = next_[slot(place)];
    std::vector<const Event*> left;
    for (; const Event* event = next_event(place); ++next_[slot(place)]) {
        left.push_back(event);
    }
    next_[slot(place)] = before;
    return left;
}

void Runner::take(const Event& event) {
    const auto place_in_list = static_cast<std::size_t>(&event - controller_.events().data());
    if (watches_order && place_in_list < last_taken_) {
        throw Failure{"came before what the step before this one took: " +
                      transcript_line(event, controller_.mapping())};
    }
    last_taken_ = place_in_list;
    next_[slot(event.place)] = place_in_list + 1;
}

int Runner::take_until(Place place, milliseconds patience,
                       const std::function<bool(const Event&)>& fits) {
    const milliseconds deadline = controller_.now() + controller_.slowness() * patience;
    int passed = 0;
    while (const Event* event = next_within(place, deadline - controller_.now())) {
        take(*event);
        if (fits(*event)) {
            hold();
            return passed;
        }
        ++passed;
    }
    return -1 - passed;
}

void Runner::expect_message(End end, const Pattern& pattern, milliseconds patience) {
    if (ports_ != nullptr && ports_->has(other(end))) {  // which may send more than it is asked to
        until_message(end, pattern, patience);
        return;
    }
    const Event* const event = await_event(at(end), patience);
    if (event == nullptr) {
        fail(words_for(end, pattern),
             "nothing within " + std::to_string(patience.count()) + " ms" + last_messages(end));
    }
    if (!matches(pattern, event->bytes)) {
        fail(words_for(end, pattern), hex(event->bytes, MOST_BYTES) + "   " +
                                          bench::words_for(*event, controller_.mapping()) +
                                          last_messages(end));
    }
    take(*event);
    hold();
}

void Runner::until_message(End end, const Pattern& pattern, milliseconds patience) {
    const int passed = take_until(
        at(end), patience, [&](const Event& event) { return matches(pattern, event.bytes); });
    if (passed < 0) {
        fail(words_for(end, pattern), "not among " + std::to_string(-1 - passed) +
                                          " messages within " + std::to_string(patience.count()) +
                                          " ms" + last_messages(end));
    }
}

// What is expected, in the words in which it would be printed if it came.
std::string Runner::words_for(End end, const Pattern& pattern) const {
    Event event{.place = at(end)};
    std::string text;
    for (const std::optional<std::uint8_t>& byte : pattern) {
        text += byte ? hex({*byte}) + " " : ".. ";
        event.bytes.push_back(byte.value_or(0));
    }
    const bool whole = std::find(pattern.begin(), pattern.end(), std::nullopt) == pattern.end();
    if (!whole || event.bytes.size() < 2) {
        return trimmed(text);
    }
    const Mapping& mapping = controller_.mapping();
    const Control* const control = end == End::Host
                                       ? mapping.seen_by_host(event.bytes[0], event.bytes[1])
                                       : mapping.seen_by_board(event.bytes[0], event.bytes[1]);
    event.control = control != nullptr ? control->index : -1;
    return hex(event.bytes, MOST_BYTES) + "   " + bench::words_for(event, mapping);
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

void Runner::pass_over(End end, bool for_good) {
    next_[slot(at(end))] = controller_.events().size();
    dropped_[slot(at(end))] |= for_good;
}

void Runner::refuse(const Wanted& wanted) {
    refused_.push_back(wanted);
    refuse_again();
}

void Runner::refuse_again() const {
    for (const Wanted& wanted : refused_) {
        for (const Event& event : controller_.events()) {
            if (event.place == wanted.place && wanted.fits(wanted.text, event.text)) {
                throw Failure{"refused   " + wanted.text + "\n  came      " + event.text};
            }
        }
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
    if (controller_.exit_status() && !may_end_) {
        throw Failure{"the daemon has ended with exit status " +
                      std::to_string(*controller_.exit_status())};
    }
}

void Runner::await_ready() {
    if (is_ready_) {
        return;
    }
    const auto is_over = [&] {
        is_ready_ = controller_.ready();
        return is_ready_ || controller_.exit_status();
    };
    if (!await(START_PATIENCE, is_over)) {
        throw Failure{"the daemon has not opened its devices within a minute"};
    }
    // What the daemon told the board before that belongs to its start.
    pass_over(End::Board, false);
}

void Runner::finish() {
    if (!controller_.exit_status()) {
        settle();
    }
    refuse_again();
    dropped_[slot(Place::Board)] |=
        !is_ready_;  // the daemon's start, if nothing else was asked for
    for (const End end : {End::Board, End::Host}) {
        const bool passed = dropped_[slot(at(end))] || ports_ != nullptr;
        const Event* const left = passed ? nullptr : next_event(at(end));
        if (left != nullptr) {
            throw Failure{std::string("left over at the ") + name(end) +
                          " after the last step: " + transcript_line(*left, controller_.mapping())};
        }
    }
}

}  // namespace bench
