#pragma once

#include <vector>

#include "cli/doctor/Finding.h"

namespace varnockctl {

/// What is wrong with the variables of the library in an environment, a list of NAME=VALUE that
/// ends with null. Directories and files are looked for.
std::vector<Finding> checkEnvironment(const char* const* environment);

}  // namespace varnockctl
