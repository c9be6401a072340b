#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace varnock::agent {

/// The operating system as described by its files, which are read on each request.
class OperatingSystem {
  public:
    explicit OperatingSystem(std::filesystem::path root) : root_(std::move(root)) {}

    /// "Debian GNU/Linux 12 (bookworm)".
    std::optional<std::string> productName() const;
    /// The version of the distribution, else the release of the kernel.
    std::optional<std::string> version() const;
    /// The CIM schema's number of the 64-bit distribution, else that of Linux.
    unsigned dmtfType() const;
    /// The machine id in the form of a UUID.
    std::optional<std::string> machineId() const;

  private:
    std::optional<std::string> release(const std::string& name) const;

    std::filesystem::path root_;
};

std::optional<std::string> hostName();
/// The name of the group that the agent runs in.
std::optional<std::string> ownGroup();
/// Seconds since the epoch.
unsigned systemTime();
/// Current offset of local time from UTC in hours, two's complement; nothing if it is not a whole
/// number of hours.
std::optional<unsigned> timeZoneHours();

}  // namespace varnock::agent
