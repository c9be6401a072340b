#pragma once

#include <chrono>
#include <random>

namespace varnock::soak {

/// Random numbers that depend on the seed alone, in every standard library. Not thread-safe.
class Random {
  public:
    Random(unsigned int seed, unsigned int stream) : engine_(seed * 1000003U + stream) {}

    /// From 0 to `limit` - 1.
    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(engine_()) % limit; }
    unsigned int between(unsigned int low, unsigned int high) {
        return low + below(high - low + 1);
    }
    std::chrono::milliseconds milliseconds(unsigned int low, unsigned int high) {
        return std::chrono::milliseconds(between(low, high));
    }
    bool oneIn(unsigned int chances) { return below(chances) == 0; }

  private:
    std::mt19937 engine_;
};

}  // namespace varnock::soak
