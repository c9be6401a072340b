#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "agent/host/Topology.h"

namespace varnock::agent {

/// Logical processors that the system is configured for, whether online or not: what
/// `nproc --all` prints.
unsigned configuredProcessors();

/// What the kernel's files say of each logical processor. Read anew at every question, since
/// frequencies change and processors come and go.
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
