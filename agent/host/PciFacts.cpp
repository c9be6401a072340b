// The functions on the PCI bus, and the controllers among them.

#include "agent/host/Controllers.h"
#include "agent/host/HostFact.h"

namespace varnock::agent {
namespace {

constexpr const char* kNoBus = "the machine has no such PCI function";

Node placeNode(const NodeBuilder& builder, const PciPlace& place) {
    return builder.object({{"bus", unsigned{place.bus}},
                           {"device", unsigned{place.device}},
                           {"function", unsigned{place.function}}});
}

Node controllerNode(const NodeBuilder& builder, const Controller& controller) {
    return builder.object({{"class", controller.componentClass},
                           {"manufacturer", controller.manufacturer},
                           {"name", controller.model},
                           {"partNumber", controller.partNumber},
                           {"description", controller.description},
                           {"version", controller.version},
                           {"instanceId", controller.address},
                           {"location", controller.address}});
}

constexpr HostFact kPciFacts[] = {
    {"cabinets[].pciDevices",
     [](Host& host, unsigned, const NodeBuilder& builder) {
         const auto places = host.pci.list();
         return places ? builder.list(*places, placeNode) : Node();
     },
     kNoBus},
    {"cabinets[].pciDevices[].header",
     [](Host& host, unsigned index) -> Answer {
         const auto place = numbered(host.pci.list().value_or(std::vector<PciPlace>()), index);
         return place ? host.pci.header(*place) : std::nullopt;
     },
     kNoBus},
    {"cabinets[].components",
     [](Host& host, unsigned, const NodeBuilder& builder) {
         return host.pci.list() ? builder.list(controllers(host.pci, host.pciNames), controllerNode)
                                : Node();
     },
     kNoBus},
};

}  // namespace

std::span<const HostFact> pciFacts() {
    return kPciFacts;
}

}  // namespace varnock::agent
