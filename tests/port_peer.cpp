// Other software on the far side of the virtual controller's port, on JACK's own interface.
//
// clang-format off
//   port_peer exchange COUNT   connects, says hello, takes COUNT messages, the last one system exclusive,
//                              then sends COUNT notes, a long message, a clock, and says goodbye
//   port_peer exchange 0       stays connected
//   port_peer latency COUNT    status queries through the bridge, beside the same through a bare client
// clang-format on
#include <fcntl.h>
#include <jack/jack.h>
#include <jack/midiport.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<unsigned char>;

const Bytes HELLO = {0x90, 115, 1}, GOODBYE = {0x90, 115, 2};
// Cycles of the server after which a first message is sent again: a connection that has just been
// made may lose it.
constexpr int PATIENCE = 200;
const Bytes QUERY = {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7};
constexpr std::size_t SYSEX = 200;  // bytes, from the board
const Bytes LONG = [] {
    Bytes message(3000, 0x11);
    message.front() = 0xF0;
    message.back() = 0xF7;
    return message;
}();
constexpr int LIGHTS = 24;  // as many are sent in a cycle, so that none overtakes itself
constexpr int DECK = 12;    // of notes 60 to 71 and 81 to 92

class Client {
  public:
    explicit Client(const char* name)
        : client_(jack_client_open(name, JackNoStartServer, nullptr)) {
        if (client_ == nullptr) {
            std::fputs("no JACK server\n", stderr);
            std::exit(2);
        }
        in_ = jack_port_register(client_, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
        out_ = jack_port_register(client_, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
        const auto run = [](jack_nframes_t frames, void* self) {
            static_cast<Client*>(self)->cycle(frames);
            return 0;
        };
        jack_set_process_callback(client_, run, this);
    }
    virtual ~Client() { jack_client_close(client_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void start() { jack_activate(client_); }
    // Connects the first port that each pattern matches, as soon as there is one.
    void link(const char* from, const char* to) {
        if (jack_connect(client_, await(from).c_str(), await(to).c_str()) != 0) {
            std::fprintf(stderr, "%s: not connected\n", from);
            std::exit(2);
        }
    }
    void stop() { jack_deactivate(client_); }

  protected:
    virtual void take(const Bytes& message) = 0;
    virtual void give() = 0;
    bool send(const Bytes& message) {
        return jack_midi_event_write(buffer_, 0, message.data(), message.size()) == 0;
    }

  private:
    std::string await(const char* pattern) {
        for (;; usleep(20000)) {
            const char** const names = jack_get_ports(client_, pattern, JACK_DEFAULT_MIDI_TYPE, 0);
            if (names != nullptr) {
                const std::string name = names[0];
                jack_free(names);
                return name;
            }
        }
    }
    void cycle(jack_nframes_t frames) {
        void* const came = jack_port_get_buffer(in_, frames);
        buffer_ = jack_port_get_buffer(out_, frames);
        jack_midi_clear_buffer(buffer_);
        jack_midi_event_t event;
        for (jack_nframes_t i = 0; jack_midi_event_get(&event, came, i) == 0; ++i) {
            take(Bytes(event.buffer, event.buffer + event.size));
        }
        give();
    }

    jack_client_t* client_;
    jack_port_t *in_, *out_;
    void* buffer_ = nullptr;
};

class Exchange : public Client {
  public:
    explicit Exchange(int count) : Client("software"), count_(count) {}

    std::atomic<bool> connected{false}, done{false};
    int taken = 0, sent = 0, unexpected = 0;

  private:
    // A button that is up is pressed, one that is down let go; the last one is system exclusive.
    void take(const Bytes& message) override {
        bool good = message.size() == 3 && message[1] < 128;
        if (good) {
            bool& down = down_[message[1]];
            good = (message[0] & 0xEF) == 0x80 && (message[0] == 0x90) != down;
            down = !down;
        } else {
            good = message.size() == SYSEX && message.back() == 0xF7 && taken == count_ - 1;
        }
        ++(good ? taken : unexpected);
    }
    void give() override {
        if (!connected || done) {
            return;
        }
        if (taken == 0 && cycles_++ % PATIENCE == 0) {
            send(HELLO);
        }
        for (int i = 0; i < LIGHTS && taken == count_ && sent < count_; ++i, ++sent) {
            const auto note = static_cast<unsigned char>(60 + sent % DECK + sent / DECK % 2 * 21);
            const auto value = static_cast<unsigned char>(1 + sent / LIGHTS % 127);
            if (!send({0x90, note, value})) {
                break;
            }
        }
        done = sent == count_ && send(LONG) && send({0xF8}) && send(GOODBYE);
    }

    int count_;
    int cycles_ = 0;
    std::array<bool, 128> down_{};
};

class Through : public Client {
  public:
    Through() : Client("through") {}

  private:
    void take(const Bytes& message) override { came_.push_back(message); }
    void give() override {
        std::for_each(came_.begin(), came_.end(), [this](const Bytes& one) { send(one); });
        came_.clear();
    }
    std::vector<Bytes> came_;
};

class Questions : public Client {
  public:
    explicit Questions(const char* name) : Client(name) {}

    // Milliseconds until the answer, which is system exclusive, too.
    double ask() {
        const Clock::time_point start = Clock::now();
        for (++asked_; answered_ != asked_; usleep(50)) {
        }
        return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    }

  private:
    void take(const Bytes& message) override {
        if (message[0] == QUERY[0]) {
            answered_ = sent_;
        }
    }
    void give() override {
        if (sent_ != asked_ && send(QUERY)) {
            ++sent_;
        } else if (sent_ > 0 && answered_ == 0 && ++cycles_ % PATIENCE == 0) {
            send(QUERY);
        }
    }
    std::atomic<int> asked_{0}, answered_{0};
    int sent_ = 0, cycles_ = 0;
};

double median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

constexpr const char *FROM_BRIDGE = "^Orvik Two Deck.*:out$", *TO_BRIDGE = "^Orvik Two Deck.*:in$";

int exchange(int count) {
    Exchange peer(count);
    peer.start();
    peer.link(FROM_BRIDGE, "^software:in$");
    peer.link("^software:out$", TO_BRIDGE);
    for (peer.connected = count > 0; !peer.done; usleep(10000)) {
    }
    usleep(100000);  // the last cycle
    peer.stop();
    std::printf("software: %d came, %d unexpected, %d sent\n", peer.taken, peer.unexpected,
                peer.sent);
    return peer.taken == count && peer.unexpected == 0 ? 0 : 1;
}

int latency(int count) {
    Through through;
    Questions bare("bare"), bridged("bridged");
    for (Client* const client : {static_cast<Client*>(&through), static_cast<Client*>(&bare),
                                 static_cast<Client*>(&bridged)}) {
        client->start();
    }
    bare.link("^bare:out$", "^through:in$");
    bare.link("^through:out$", "^bare:in$");
    bridged.link(FROM_BRIDGE, "^bridged:in$");
    bridged.link("^bridged:out$", TO_BRIDGE);
    std::vector<double> without, with;
    for (int i = 0; i < count; ++i) {
        without.push_back(bare.ask());
        with.push_back(bridged.ask());
    }
    std::printf(
        "there and back, median of %d: %.2f ms through a bare client, %.2f ms through the "
        "bridge, %.2f times that\n",
        count, median(without), median(with), median(with) / median(without));
    for (Client* const client : {static_cast<Client*>(&through), static_cast<Client*>(&bare),
                                 static_cast<Client*>(&bridged)}) {
        client->stop();
    }
    return 0;
}

int line(const char* link) {
    const int device = posix_openpt(O_RDWR | O_NOCTTY);
    unlockpt(device);
    unlink(link);
    if (symlink(ptsname(device), link) != 0) {
        return 2;
    }
    std::array<pollfd, 2> polled = {{{device, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
    std::array<char, 4096> data;
    for (;; usleep(1000)) {  // nothing tells that the device is opened
        poll(polled.data(), polled.size(), 100);
        for (const auto& [from, asked, found] : polled) {
            const ssize_t size = (found & POLLIN) != 0 ? read(from, data.data(), data.size()) : 0;
            const int to = from == device ? STDOUT_FILENO : device;
            if (size > 0 && write(to, data.data(), static_cast<std::size_t>(size)) != size) {
                return 1;
            }
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    const int count = argc > 2 ? std::atoi(argv[2]) : 0;
    if (mode == "line" && argc > 2) {
        return line(argv[2]);
    }
    return mode == "latency" ? latency(count) : exchange(count);
}
