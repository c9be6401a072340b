#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace varnock::soak {

/// What this process holds.
struct Resources {
    std::vector<std::string> descriptors;  ///< what each is open on, sorted
    std::size_t heap = 0;                  ///< bytes in use
    std::size_t resident = 0;              ///< bytes in memory
};

/// Measures them. The free memory of the heap is given back first.
Resources resourcesNow();
/// The largest number of bytes that were ever in memory.
std::size_t peakMemory();

/// How much more may be in use at the end than after the first round: what the C library keeps for
/// threads and the fragments of the heap, but not a leak with each request.
inline constexpr std::size_t kMoreHeap = std::size_t{256} * 1024;
inline constexpr std::size_t kMoreResident = std::size_t{16} * 1024 * 1024;

/// Why `last` holds more than `first`; nothing if it does not. Sanitizers keep freed memory, so
/// under one only the descriptors count.
std::optional<std::string> leakBetween(const Resources& first, const Resources& last);

}  // namespace varnock::soak
