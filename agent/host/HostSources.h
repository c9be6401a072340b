#pragma once

#include <filesystem>

#include "agent/host/Activity.h"
#include "agent/host/Firmware.h"
#include "agent/host/HostMachine.h"
#include "agent/host/MessageLog.h"
#include "agent/host/OperatingSystem.h"
#include "agent/host/PciDevices.h"
#include "agent/host/PciNames.h"
#include "agent/host/PowerConsumption.h"
#include "agent/host/Processors.h"
#include "agent/host/Sensors.h"
#include "agent/host/ThermalZones.h"
#include "agent/host/Topology.h"

namespace varnock::agent {

/// Nothing is read before it is asked for.
struct HostMachine::Sources {
    explicit Sources(const std::filesystem::path& path)
        : root(path),
          processors(path),
          firmware(path),
          system(path),
          pci(path),
          thermalZones(path),
          power(path, sensors),
          log(path) {}

    std::filesystem::path root;
    Topology topology;
    Processors processors;
    Activity activity;
    Firmware firmware;
    OperatingSystem system;
    PciDevices pci;
    PciNames pciNames;
    Sensors sensors;
    ThermalZones thermalZones;
    PowerConsumption power;
    MessageLog log;
};

}  // namespace varnock::agent
