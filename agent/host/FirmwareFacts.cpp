// What the firmware says about the machine and its components.

#include "agent/host/ComponentClass.h"
#include "agent/host/HostFact.h"

namespace varnock::agent {
namespace {

constexpr const char* kNotTold = "the firmware does not tell it, or not to the user of the agent";

Node boardNode(const NodeBuilder& builder, const Component& board) {
    Node node = componentNode(builder, board);
    builder.add(node, {{"designation", board.designation}});
    return node;
}

Node moduleNode(const NodeBuilder& builder, const MemoryModule& module) {
    Node node = componentNode(builder, module);
    builder.add(node, {{"socket", module.designation},
                       {"type", module.type},
                       {"size", module.mebibytes},
                       {"frequency", module.megahertz},
                       {"frequencyMax", module.maxMegahertz},
                       {"formFactor", module.formFactor},
                       {"voltage", module.voltage}});
    return node;
}

/// The whole machine is the only component without a place of its own in the description.
Node elements(Host& host, unsigned, const NodeBuilder& builder) {
    const std::vector<Component> systems = host.firmware.systems();
    if (systems.empty()) {
        return Node();
    }
    return builder.list(
        std::vector{ComponentClass::kCabinet}, [&](const NodeBuilder& element, unsigned number) {
            Node node = element.object({{"class", number}});
            element.add(node, "objects", element.member("objects").list(systems, componentNode));
            return node;
        });
}

/// A text of the first component that describes the whole machine.
template <auto member>
Answer ofSystem(Host& host, unsigned) {
    const auto system = numbered(host.firmware.systems(), 0);
    return system ? Answer((*system).*member) : Status::notAvailable;
}

Node firmwareNode(const NodeBuilder& builder, const std::string& version) {
    return builder.object({{"type", std::string("BIOS")}, {"version", version}});
}

constexpr HostFact kFirmwareFacts[] = {
    {"system.assetTag", [](Host& host, unsigned) -> Answer { return host.firmware.assetTag(); },
     kNotTold},
    {"cabinets[].model", ofSystem<&Component::model>, kNotTold},
    {"cabinets[].serialNumber", ofSystem<&Component::serialNumber>, kNotTold},
    {"cabinets[].elements", elements, kNotTold},
    {"cabinets[].chassis",
     [](Host& host, unsigned, const NodeBuilder& builder) {
         const auto chassis = numbered(host.firmware.chassis(), 0);
         return chassis ? componentNode(builder, *chassis) : Node();
     },
     kNotTold},
    {"cabinets[].systemBoards",
     [](Host& host, unsigned, const NodeBuilder& builder) {
         return listOf(builder, host.firmware.boards(), boardNode);
     },
     kNotTold},
    {"cabinets[].memoryModules",
     [](Host& host, unsigned, const NodeBuilder& builder) {
         const auto modules = host.firmware.memoryModules();
         return modules ? builder.list(*modules, moduleNode) : Node();
     },
     kNotTold},
    {"cabinets[].updates.installed",
     [](Host& host, unsigned, const NodeBuilder& builder) {
         const auto version = host.firmware.biosVersion();
         return version ? builder.list(std::vector{*version}, firmwareNode) : Node();
     },
     kNotTold},
};

}  // namespace

Node componentNode(const NodeBuilder& builder, const Component& component) {
    return builder.object({{"manufacturer", component.manufacturer},
                           {"model", component.model},
                           {"version", component.version},
                           {"serialNumber", component.serialNumber},
                           {"partNumber", component.partNumber},
                           {"description", component.description}});
}

std::span<const HostFact> firmwareFacts() {
    return kFirmwareFacts;
}

}  // namespace varnock::agent
