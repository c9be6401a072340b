#pragma once

#include <filesystem>
#include <vector>

#include "agent/host/PowerZones.h"
#include "agent/host/Sensor.h"
#include "agent/host/Sensors.h"

namespace varnock::agent {

/// The power that components take, by component class: memory, the cabinet, processors. Read on
/// each request. Not thread-safe.
class PowerConsumption {
  public:
    using Time = PowerZones::Time;

    /// The sensors must outlive the object.
    PowerConsumption(std::filesystem::path root, Sensors& sensors)
        : zones_(std::move(root)), sensors_(sensors) {}

    /// The classes that have meters, in ascending order.
    std::vector<unsigned> classes(Time now);
    std::vector<PowerMeter> meters(unsigned componentClass, Time now);

  private:
    PowerZones zones_;
    Sensors& sensors_;
};

}  // namespace varnock::agent
