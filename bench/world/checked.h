// System calls whose failure is thrown.
#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace bench {

// The machine allows no such world.
class Refused : public std::runtime_error {
    using runtime_error::runtime_error;
};

template <typename Error = std::runtime_error>
[[noreturn]] void fail(const std::string& doing) {
    throw Error(doing + ": " + strerror(errno));
}

template <typename Error = std::runtime_error>
int check(long result, const std::string& doing) {
    if (result < 0) {
        fail<Error>(doing);
    }
    return static_cast<int>(result);
}

}  // namespace bench
