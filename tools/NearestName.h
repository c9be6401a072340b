#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace varnock {

/// The name that a mistyped one probably stands for: the one that needs the fewest characters to be
/// inserted, deleted or replaced, whatever their case. Empty if that is more than half of the
/// longer name.
[[nodiscard]] std::string nearestName(std::string_view mistyped,
                                      const std::vector<std::string>& names);

/// The names that need the fewest such changes, at most `count`, the nearest first.
[[nodiscard]] std::vector<std::string> nearestNames(std::string_view mistyped,
                                                    const std::vector<std::string>& names,
                                                    std::size_t count);

/// Names in a sentence: "a, b and c".
[[nodiscard]] std::string alternatives(const std::vector<std::string>& names);

}  // namespace varnock
