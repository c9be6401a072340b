#pragma once

#include <filesystem>
#include <optional>
#include <vector>

namespace varnock::agent {

struct PciPlace {
    unsigned char bus;
    unsigned char device;
    unsigned char function;

    auto operator<=>(const PciPlace&) const =
        default;  // NOLINT(modernize-use-nullptr) -- not there
};

/// The PCI functions of segment 0, the only one that a command can address. Read on each request.
class PciDevices {
  public:
    explicit PciDevices(std::filesystem::path root) : root_(std::move(root)) {}

    /// In ascending order; nothing if the machine has no PCI bus.
    std::optional<std::vector<PciPlace>> list() const;
    /// The 64 bytes of the configuration header.
    std::optional<std::vector<unsigned char>> header(PciPlace place) const;

  private:
    std::filesystem::path root_;
};

}  // namespace varnock::agent
