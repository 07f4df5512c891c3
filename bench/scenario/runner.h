// Plays a scenario on a virtual controller and says whether everything came as expected.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "controller/controller.h"
#include "controller/transcript.h"
#include "port/ports.h"
#include "scenario/scenario.h"
#include "scenario/traffic.h"

namespace bench {

struct Outcome {
    bool good = false;
    int expectations = 0;  // that held
    std::string failure;   // "FILE:LINE: ..." and what came instead
};

[[noreturn]] void fail(const std::string& expected, const std::string& came);

// A line of the log or a platform call that is looked for, or must not come.
struct Wanted {
    Place place;
    std::string text;
    bool (*fits)(const std::string& wanted, const std::string& came);
};

class Runner {
  public:
    // Steps that send from an end that is connected to something by `ports` are left to that.
    Runner(const Scenario& scenario, Controller& controller, Transcript& transcript,
           Ports* ports = nullptr);

    // Plays all steps, up to the first that fails.
    Outcome play();

    // What the verbs are made of. Where something else comes than is expected they throw a Failure.

    Controller& controller() { return controller_; }
    Transcript& transcript() { return transcript_; }
    const Step& step() const { return *step_; }  // the one that is played
    // An expectation has held.
    void hold() { ++expectations_; }

    // Let the controller work, and print what happens.
    void pump(milliseconds timeout, bool printed = true);
    void pass_time(milliseconds time);
    // Until it is so; false if it is not in time.
    bool await(milliseconds patience, const std::function<bool()>& is_so, bool printed = true);
    // Waits for what may come late.
    void settle();

    void send(End end, const std::vector<Bytes>& messages);
    // The first event at this place that no step has taken yet; null if there is none so far, or
    // none in time, which is longer in a slow world unless it is a time to pass. Then all of them.
    const Event* next_event(Place place);
    const Event* await_event(Place place, milliseconds patience);
    const Event* next_within(Place place, milliseconds time);
    std::vector<const Event*> events_left(Place place);
    void take(const Event& event);
    // Takes events at this place up to the first that fits. Returns the number of those before it,
    // -1 - that number if none came in time.
    int take_until(Place place, milliseconds patience,
                   const std::function<bool(const Event&)>& fits);
    void expect_message(End end, const Pattern& pattern, milliseconds patience);
    void until_message(End end, const Pattern& pattern, milliseconds patience);
    // "\n  last messages there: ..."
    std::string last_messages(End end) const;
    // "90 3c ..", and what it says if it is a whole message.
    std::string words_for(End end, const Pattern& pattern) const;
    // Passes over what has come; whether more of it comes does not matter if `for_good`.
    void pass_over(End end, bool for_good);
    // From here on this must not come, nor have come.
    void refuse(const Wanted& wanted);

    bool watches_traffic = false;   // changes of the traffic LED are messages
    bool watches_order = false;     // steps take events in the order in which they came
    std::map<End, Filling> filled;  // what the line towards that end was filled with

  private:
    void await_ready();
    void await_outside(const Sending& sending);
    bool is_left_to_outside(const Step& step) const;
    void finish();
    void look_into_log();
    void refuse_again() const;

    const Scenario& scenario_;
    const Step* step_ = nullptr;
    Controller& controller_;
    Transcript& transcript_;
    Ports* ports_;
    std::string ports_state_;                 // as it was told last
    std::size_t outside_next_ = 0;            // the first event that no step has taken from outside
    std::array<std::size_t, PLACES> next_{};  // by Place: the first event that no step has taken
    std::array<bool, PLACES> dropped_{};      // what is left there does not matter
    std::size_t log_looked_ = 0;
    std::size_t last_taken_ = 0;
    std::vector<Wanted> refused_;
    int expectations_ = 0;
    bool is_ready_ = false;
    bool may_end_;  // the daemon, by a step of the scenario
};

}  // namespace bench
