#pragma once

#include <memory>
#include <optional>
#include <string>

struct sd_hwdb;

namespace varnock::agent {

/// The identity of a PCI function.
struct PciId {
    unsigned vendor;
    unsigned device;
};

/// Names of PCI devices from systemd's hardware database. The first request opens it. Without the
/// database, or if it does not have the device, names are missing. Not thread-safe.
class PciNames {
  public:
    std::optional<std::string> vendor(PciId id);
    std::optional<std::string> device(PciId id);

  private:
    struct Release {
        void operator()(sd_hwdb* database) const;
    };

    std::optional<std::string> property(PciId id, const char* name);

    bool tried_ = false;
    std::unique_ptr<sd_hwdb, Release> database_;
};

}  // namespace varnock::agent
