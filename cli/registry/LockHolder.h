#pragma once

#include <string>

namespace varnockctl {

/// The process that holds a lock (flock) on a file, as "process 17 (name)"; "another process" if
/// the system does not tell, as for a process of another container.
std::string holderText(const std::string& path, const std::string& processes = "/proc");

}  // namespace varnockctl
