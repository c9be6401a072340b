#pragma once

#include <stdexcept>

namespace varnock::agent {

/// A request that cannot be fulfilled; the text tells its sender why.
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace varnock::agent
