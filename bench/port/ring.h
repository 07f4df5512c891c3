// Bytes from one thread to another, without a lock and without waiting.
#pragma once

#include <algorithm>
#include <atomic>
#include <vector>

#include "controller/midi_text.h"

namespace bench {

class Ring {
  public:
    explicit Ring(std::size_t capacity) : bytes_(capacity) {}

    // For one thread: puts all of it in, or nothing if there is no room, which is counted.
    bool put(const Bytes& bytes) {
        const std::size_t end = end_.load(std::memory_order_relaxed);
        if (bytes.size() > bytes_.size() - (end - start_.load(std::memory_order_acquire))) {
            lost_.fetch_add(1, std::memory_order_relaxed);
            return false;
        }
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes_[(end + i) % bytes_.size()] = bytes[i];
        }
        end_.store(end + bytes.size(), std::memory_order_release);
        return true;
    }
    // For another one: takes at most that many out.
    Bytes take(std::size_t most) {
        const std::size_t start = start_.load(std::memory_order_relaxed);
        Bytes taken(std::min(most, end_.load(std::memory_order_acquire) - start));
        for (std::size_t i = 0; i < taken.size(); ++i) {
            taken[i] = bytes_[(start + i) % bytes_.size()];
        }
        start_.store(start + taken.size(), std::memory_order_release);
        return taken;
    }
    // Pieces that there was no room for.
    long long lost() const { return lost_.load(std::memory_order_relaxed); }

  private:
    Bytes bytes_;
    std::atomic<std::size_t> start_{0}, end_{0};
    std::atomic<long long> lost_{0};
};

}  // namespace bench
