// System calls whose failure is thrown.
#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace bench {

[[noreturn]] inline void fail(const std::string& doing) {
    throw std::runtime_error(doing + ": " + strerror(errno));
}

inline int check(long result, const std::string& doing) {
    if (result < 0) {
        fail(doing);
    }
    return static_cast<int>(result);
}

}  // namespace bench
