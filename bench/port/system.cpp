#include "port/system.h"

#include <fcntl.h>
#include <jack/jack.h>
#include <jack/midiport.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include "port/outside.h"
#include "world/handles.h"

namespace bench {
namespace {

constexpr const char* SEQUENCER = "/dev/snd/seq";

// --- JACK ---

// RtMidi puts what it sends into a ring of 16 KiB, where it waits for room without end; its next
// cycle empties that into the server's buffer, and loses what finds no room there. After two cycles
// what was in the ring is out, so that half of it, with a header for each message, always fits.
constexpr std::size_t CYCLES = 2, ROOM = 8192 - 64, HEADER = 4;

template <typename Take>
void for_each_name(const char** names, const Take& take) {
    for (const char** name = names; name != nullptr && *name != nullptr; ++name) {
        take(std::string(*name));
    }
    jack_free(names);
}

// Where the server is and what it does is seen by a client of its own, without a port.
class Jack : public MidiSystem {
  public:
    explicit Jack(const std::string& name) : name_(name) {
        jack_set_error_function([](const char*) {});
        jack_set_info_function([](const char*) {});
        client_ = jack_client_open("ctlbench", JackNoStartServer, nullptr);
        if (client_ == nullptr) {
            throw NoOutside("no JACK server runs here: start one, for example with jackd -d dummy");
        }
        jack_set_process_callback(
            client_,
            [](jack_nframes_t, void* self) { return ++static_cast<Jack*>(self)->cycles_, 0; },
            this);
        jack_on_shutdown(
            client_, [](void* self) { static_cast<Jack*>(self)->gone_ = true; }, this);
        before_ = ports();  // of others by the same name
        jack_activate(client_);
    }
    ~Jack() override { jack_client_close(client_); }
    Jack(const Jack&) = delete;
    Jack& operator=(const Jack&) = delete;

    RtMidi::Api api() const override { return RtMidi::UNIX_JACK; }
    void ports_are_open() override {
        const std::set<std::string> now = ports();
        std::set_difference(now.begin(), now.end(), before_.begin(), before_.end(),
                            std::inserter(ours_, ours_.end()));
    }
    Connected connected() override;
    bool gone() const override { return gone_; }
    bool takes(std::size_t size) const override { return size + HEADER <= ROOM; }
    bool has_room(std::size_t size) override {
        if (cycles_ - counted_since_ >= CYCLES) {
            counted_since_ = cycles_;
            sent_ = 0;
        }
        const bool fits = sent_ + size + HEADER <= ROOM;
        sent_ += fits ? size + HEADER : 0;
        return fits;
    }

  private:
    std::set<std::string> ports() {
        std::set<std::string> found;
        for_each_name(jack_get_ports(client_, nullptr, JACK_DEFAULT_MIDI_TYPE, 0),
                      [&](const std::string& port) {
                          if (port.starts_with(name_)) {  // RtMidi's second client: name_-01
                              found.insert(port);
                          }
                      });
        return found;
    }

    std::string name_;
    jack_client_t* client_;
    std::set<std::string> before_, ours_;
    std::atomic<unsigned> cycles_{0};
    std::atomic<bool> gone_{false};
    unsigned counted_since_ = 0;
    std::size_t sent_ = 0;
};

Connected Jack::connected() {
    Connected connected;
    for (const std::string& name : ours_) {
        const jack_port_t* const port = jack_port_by_name(client_, name.c_str());
        if (port != nullptr) {
            const bool out = (jack_port_flags(port) & JackPortIsOutput) != 0;
            for_each_name(jack_port_get_all_connections(client_, port),
                          [&](const std::string&) { ++(out ? connected.get : connected.send); });
        }
    }
    return connected;
}

// --- ALSA's sequencer ---

class Alsa : public MidiSystem {
  public:
    explicit Alsa(const std::string& name) : name_(name), before_(alsa_clients(text(), name)) {}

    RtMidi::Api api() const override { return RtMidi::LINUX_ALSA; }
    void ports_are_open() override {
        const std::set<int> now = alsa_clients(text(), name_);
        std::set_difference(now.begin(), now.end(), before_.begin(), before_.end(),
                            std::inserter(ours_, ours_.end()));
    }
    Connected connected() override { return alsa_connections(text(), ours_); }
    bool gone() const override { return false; }
    bool takes(std::size_t) const override { return true; }
    bool has_room(std::size_t) override { return true; }

  private:
    static std::string text() {
        std::ifstream file("/proc/asound/seq/clients");
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string name_;
    std::set<int> before_, ours_;
};

// 0, or why it cannot be had.
int sequencer_error() {
    return Fd(open(SEQUENCER, O_RDWR | O_NONBLOCK | O_CLOEXEC)) ? 0 : errno;
}

}  // namespace

std::string system_name(RtMidi::Api api) {
    return api == RtMidi::UNIX_JACK ? "JACK" : "ALSA's sequencer";
}

std::set<int> alsa_clients(const std::string& text, const std::string& name) {
    std::set<int> clients;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        int number;
        const bool named = line.find(" : \"" + name + "\" [") != std::string::npos;
        if (named && std::sscanf(line.c_str(), "Client %d :", &number) == 1) {
            clients.insert(number);
        }
    }
    return clients;
}

Connected alsa_connections(const std::string& text, const std::set<int>& of) {
    Connected connected;
    bool ours = false;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        int number;
        if (std::sscanf(line.c_str(), "Client %d :", &number) == 1) {
            ours = of.contains(number);
        }
        const auto count = static_cast<int>(std::count(line.begin(), line.end(), ',')) + 1;
        if (ours && line.starts_with("    Connecting To:")) {
            connected.get += count;
        } else if (ours && line.starts_with("    Connected From:")) {
            connected.send += count;
        }
    }
    return connected;
}

std::unique_ptr<MidiSystem> open_midi_system(const std::string& api, const std::string& name) {
    const int error = api == "jack" ? ENOENT : sequencer_error();
    if (error == 0) {
        return std::make_unique<Alsa>(name);
    }
    if (api == "alsa") {
        throw NoOutside(std::string("no ALSA sequencer here: ") + SEQUENCER + ": " +
                        strerror(error) + ": load it, as root, with modprobe snd-seq");
    }
    try {
        return std::make_unique<Jack>(name);
    } catch (const NoOutside& no_jack) {
        throw NoOutside(std::string(no_jack.what()) +
                        (api.empty() ? ", or ALSA's sequencer with modprobe snd-seq" : ""));
    }
}

}  // namespace bench
