#include "measure/bridge.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace bench {
namespace {

constexpr milliseconds START_PATIENCE(60000);
constexpr milliseconds SETTLING(200);
constexpr milliseconds TICK(10);
constexpr milliseconds TENDING(50);
constexpr std::size_t READ_SIZE = 65536;

// Each drawing of a label waits for a shell, which is another matter than the bridge.
WorldConfig without_labels(WorldConfig config) {
    config.removed.emplace_back(LABEL_LIST);
    return config;
}

// Waits until a stream has something to read, room to write or something due, and reads.
void wait_and_receive(Stream& board, Stream& host) {
    Clock::time_point wake = Clock::now() + TENDING;
    std::array<pollfd, 4> polled{};
    std::size_t next = 0;
    for (const Stream* const stream : {&board, &host}) {
        wake = std::min(wake, stream->due().value_or(wake));
        polled[next++] = {stream->to_fd(), POLLIN, 0};
        polled[next++] = {stream->full_fd(), POLLOUT, 0};
    }
    const long long wait = std::max<long long>(0, (wake - Clock::now()).count());
    const timespec timeout = {wait / 1'000'000'000, wait % 1'000'000'000};
    ppoll(polled.data(), polled.size(), &timeout, nullptr);
    if (polled[0].revents != 0) {
        board.receive();
    }
    if (polled[2].revents != 0) {
        host.receive();
    }
}

}  // namespace

void Stream::begin(const Plan& plan) {
    account.begin(plan);
    refused_ = late_ = 0;
}

std::optional<Clock::time_point> Stream::due() const {
    return queue_.empty() ? account.due() : std::nullopt;
}

void Stream::send(Clock::time_point now) {
    if (queue_.empty()) {
        queue_ = account.make(now);
    }
    if (queue_.empty()) {
        return;
    }
    const ssize_t size = write(from_fd_, queue_.data(), queue_.size());
    refused_ += size < static_cast<ssize_t>(queue_.size()) ? 1 : 0;
    if (size > 0) {
        queue_.erase(queue_.begin(), queue_.begin() + size);
    }
}

void Stream::receive() {
    static std::array<std::uint8_t, READ_SIZE> data;
    const ssize_t size = read(to_fd_, data.data(), data.size());
    if (size <= 0) {
        return;
    }
    const Clock::time_point now = Clock::now();
    const long long before = account.arrived();
    for (const Bytes& message : splitter_.feed(data.data(), static_cast<std::size_t>(size))) {
        account.take(message, now);
    }
    late_ += account.all_sent() && queue_.empty() ? account.arrived() - before : 0;
}

void Stream::forget() const {
    std::array<char, READ_SIZE> forgotten;
    while (read(to_fd_, forgotten.data(), forgotten.size()) > 0) {
    }
}

Bridge::Bridge(const WorldConfig& config, bool relayed) : controller_(without_labels(config)) {
    while (!controller_.ready()) {
        step(TICK);
        if (controller_.now() > START_PATIENCE) {
            throw std::runtime_error("the bridge has not opened its lines");
        }
    }
    ready_at_ = controller_.events().size();
    const int board = controller_.hand_over(End::Board);
    const int host = controller_.hand_over(End::Host);
    const auto tracks = [&](End from) {
        return choose_tracks(controller_.mapping(), controller_.host(), from, relayed);
    };
    board_.emplace(End::Board, board, host, tracks(End::Board));
    host_.emplace(End::Host, host, board, tracks(End::Host));
    rest(SETTLING);
}

void Bridge::step(milliseconds time) {
    controller_.step(time);
    if (controller_.exit_status()) {
        throw std::runtime_error("the bridge ended with status " +
                                 std::to_string(*controller_.exit_status()) + ": " + said());
    }
}

void Bridge::rest(milliseconds time) {
    for (const milliseconds until = controller_.now() + time; controller_.now() < until;) {
        step(TICK);
        board_->forget();
        host_->forget();
    }
}

bool Bridge::run(const Plan& board, const Plan& host, const std::function<void()>& meanwhile) {
    board_->begin(board);
    host_->begin(host);
    for (Clock::time_point tended = Clock::now();;) {
        const Clock::time_point now = Clock::now();
        board_->send(now);
        host_->send(now);
        if (board_->account.failed(now) || host_->account.failed(now)) {
            return false;
        }
        if (board_->done() && host_->done()) {
            return true;
        }
        wait_and_receive(*board_, *host_);
        if (now - tended > TENDING) {
            tended = now;
            step(milliseconds(0));
            if (meanwhile != nullptr) {
                meanwhile();
            }
        }
    }
}

std::string Bridge::said() const {
    std::string text;
    const std::vector<Event>& events = controller_.events();
    for (std::size_t i = ready_at_; i < events.size(); ++i) {
        text += events[i].place == Place::Log ? events[i].text + "\n" : "";
    }
    return text;
}

}  // namespace bench
