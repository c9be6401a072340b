#pragma once

#include <filesystem>
#include <vector>

#include "agent/host/Sensor.h"

namespace varnock::agent {

/// A temperature of the kernel's thermal management.
struct ThermalZone {
    std::string type;  ///< "x86_pkg_temp", "acpitz" …
    unsigned number;   ///< in the name of the zone's directory
};

/// The kernel's thermal zones. Read on each request.
class ThermalZones {
  public:
    explicit ThermalZones(std::filesystem::path root) : root_(std::move(root)) {}

    /// In ascending order of their numbers.
    std::vector<ThermalZone> list() const;
    /// The zone's temperature, with the temperatures of its first hot and critical trip points.
    TemperatureSensor sensor(const ThermalZone& zone) const;

  private:
    std::filesystem::path directory(unsigned number) const;
    std::optional<double> celsius(const std::filesystem::path& file) const;
    std::optional<double> tripPoint(const ThermalZone& zone, std::string_view type) const;

    std::filesystem::path root_;
};

}  // namespace varnock::agent
