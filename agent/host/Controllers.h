#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/host/Components.h"
#include "agent/host/PciDevices.h"
#include "agent/host/PciNames.h"

namespace varnock::agent {

/// A storage or network controller.
struct Controller : Component {
    unsigned componentClass = 0;
    std::string address;  ///< "0000:02:00.0"

    bool operator==(const Controller&) const = default;
};

/// The controllers on the PCI bus, in the order of their addresses: network controllers, and
/// storage controllers whose disks the system treats as SCSI disks. Their names are from the
/// hardware database, else the numbers "8086:1533"; their version is the PCI revision.
std::vector<Controller> controllers(const PciDevices& devices, PciNames& names);

}  // namespace varnock::agent
