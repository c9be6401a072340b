#include "agent/host/Controllers.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "agent/host/ComponentClass.h"
#include "hardware/PciConfig.h"

namespace varnock::agent {
namespace {

constexpr unsigned kStorage = 0x01;
constexpr unsigned kNetwork = 0x02;
/// Subclasses of storage: SCSI, RAID, SATA, SAS.
constexpr unsigned kScsiKinds[] = {0x00, 0x04, 0x06, 0x07};

template <typename... Numbers>
std::string formatted(const char* format, Numbers... numbers) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), format, numbers...);
    return text.data();
}

std::optional<unsigned> classOf(const CPciCommonConfigHeader& header) {
    if (header.baseClass == kNetwork) {
        return ComponentClass::kNetworkController;
    }
    for (const unsigned kind : kScsiKinds) {
        if (header.baseClass == kStorage && header.subClass == kind) {
            return ComponentClass::kStorageController;
        }
    }
    return std::nullopt;
}

Controller controllerAt(PciPlace place, const CPciCommonConfigHeader& header, unsigned kind,
                        PciNames& names) {
    const PciId id{header.GetVendorId(), header.GetDeviceId()};
    Controller found;
    found.componentClass = kind;
    found.address = formatted("0000:%02x:%02x.%x", place.bus, place.device, place.function);
    found.partNumber = formatted("%04x:%04x", id.vendor, id.device);
    found.manufacturer = names.vendor(id);
    found.model = names.device(id);
    if (!found.model) {
        found.model = found.partNumber;
    }
    found.version = formatted("%02x", header.GetRevisionId());
    found.description = header.GetSubClassDescription();
    return found;
}

}  // namespace

std::vector<Controller> controllers(const PciDevices& devices, PciNames& names) {
    std::vector<Controller> found;
    for (const PciPlace place : devices.list().value_or(std::vector<PciPlace>())) {
        CPciCommonConfigHeader header{};
        const auto bytes = devices.header(place);
        if (!bytes || bytes->size() != sizeof header) {
            continue;
        }
        std::memcpy(&header, bytes->data(), sizeof header);
        const auto kind = header.IsValid() ? classOf(header) : std::nullopt;
        if (kind) {
            found.push_back(controllerAt(place, header, *kind, names));
        }
    }
    return found;
}

}  // namespace varnock::agent
