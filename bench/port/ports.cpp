#include "port/ports.h"

#include <algorithm>

namespace bench {
namespace {

constexpr std::size_t MOST_WAITING = 1 << 18;  // bytes
constexpr std::size_t AT_ONCE = 1 << 12;       // of them, towards the daemon

// What the daemon does not take waits; until it has opened its lines it would drop it.
bool takes(const Controller& controller, End end) {
    return controller.flushed(end) && controller.ready();
}

}  // namespace

void Ports::Queue::put(const Bytes& message) {
    if (bytes + message.size() > MOST_WAITING) {
        ++lost;
        return;
    }
    messages.push_back(message);
    bytes += message.size();
}

Bytes Ports::Queue::take() {
    Bytes message = std::move(messages.front());
    messages.pop_front();
    bytes -= message.size();
    return message;
}

Ports::Ports(const PortPlan& plan, const std::string& product) {
    if (plan.host) {
        const bool device = plan.where.starts_with("/");
        const std::string name = plan.where.empty() ? product : plan.where;
        connections_.push_back(
            {End::Host, device ? open_device(plan.where, Line::AsItIs)
                               : open_midi_port(name.empty() ? "ctlbridge" : name)});
    }
    if (!plan.board.empty()) {
        connections_.push_back({End::Board, open_device(plan.board, Line::Serial)});
    }
}

bool Ports::has(End end) const {
    return std::any_of(connections_.begin(), connections_.end(),
                       [&](const Connection& one) { return one.end == end; });
}

void Ports::attach(Controller& controller) {
    seen_ = 0;
    heard_ = Heard();
    controller.set_answering(!has(End::Board));
}

void Ports::step(Controller& controller, milliseconds timeout) {
    std::vector<int> also;
    for (const Connection& one : connections_) {
        also.push_back(one.outside->fd());
    }
    controller.step(timeout, also);
    for (Connection& one : connections_) {
        one.outside->look();
        for (const Bytes& message : one.outside->receive()) {
            one.in.put(message);
        }
        if (takes(controller, one.end)) {
            carry_in(one, controller);
        }
    }
    const std::vector<Event>& events = controller.events();
    for (; seen_ < events.size(); ++seen_) {
        for (Connection& one : connections_) {
            if (events[seen_].came_to(one.end)) {
                one.out.put(events[seen_].bytes);
            }
        }
        if (events[seen_].wants_pots) {
            heard_.pots_are_wanted();
        }
    }
    for (Connection& one : connections_) {
        carry_out(one);
    }
}

void Ports::carry_in(Connection& one, Controller& controller) {
    std::vector<Bytes> messages;
    for (std::size_t size = 0; !one.in.messages.empty() && size < AT_ONCE;) {
        messages.push_back(one.in.take());
        size += messages.back().size();
        if (one.end == End::Board) {
            heard_.take(messages.back(), controller.mapping());
        }
    }
    if (!messages.empty() && !controller.send(one.end, messages)) {
        one.in.lost += static_cast<long long>(messages.size());
    }
}

void Ports::carry_out(Connection& one) {
    while (!one.out.messages.empty()) {
        const Outside::Sent sent = one.outside->send(one.out.messages.front());
        if (sent == Outside::Sent::Later) {
            return;
        }
        one.out.lost += sent == Outside::Sent::Lost ? 1 : 0;
        one.out.take();
    }
}

std::string Ports::state() const {
    std::string text;
    long long lost = 0;
    for (const Connection& one : connections_) {
        text += text.empty() ? "" : ", ";
        text += (one.end == End::Host ? "port " : "board ") + one.outside->state();
        lost += one.in.lost + one.out.lost + one.outside->lost();
    }
    return text + (lost == 0 ? "" : ", " + std::to_string(lost) + " lost");
}

}  // namespace bench
