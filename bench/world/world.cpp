#include "world/world.h"

#include "machine/machine.h"
#include "world/namespaces.h"

namespace bench {

std::unique_ptr<World> make_world(const WorldConfig& config) {
    if (config.machine.empty()) {
        return std::make_unique<Namespaces>(config);
    }
    return std::make_unique<Machine>(config);
}

}  // namespace bench
