#include "agent/host/PciNames.h"

#include <systemd/sd-hwdb.h>

#include <array>
#include <cstdio>

namespace varnock::agent {

void PciNames::Release::operator()(sd_hwdb* database) const {
    sd_hwdb_unref(database);
}

std::optional<std::string> PciNames::property(PciId id, const char* name) {
    if (!tried_) {
        tried_ = true;
        sd_hwdb* database = nullptr;
        if (sd_hwdb_new(&database) >= 0) {
            database_.reset(database);
        }
    }
    // The database has patterns for the kernel's names of devices.
    std::array<char, sizeof "pci:v00000000d00000000"> alias{};
    std::snprintf(alias.data(), alias.size(), "pci:v%08Xd%08X", id.vendor, id.device);
    const char* value = nullptr;
    if (database_ == nullptr || sd_hwdb_get(database_.get(), alias.data(), name, &value) < 0) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::string> PciNames::vendor(PciId id) {
    return property(id, "ID_VENDOR_FROM_DATABASE");
}

std::optional<std::string> PciNames::device(PciId id) {
    return property(id, "ID_MODEL_FROM_DATABASE");
}

}  // namespace varnock::agent
