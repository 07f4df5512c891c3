// A port of ALSA's sequencer as hardware has it: one client, one port for both ways.
#include <alsa/asoundlib.h>

#include <array>
#include <chrono>
#include <fstream>
#include <map>

#include "port/outside.h"
#include "port/whole.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* SEQUENCER = "/dev/snd/seq";
constexpr auto PERIOD = std::chrono::milliseconds(250);  // between two looks around
constexpr std::size_t POOL = 2000;                       // events: the most that the kernel grants
constexpr std::size_t INPUT = POOL * sizeof(snd_seq_event_t);  // the longest event of such a pool
constexpr std::size_t PIECE = 256;  // bytes of a system exclusive message in an event
constexpr unsigned PORT_IS = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ |
                             SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE |
                             SND_SEQ_PORT_CAP_DUPLEX;
constexpr unsigned LIKE_HARDWARE =
    SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_HARDWARE | SND_SEQ_PORT_TYPE_PORT;

struct Free {
    void operator()(snd_seq_t* sequencer) const { snd_seq_close(sequencer); }
    void operator()(snd_midi_event_t* coder) const { snd_midi_event_free(coder); }
};

// What the library would print goes nowhere: the terminal is the panel's.
void say_nothing(const char*, int, const char*, int, const char*, ...) {}

// The input pool's cells that were given to events or refused them, without those still in use.
// Nothing but this file tells how many; 0 if it cannot be read.
long long cells_passed(int client) {
    std::ifstream clients("/proc/asound/seq/clients");
    long long passed = 0;
    bool ours = false, input = false;
    for (std::string line; std::getline(clients, line);) {
        int number = 0;
        char what[25];
        if (std::sscanf(line.c_str(), "Client %d :", &number) == 1) {
            ours = number == client;
            input = false;
        }
        input |= ours && line.starts_with("  Input pool");
        if (input && std::sscanf(line.c_str(), "    %24[^:]: %d", what, &number) == 2) {
            const std::string counted = what;
            passed += counted.starts_with("Alloc") ? number : 0;
            passed -= counted.starts_with("Cells in use") ? number : 0;
        }
    }
    return passed;
}

// As the kernel lays an event down: the data of one of variable length take cells of their own.
long long cells_of(const snd_seq_event_t& event) {
    const bool has_data = snd_seq_ev_is_variable(&event);
    return 1 + (has_data ? (event.data.ext.len + sizeof event - 1) / sizeof event : 0);
}

// By name; and only what is MIDI shall take room in the pool.
void introduce(snd_seq_t* sequencer, const std::string& name) {
    snd_seq_client_info_t* client;
    snd_seq_client_info_alloca(&client);
    snd_seq_get_client_info(sequencer, client);
    snd_seq_client_info_set_name(client, name.c_str());
    for (int type = SND_SEQ_EVENT_NOTEON; type <= SND_SEQ_EVENT_SENSING; ++type) {
        snd_seq_client_info_event_filter_add(client, type);
    }
    snd_seq_client_info_event_filter_add(client, SND_SEQ_EVENT_SYSEX);
    snd_seq_set_client_info(sequencer, client);
}

class MidiPort final : public Outside {
  public:
    explicit MidiPort(const std::string& name);

    int fd() const override { return fd_; }
    Sent send(const Bytes& message) override;
    std::vector<Bytes> receive() override;
    void look() override;
    std::string state() const override { return state_; }
    long long lost() const override;

  private:
    void take(const snd_seq_event_t& event, std::vector<Bytes>& messages);
    int connections(snd_seq_query_subs_type_t type) const;

    std::unique_ptr<snd_seq_t, Free> sequencer_;
    std::unique_ptr<snd_midi_event_t, Free> coder_;
    int client_ = -1, port_ = -1, fd_ = -1;
    std::map<std::pair<int, int>, WholeMessages> from_;  // by the port that sends
    long long cells_taken_ = 0, overrun_ = 0;
    bool overran_ = false;
    std::string state_;
    Clock::time_point looked_{};
};

