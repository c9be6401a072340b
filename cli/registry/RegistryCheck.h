#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace varnockctl {

/// A line of a registry file that is not read as it was meant.
struct RegistryProblem {
    std::size_t line = 0;  ///< from 1; one more than there are for what is missing at the end
    std::string text;      ///< of the line
    std::string problem;
    bool loses = false;  ///< the next save leaves out what the file says here
};

/// Looks through the text of a registry file, as docs/registry-file.md describes it.
std::vector<RegistryProblem> checkRegistry(std::string_view file);

}  // namespace varnockctl
