#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace varnockctl {

/// The name of a process, given its directory such as /proc/1; empty if it has gone.
inline std::string processName(const std::filesystem::path& directory) {
    std::string name;
    std::ifstream comm(directory / "comm");
    std::getline(comm, name);
    return name;
}

}  // namespace varnockctl
