#pragma once

#include <optional>
#include <string>
#include <utility>

namespace varnock::agent {

/// A text of the machine; nothing if the machine does not have it.
using Text = std::optional<std::string>;

/// The first text that the machine has.
inline Text orElse(Text preferred, Text otherwise) {
    return preferred ? std::move(preferred) : std::move(otherwise);
}

}  // namespace varnock::agent
