// Events as lines of text:
//
//     board → 90 01 40           PLAY_A pressed
//     host  ← 90 3c 7f           note-on   ch 1  note 60  velocity 127   PLAY_A
//     call  modprobe g_midi ...
//     log   lost /dev/ttymxc1: hung up
//
// An arrow to the right: sent by that end towards the daemon; to the left: arrived there.
#pragma once

#include <string>
#include <vector>

#include "controller/controller.h"

namespace bench {

// A change of the traffic LED, which the daemon sends unasked.
bool is_traffic_led(const Event& event);

// What an event means, in words; for a line of text the text itself.
std::string words_for(const Event& event, const Mapping& mapping);

// One event as one line, without a newline; what was written to the console as it stands, with
// control characters made visible.
std::string transcript_line(const Event& event, const Mapping& mapping);

// Prints events to standard output as they come.
class Transcript {
  public:
    // `no_traffic`: leaves the changes of the traffic LED out; `quiet`: all of them.
    Transcript(const Mapping& mapping, bool no_traffic, bool quiet);

    // Prints the events that have not been printed yet.
    void print(const std::vector<Event>& events);
    // Passes over them.
    void skip(const std::vector<Event>& events) { printed_ = events.size(); }
    // A line between the events; a heading stands out.
    void note(const std::string& text) const;
    void heading(const std::string& text) const;

  private:
    const Mapping& mapping_;
    bool no_traffic_, quiet_;
    std::size_t printed_ = 0;
};

}  // namespace bench
