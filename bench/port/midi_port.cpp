// A port of this computer through RtMidi.
#include <fcntl.h>
#include <rtmidi/RtMidi.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <chrono>

#include "port/outside.h"
#include "port/ring.h"
#include "port/system.h"
#include "port/whole.h"
#include "world/handles.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto PERIOD = std::chrono::milliseconds(250);  // between two looks around
constexpr std::size_t ROOM = 1 << 20;                    // bytes that came and are not taken yet
constexpr std::size_t AT_ONCE = 1 << 12;                 // of them, towards the bridge
constexpr unsigned QUEUE = 100;                          // RtMidi's own, which is not used

class MidiPort : public Outside {
  public:
    MidiPort(const std::string& name, const std::string& api)
        : name_(name), api_(api), ring_(ROOM), wake_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
        open();
    }

    int fd() const override { return wake_.get(); }
    Sent send(const Bytes& message) override;
    Bytes receive() override;
    void look() override {
        if (Clock::now() - looked_ >= PERIOD) {
            look_around();
        }
    }
    std::string state() const override { return state_; }
    long long lost() const override { return ring_.lost(); }

  private:
    void open();
    void open_ports(RtMidi::Api api);
    void close();
    void look_around();
    void came(const Bytes& message);

    std::string name_, api_;
    Ring ring_;  // filled by RtMidi's thread
    Fd wake_;
    std::unique_ptr<MidiSystem> system_;
    std::unique_ptr<RtMidiIn> in_;
    std::unique_ptr<RtMidiOut> out_;
    std::string state_ = "gone";
    Clock::time_point looked_{};
    std::atomic<bool> complained_{false};
};

void MidiPort::open() {
    system_ = open_midi_system(api_, name_);
    try {
        open_ports(system_->api());
    } catch (const RtMidiError&) {
        complained_ = true;
    }
    if (complained_) {
        const std::string name = system_name(system_->api());
        close();
        throw NoOutside(name + " gives no port");
    }
    system_->ports_are_open();
    look_around();
}

void MidiPort::open_ports(RtMidi::Api api) {
    const auto complain = [](RtMidiError::Type, const std::string&, void* self) {
        static_cast<MidiPort*>(self)->complained_ = true;
    };
    complained_ = false;
    out_ = std::make_unique<RtMidiOut>(api, name_);
    in_ = std::make_unique<RtMidiIn>(api, name_, QUEUE);
    out_->setErrorCallback(complain, this);
    in_->setErrorCallback(complain, this);
    in_->ignoreTypes(false, false, false);
    in_->setCallback(
        [](double, Bytes* message, void* self) { static_cast<MidiPort*>(self)->came(*message); },
        this);
    // ALSA's programs list the names of ports, JACK's those of clients and ports.
    const bool alsa = api == RtMidi::LINUX_ALSA;
    out_->openVirtualPort(alsa ? name_ : "out");
    in_->openVirtualPort(alsa ? name_ : "in");
}

void MidiPort::close() {
    in_.reset();
    out_.reset();
    system_.reset();
    state_ = "gone";
}

// On RtMidi's thread.
void MidiPort::came(const Bytes& message) {
    ring_.put(message);
    eventfd_write(wake_.get(), 1);
}

void MidiPort::look_around() {
    looked_ = Clock::now();
    if (system_ != nullptr && system_->gone()) {
        close();
    }
    if (system_ != nullptr) {
        const Connected connected = system_->connected();
        state_ = "→" + std::to_string(connected.get) + " ←" + std::to_string(connected.send);
        return;
    }
    try {
        open();
    } catch (const NoOutside&) {  // not back yet
    }
}

Outside::Sent MidiPort::send(const Bytes& message) {
    if (system_ == nullptr || system_->gone() || !is_whole(message) ||
        !system_->takes(message.size())) {
        return Sent::Lost;
    }
    if (!system_->has_room(message.size())) {
        return Sent::Later;
    }
    complained_ = false;
    out_->sendMessage(&message);
    return complained_ ? Sent::Lost : Sent::Taken;
}

Bytes MidiPort::receive() {
    eventfd_t count;
    eventfd_read(wake_.get(), &count);
    Bytes came = ring_.take(AT_ONCE);
    if (came.size() == AT_ONCE) {
        eventfd_write(wake_.get(), 1);
    }
    return came;
}

}  // namespace

std::unique_ptr<Outside> open_midi_port(const std::string& name, const std::string& api) {
    return std::make_unique<MidiPort>(name, api);
}

}  // namespace bench
