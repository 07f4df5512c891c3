// One step of a scenario: what its words come to with the controls of a mapping. The verbs that
// there are stand in verbs.cpp, a row for each.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "controller/controller.h"
#include "scenario/words.h"

namespace bench {

// A message, or part of one: a byte that is nothing may be any byte.
using Pattern = std::vector<std::optional<std::uint8_t>>;

bool matches(const Pattern& pattern, const Bytes& message);

constexpr int MAX_TIME = 600000;  // milliseconds, of a step

class Runner;
struct Verb;
using Action = std::function<void(Runner&)>;

// What a step does, if it does nothing but send.
struct Sending {
    End end;
    std::vector<Bytes> messages;
};

// When a step acts: at once; when the daemon has opened its lines; when it has ended, which it must
// not do in a scenario without such a step.
enum class When { AtOnce, LinesOpen, Ended };

// In which world a line makes sense: what it asks for may be missing in the other.
enum class Needs { Nothing, Namespaces, Machine };

struct Step {
    int line = 0;
    std::string text;  // as it stands in the file
    When when = When::AtOnce;
    Needs needs = Needs::Nothing;
    Action act;
    std::optional<Sending> sending = {};
};

class StepReader {
  public:
    // `setup` has to outlive the reader, but not the steps.
    explicit StepReader(const Setup& setup)
        : mapping_(setup.mapping), board_(mapping_), host_(mapping_, setup.channel) {}

    // Throws NotAsExpected with a message if the text is no step.
    Step read(const std::string& text);

    // For the verbs: the words after the verb, and the ends that its subject names.
    Words words{""};
    std::vector<End> ends;
    End end() const { return ends.front(); }
    // To be set by those that do nothing but send.
    std::optional<Sending> sending;

    const Control& control();
    Pattern pattern();
    // "sysex SIZE [open]", "identity request", "identity reply"; nothing if none of them comes
    // next.
    std::optional<Bytes> named_message();
    // The time of a "within" at the end of the line. To be taken before any text.
    milliseconds patience(milliseconds otherwise);
    // Whose gestures these are.
    const Host& host() const { return host_; }

  private:
    bool take_subject(const std::string& subject, const Verb& verb);
    Pattern hex_pattern();
    Pattern control_pattern(const Control& control);

    const Mapping& mapping_;
    Board board_;
    Host host_;
};

struct Verb {
    const char* subjects;  // "board, host": one of them stands before the verb; empty: none does
    const char* words;
    const char* rest;  // what follows
    When when;
    Action (*read)(StepReader& reader);  // reads the rest; returns what the step does
    const char* meaning;                 // for the table of steps
    Needs needs = Needs::Nothing;
};

// The first that fits is meant.
std::span<const Verb> verbs();

// The table of all steps, in Markdown.
std::string steps_table();

}  // namespace bench
