#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "agent/host/Topology.h"

namespace varnock::agent {

/// The number of configured logical processors, online or not, as printed by `nproc --all`.
unsigned configuredProcessors();

/// Data of the kernel's files about each logical processor. Read on each request, because
/// frequencies change and processors go offline and online.
class Processors {
  public:
    explicit Processors(std::filesystem::path root) : root_(std::move(root)) {}

    bool online(unsigned cpu) const;
    std::optional<unsigned> megahertz(unsigned cpu) const;
    std::optional<unsigned> stepping(unsigned cpu) const;
    std::optional<unsigned> apicId(unsigned cpu) const;
    /// One line of the processor's paragraph in /proc/cpuinfo.
    std::optional<std::string> info(unsigned cpu, std::string_view name) const;

  private:
    std::filesystem::path directory(unsigned cpu) const;

    std::filesystem::path root_;
};

}  // namespace varnock::agent
