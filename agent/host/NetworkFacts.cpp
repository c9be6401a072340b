// Network interfaces.

#include "agent/host/Files.h"
#include "agent/host/HostFact.h"
#include "agent/host/Leases.h"
#include "agent/host/Network.h"

namespace varnock::agent {
namespace {

constexpr const char* kNoInterface = "the system has no such interface, or the interface not this";

/// Nothing in place of no bytes.
std::optional<AddressBytes> given(const AddressBytes& bytes) {
    return bytes.empty() ? std::nullopt : std::optional(bytes);
}

Node addressNode(const NodeBuilder& builder, const InterfaceAddress& address) {
    return builder.object({{"address", address.address}, {"netmask", given(address.netmask)}});
}

Node interfaceNode(const NodeBuilder& builder, const NetworkInterface& interface) {
    Node node = builder.object({{"mac", given(interface.mac)}});
    builder.add(node, "addresses",
                builder.member("addresses").list(interface.addresses, addressNode));
    return node;
}

std::optional<NetworkInterface> interfaceNumber(unsigned number) {
    return numbered(networkInterfaces(), number);
}

Answer usesDhcp(Host&, unsigned number) {
    const auto interface = interfaceNumber(number);
    const auto leased = interface ? hasLease(interface->index) : std::nullopt;
    return leased ? Number(*leased ? 1 : 0) : std::nullopt;
}

/// The default gateways of an interface: that of IPv4 before that of IPv6.
Node gateways(Host& host, unsigned number, const NodeBuilder& builder) {
    const auto interface = interfaceNumber(number);
    if (!interface) {
        return Node();
    }
    const std::string routes = readFile(host.root / "proc/net/route").value_or("");
    const std::string routesIpv6 = readFile(host.root / "proc/net/ipv6_route").value_or("");
    std::vector<AddressBytes> gateways;
    for (const auto& found : {defaultGateway(routes, interface->name),
                              defaultGatewayIpv6(routesIpv6, interface->name)}) {
        if (found) {
            gateways.push_back(*found);
        }
    }
    return builder.values(gateways);
}

constexpr HostFact kNetworkFacts[] = {
    {"cabinets[].networkInterfaces",
     [](Host&, unsigned, const NodeBuilder& builder) {
         return builder.list(networkInterfaces(), interfaceNode);
     },
     kNoInterface},
    {"cabinets[].networkInterfaces[].dhcp", usesDhcp,
     "the interface has no IPv4 address that expires"},
    {"cabinets[].networkInterfaces[].gateways", gateways, kNoInterface},
};

}  // namespace

std::span<const HostFact> networkFacts() {
    return kNetworkFacts;
}

}  // namespace varnock::agent
