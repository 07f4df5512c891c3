// A daemon, or a relay in its place, that runs between two bare lines.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "controller/account.h"

namespace bench {

// What goes out from one end of a bridge on a bare line, and comes in at the other.
class Stream {
  public:
    Stream(End from, int from_fd, int to_fd, std::vector<Track> tracks)
        : account(from, std::move(tracks)), from_fd_(from_fd), to_fd_(to_fd) {}

    void begin(const Plan& plan);
    // Sends what is due, or what of it found no room before.
    void send(Clock::time_point now);
    // Takes what has arrived, or forgets it.
    void receive();
    void forget() const;
    bool done() const { return account.done() && queue_.empty(); }

    // Where to wait, and until when: for arrivals, for room in the line, for what is due.
    int to_fd() const { return to_fd_; }
    int full_fd() const { return queue_.empty() ? -1 : from_fd_; }
    std::optional<Clock::time_point> due() const;

    long long refused() const { return refused_; }  // times that the line took no more
    long long late() const { return late_; }        // arrivals after the last sending

    Account account;

  private:
    int from_fd_, to_fd_;
    Bytes queue_;
    Splitter splitter_;
    long long refused_ = 0, late_ = 0;
};

class Bridge {
  public:
    // Starts the world and waits until both lines are open. Throws what went wrong.
    // `relayed`: what runs copies bytes as they are.
    explicit Bridge(const WorldConfig& config, bool relayed = false);

    // Sends by these plans until all has arrived, `meanwhile` being called now and then. False if
    // something is missing or came unexpected; the accounts then tell.
    bool run(const Plan& board, const Plan& host, const std::function<void()>& meanwhile = nullptr);
    const Stream& stream(End from) const { return from == End::Board ? *board_ : *host_; }
    Account& account(End from) { return (from == End::Board ? *board_ : *host_).account; }
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
