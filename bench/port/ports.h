// The ends of a virtual controller that are connected to what is outside of it.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "controller/controller.h"
#include "port/heard.h"
#include "port/outside.h"

namespace bench {

struct PortPlan {
    bool host = false;  // the host's end is a port
    std::string where;  // a name, or the path of a device; empty: the product's name
    std::string board;  // device that is the board's end; empty: it stays the virtual board

    bool any() const { return host || !board.empty(); }
};

class Ports {
  public:
    // `product` is the name of a port that has no other. Throws NoOutside.
    Ports(const PortPlan& plan, const std::string& product);

    // Goes on with a controller that has just been started.
    void attach(Controller& controller);
    // Controller::step(), and carries what came at the ends that are connected.
    void step(Controller& controller, milliseconds timeout);
    // This end is connected.
    bool has(End end) const;
    // "port →1 ←2, board open, 3 lost"; the last part only where there is a loss.
    std::string state() const;
    // What a real board has said since the start; null if there is none.
    const Heard* heard() const { return has(End::Board) ? &heard_ : nullptr; }

  private:
    // Messages that wait, as many as there is room for.
    struct Queue {
        void put(const Bytes& message);
        Bytes take();

        std::deque<Bytes> messages{};
        std::size_t bytes = 0;
        long long lost = 0;
    };
    struct Connection {
        End end;
        std::unique_ptr<Outside> outside;
        Queue in{}, out{};  // to the daemon, to the outside
    };

    void carry_in(Connection& one, Controller& controller);
    static void carry_out(Connection& one);

    std::vector<Connection> connections_;
    Heard heard_;
    std::size_t seen_ = 0;  // events up to here were carried
};

}  // namespace bench
