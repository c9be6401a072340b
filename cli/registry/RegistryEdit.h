#pragma once

#include <string>
#include <vector>

#include "cli/registry/RegistryEntries.h"

namespace varnockctl {

/// Makes changes in the text of a registry file and leaves every other byte as it was: comments,
/// order and lines that the library skips. `tree` is the whole tree after the changes. The caller
/// has to compare what the text then means: of entries that stand in a file more than once, the
/// last one is changed.
[[nodiscard]] std::string editedRegistry(const std::string& text,
                                         const std::vector<RegistryChange>& changes,
                                         CRegistryNode& tree);

}  // namespace varnockctl
