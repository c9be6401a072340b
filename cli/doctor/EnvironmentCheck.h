#pragma once

#include <vector>

#include "cli/doctor/Finding.h"

namespace varnockctl {

/// Checks the library's variables in an environment: a list of NAME=VALUE, terminated by null. Also
/// checks that the named directories and files exist.
[[nodiscard]] std::vector<Finding> checkEnvironment(const char* const* environment);

}  // namespace varnockctl
