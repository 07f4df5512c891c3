// Plays a scenario on a virtual controller and says whether everything came as expected.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "controller/controller.h"
#include "controller/transcript.h"
#include "scenario/fill.h"
#include "scenario/scenario.h"

namespace bench {

struct Outcome {
    bool good = false;
    int expectations = 0;  // that held
    std::string failure;   // "FILE:LINE: ..." and what came instead
};

class Runner {
  public:
    Runner(const Scenario& scenario, Controller& controller, Transcript& transcript);

    // Plays all steps, up to the first that fails.
    Outcome play();

  private:
    struct Failure;
    struct Action;
    static const Action ACTIONS[];

    void heading(const Step& step);
    void send(const Step& step);
    void expect(const Step& step);
    void expect_report(const Step& step);
    void until(const Step& step);
    void silent(const Step& step);
    void drop(const Step& step);
    void expect_text(const Step& step);
    void until_text(const Step& step);
    void find_text(const Step& step);
    void refuse_text(const Step& step);
    void wait(const Step& step);
    void hang_up(const Step& step);
    void stop_reading(const Step& step);
    void read_again(const Step& step);
    void fill(const Step& step);
    void expect_fill(const Step& step);
    void expect_exit(const Step& step);
    void expect_screen(const Step& step);
    void show_screen(const Step& step);
    void load(const Step& step);
    void watch(const Step& step);

    void expect_message(End end, const Pattern& pattern, milliseconds patience);
    void pump(milliseconds timeout);
    void pump_unprinted(milliseconds timeout);
    void pass_time(milliseconds time);
    void await_ready();
    void finish();
    const Event* next_event(Place place);
    const Event* await_event(Place place, milliseconds deadline);
    void take(const Event& event);
    void look_into_log();
    void refuse_again() const;
    std::string last_messages(End end) const;
    static Place text_end(const Step& step);

    const Scenario& scenario_;
    Controller& controller_;
    Transcript& transcript_;
    std::array<std::size_t, PLACES> next_{};  // by Place: the first event that no step has taken
    std::array<bool, PLACES> dropped_{};      // what is left there does not matter
    std::array<std::optional<Filling>, PLACES>
        filled_{};  // by Place: what the line there was filled with
    std::size_t log_looked_ = 0;
    std::size_t last_taken_ = 0;
    std::vector<const Step*> refusals_;
    int expectations_ = 0;
    bool watch_traffic_ = false;
    bool watch_order_ = false;
    bool is_ready_ = false;
};

}  // namespace bench