MidiPort::MidiPort(const std::string& name) {
    snd_lib_error_set_handler(say_nothing);
    if (const std::string why = why_not_open(SEQUENCER); !why.empty()) {
        const bool missing = errno != EACCES && errno != EPERM;
        throw NoOutside("no ALSA sequencer here: " + why +
                        (missing ? ": load it, as root, with modprobe snd-seq" : ""));
    }
    snd_seq_t* sequencer = nullptr;
    snd_midi_event_t* coder = nullptr;
    const int opened = snd_seq_open(&sequencer, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK);
    sequencer_.reset(sequencer);
    if (opened < 0 || snd_midi_event_new(PIECE, &coder) < 0) {
        throw NoOutside(std::string("ALSA's sequencer: ") + snd_strerror(opened));
    }
    coder_.reset(coder);
    snd_midi_event_no_status(coder, 1);
    introduce(sequencer, name);
    snd_seq_set_client_pool_input(sequencer, POOL);
    snd_seq_set_input_buffer_size(sequencer, INPUT);
    client_ = snd_seq_client_id(sequencer);
    port_ = snd_seq_create_simple_port(sequencer, name.c_str(), PORT_IS, LIKE_HARDWARE);
    if (port_ < 0) {
        throw NoOutside(std::string("ALSA's sequencer gives no port: ") + snd_strerror(port_));
    }
    pollfd polled;
    snd_seq_poll_descriptors(sequencer, &polled, 1, POLLIN);
    fd_ = polled.fd;
    look();
}

int MidiPort::connections(snd_seq_query_subs_type_t type) const {
    snd_seq_query_subscribe_t* query;
    snd_seq_query_subscribe_alloca(&query);
    snd_seq_query_subscribe_set_client(query, client_);
    snd_seq_query_subscribe_set_port(query, port_);
    snd_seq_query_subscribe_set_type(query, type);
    return snd_seq_query_port_subscribers(sequencer_.get(), query) < 0
               ? 0
               : snd_seq_query_subscribe_get_num_subs(query);
}

void MidiPort::look() {
    if (Clock::now() - looked_ < PERIOD) {
        return;
    }
    looked_ = Clock::now();
    state_ = "→" + std::to_string(connections(SND_SEQ_QUERY_SUBS_READ)) + " ←" +
             std::to_string(connections(SND_SEQ_QUERY_SUBS_WRITE));
    if (overran_) {
        overrun_ = std::max(overrun_, cells_passed(client_) - cells_taken_);
    }
}

long long MidiPort::lost() const {
    long long lost = overrun_;
    for (const auto& [address, messages] : from_) {
        lost += messages.dropped();
    }
    return lost;
}

// The kernel reports a subscriber that had no room for it.
Outside::Sent MidiPort::send(const Bytes& message) {
    bool sent = is_whole(message);
    snd_midi_event_reset_encode(coder_.get());
    for (std::size_t done = 0; sent && done < message.size();) {
        snd_seq_event_t event;
        snd_seq_ev_clear(&event);
        const long taken = snd_midi_event_encode(coder_.get(), message.data() + done,
                                                 static_cast<long>(message.size() - done), &event);
        snd_seq_ev_set_source(&event, port_);
        snd_seq_ev_set_subs(&event);
        snd_seq_ev_set_direct(&event);
        sent = taken > 0 && event.type != SND_SEQ_EVENT_NONE &&
               snd_seq_event_output_direct(sequencer_.get(), &event) >= 0;
        done += static_cast<std::size_t>(std::max(taken, 0L));
    }
    return sent ? Sent::Taken : Sent::Lost;
}

std::vector<Bytes> MidiPort::receive() {
    std::vector<Bytes> messages;
    for (;;) {
        snd_seq_event_t* event = nullptr;
        const int result = snd_seq_event_input(sequencer_.get(), &event);
        if (result == -ENOSPC) {  // the kernel has emptied the pool
            overran_ = true;
        } else if (result < 0) {
            return messages;
        } else {
            cells_taken_ += cells_of(*event);
            take(*event, messages);
        }
    }
}

// Pieces of a system exclusive message go on where their sender left off.
void MidiPort::take(const snd_seq_event_t& event, std::vector<Bytes>& messages) {
    constexpr std::size_t MOST = 12;  // a parameter number and its value, in four messages
    Bytes bytes(event.type == SND_SEQ_EVENT_SYSEX ? event.data.ext.len : MOST);
    const long size =
        snd_midi_event_decode(coder_.get(), bytes.data(), static_cast<long>(bytes.size()), &event);
    bytes.resize(static_cast<std::size_t>(std::max(size, 0L)));
    for (Bytes& message : from_[{event.source.client, event.source.port}].feed(bytes)) {
        messages.push_back(std::move(message));
    }
}

}  // namespace

std::unique_ptr<Outside> open_midi_port(const std::string& name) {
    return std::make_unique<MidiPort>(name);
}

}  // namespace bench
