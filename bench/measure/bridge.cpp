#include "measure/bridge.h"

#include <unistd.h>

#include <array>
#include <stdexcept>

namespace bench {
namespace {

constexpr milliseconds START_PATIENCE(60000);
constexpr milliseconds SETTLING(200);
constexpr milliseconds TICK(10);
constexpr const char* LABELS = "orvik.miditxt.cfg0.txt";

// Each drawing of a label waits for a shell, which is another matter than the bridge.
WorldConfig without_labels(WorldConfig config) {
    config.removed.emplace_back(LABELS);
    return config;
}

}  // namespace

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
    std::array<char, 4096> forgotten;
    for (const milliseconds until = controller_.now() + time; controller_.now() < until;) {
        step(TICK);
        for (const Stream* const stream : {&*board_, &*host_}) {
            while (read(stream->to_fd(), forgotten.data(), forgotten.size()) > 0) {
            }
        }
    }
}

bool Bridge::run(const Plan& board, const Plan& host, const std::function<void()>& meanwhile) {
    board_->begin(board);
    host_->begin(host);
    return run_streams({&*board_, &*host_}, [&] {
        step(milliseconds(0));
        if (meanwhile != nullptr) {
            meanwhile();
        }
    });
}

std::string Bridge::said() const {
    std::string text;
    const std::vector<Event>& events = controller_.events();
    for (std::size_t i = ready_at_; i < events.size(); ++i) {
        text += events[i].end == End::Log ? events[i].text + "\n" : "";
    }
    return text;
}

}  // namespace bench
