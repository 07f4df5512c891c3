// What RtMidi does not tell of the system that its ports are in: whether it is there, how much it
// takes, who is connected.
#pragma once

#include <rtmidi/RtMidi.h>

#include <memory>
#include <set>
#include <string>

namespace bench {

struct Connected {
    int get = 0, send = 0;  // programs that get from the ports, that send to them
};

class MidiSystem {
  public:
    virtual ~MidiSystem() = default;
    virtual RtMidi::Api api() const = 0;
    // The clients of this name that have come since the system was opened are the program's own.
    virtual void ports_are_open() = 0;
    virtual Connected connected() = 0;
    // It has ended; RtMidi must not be used any more.
    virtual bool gone() const = 0;
    // Whether a message can have that many bytes.
    virtual bool takes(std::size_t size) const = 0;
    // Whether it fits beside what is still to go out; if so, it counts as sent.
    virtual bool has_room(std::size_t size) = 0;
};

// Throws NoOutside if there is none, or none of that kind: "alsa", "jack".
std::unique_ptr<MidiSystem> open_midi_system(const std::string& api, const std::string& name);

std::string system_name(RtMidi::Api api);

// From the text of /proc/asound/seq/clients: the numbers of the clients of a name, and what clients
// are connected to.
std::set<int> alsa_clients(const std::string& text, const std::string& name);
Connected alsa_connections(const std::string& text, const std::set<int>& of);

}  // namespace bench
