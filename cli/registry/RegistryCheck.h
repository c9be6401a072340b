#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace varnockctl {

/// A line of a registry file that is not read as intended.
struct RegistryProblem {
    std::size_t line = 0;  ///< from 1; for missing lines at the end: the number of lines + 1
    std::string text;      ///< the beginning of the line
    std::string problem;
    bool loses = false;  ///< the next save drops the contents of this line
};

/// Checks the text of a registry file; docs/registry-file.md describes the format.
[[nodiscard]] std::vector<RegistryProblem> checkRegistry(std::string_view file);

}  // namespace varnockctl
