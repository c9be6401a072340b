#pragma once

#include <random>

namespace varnock::agent {

/// A number from 0 to below 1: the same for a seed with every standard library, unlike its own
/// distributions.
inline double fraction(std::mt19937_64& random) {
    constexpr int kUnusedBits = 11;  // a double has 53
    return static_cast<double>(random() >> kUnusedBits) * 0x1p-53;
}

}  // namespace varnock::agent
