// A daemon, or a relay in its place, that runs between two bare lines.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "controller/controller.h"
#include "measure/traffic.h"

namespace bench {

class Bridge {
  public:
    // Starts the world and waits until both lines are open. Throws what went wrong.
    // `relayed`: what runs copies bytes as they are.
    explicit Bridge(const WorldConfig& config, bool relayed = false);

    // Sends by these plans until all has arrived, `meanwhile` being called now and then. False if
    // something is missing or came unexpected; summary() of the streams then tells.
    bool run(const Plan& board, const Plan& host, const std::function<void()>& meanwhile = nullptr);
    // What goes out from an end.
    Stream& stream(End from) { return from == End::Board ? *board_ : *host_; }
    // Sends nothing for a while, and forgets what comes.
    void rest(milliseconds time);

    pid_t pid() const { return controller_.daemon_pid(); }
    const Controller& controller() const { return controller_; }
    // What the program printed since it was ready.
    std::string said() const;

  private:
    void step(milliseconds time);

    Controller controller_;
    std::optional<Stream> board_, host_;
    std::size_t ready_at_ = 0;
};

}  // namespace bench
