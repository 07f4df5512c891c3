// Inside a world: what the copy of this process does that becomes its first process.
#pragma once

#include <optional>

#include "world/contents.h"
#include "world/platform.h"

namespace bench {

struct Ids {
    uid_t uid;
    gid_t gid;
};

// Builds the world around this process, in namespaces of its own, and starts the daemon in it.
// `platform` is the socket that takes the calls; `to_map`: the user outside that is root inside.
// What goes wrong is reported over the control socket of `orders`.
[[noreturn]] void go_inside(const Contents& contents, const InitOrders& orders, int platform,
                            std::optional<Ids> to_map);

}  // namespace bench
