#include "agent/host/Firmware.h"

#include <utility>

#include "agent/host/Files.h"
#include "agent/host/FirmwareTable.h"
#include "agent/host/Text.h"

namespace varnock::agent {
std::optional<std::string> Firmware::text(const char* name) const {
    return readLine(root_ / "sys/class/dmi/id" / name);
}

/// The table does not change while the machine runs.
const SmbiosTable& Firmware::table() {
    static const SmbiosTable none;
    if (!table_) {
        table_ = tableOfKernel(root_);
    }
    if (!table_ && !triedMemory_ && root_ == "/") {
        triedMemory_ = true;
        table_ = tableInMemory();
    }
    return table_ ? *table_ : none;
}

/// Without a table, one component with the data of the kernel's files.
std::vector<Component> Firmware::orTexts(std::vector<Component> components,
                                         const TextNames& names) const {
    if (!components.empty()) {
        return components;
    }
    Component known;
    known.manufacturer = text(names.manufacturer);
    known.model = names.model != nullptr ? text(names.model) : std::nullopt;
    known.version = text(names.version);
    known.serialNumber = text(names.serialNumber);
    known.assetTag = names.assetTag != nullptr ? text(names.assetTag) : std::nullopt;
    if (known.manufacturer || known.model || known.version || known.serialNumber ||
        known.assetTag) {
        components.push_back(std::move(known));
    }
    return components;
}

std::vector<Component> Firmware::systems() {
    return orTexts(agent::systems(table()), {.manufacturer = "sys_vendor",
                                             .model = "product_name",
                                             .version = "product_version",
                                             .serialNumber = "product_serial",
                                             .assetTag = nullptr});
}

std::vector<Component> Firmware::boards() {
    return orTexts(agent::boards(table()), {.manufacturer = "board_vendor",
                                            .model = "board_name",
                                            .version = "board_version",
                                            .serialNumber = "board_serial",
                                            .assetTag = "board_asset_tag"});
}

std::vector<Component> Firmware::chassis() {
    return orTexts(agent::chassis(table()), {.manufacturer = "chassis_vendor",
                                             .model = nullptr,
                                             .version = "chassis_version",
                                             .serialNumber = "chassis_serial",
                                             .assetTag = "chassis_asset_tag"});
}

std::vector<Component> Firmware::processors() {
    return agent::processors(table());
}

std::optional<std::vector<MemoryModule>> Firmware::memoryModules() {
    return agent::memoryModules(table());
}

std::optional<std::vector<PowerSupply>> Firmware::powerSupplies() {
    return agent::powerSupplies(table());
}

std::optional<std::string> Firmware::assetTag() {
    std::vector<Component> all = chassis();
    return all.empty() ? std::nullopt : std::move(all.front().assetTag);
}

std::optional<std::string> Firmware::biosVersion() {
    return orElse(agent::biosVersion(table()), text("bios_version"));
}

std::optional<std::string> Firmware::uuid() {
    return orElse(text("product_uuid"), systemUuid(table()));
}

}  // namespace varnock::agent
