#include "port/ports.h"

#include <algorithm>

namespace bench {
namespace {

constexpr std::size_t MOST_WAITING = 1 << 18;  // bytes

// What the daemon does not take stays where it is; until it has opened its lines it would drop it.
bool takes(const Controller& controller, End end) {
    return controller.flushed(end) && controller.ready();
}

}  // namespace

Ports::Ports(const PortPlan& plan, const std::string& product) {
    if (plan.host) {
        const bool device = plan.where.starts_with("/");
        const std::string name = plan.where.empty() ? product : plan.where;
        connections_.push_back(
            {End::Host, device ? open_device(plan.where, Line::AsItIs)
                               : open_midi_port(name.empty() ? "ctlbridge" : name, plan.api)});
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
    controller.set_answering(!has(End::Board));
}

void Ports::step(Controller& controller, milliseconds timeout) {
    std::vector<int> also;
    for (const Connection& one : connections_) {
        also.push_back(takes(controller, one.end) ? one.outside->fd() : -1);
    }
    controller.step(timeout, also);
    for (Connection& one : connections_) {
        one.outside->look();
        if (takes(controller, one.end)) {
            carry_in(one, controller);
        }
    }
    const std::vector<Event>& events = controller.events();
    for (; seen_ < events.size(); ++seen_) {
        for (Connection& one : connections_) {
            if (events[seen_].came_to(one.end)) {
                one.waiting.push_back(events[seen_].bytes);
                one.waiting_bytes += events[seen_].bytes.size();
            }
        }
    }
    for (Connection& one : connections_) {
        carry_out(one);
    }
}

void Ports::carry_in(Connection& one, Controller& controller) {
    const Bytes came = one.outside->receive();
    const std::vector<Bytes> messages =
        one.end == End::Host ? one.whole.feed(came) : one.splitter.feed(came.data(), came.size());
    if (!messages.empty() && !controller.send(one.end, messages)) {
        one.lost += static_cast<long long>(messages.size());
    }
}

void Ports::carry_out(Connection& one) {
    while (!one.waiting.empty()) {
        const Outside::Sent sent = one.outside->send(one.waiting.front());
        if (sent == Outside::Sent::Later && one.waiting_bytes <= MOST_WAITING) {
            return;
        }
        one.lost += sent == Outside::Sent::Taken ? 0 : 1;
        one.waiting_bytes -= one.waiting.front().size();
        one.waiting.pop_front();
    }
}

std::string Ports::state() const {
    std::string text;
    long long lost = 0;
    for (const Connection& one : connections_) {
        text += text.empty() ? "" : ", ";
        text += (one.end == End::Host ? "port " : "board ") + one.outside->state();
        lost += one.lost + one.outside->lost() + one.whole.dropped();
    }
    return text + (lost == 0 ? "" : ", " + std::to_string(lost) + " lost");
}

}  // namespace bench
