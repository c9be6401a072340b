#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnock::agent {

using AddressBytes = std::vector<unsigned char>;

/// An IP address of an interface with its netmask, 4 or 16 bytes each in network order.
struct InterfaceAddress {
    AddressBytes address;
    AddressBytes netmask;
};

struct NetworkInterface {
    std::string name;
    unsigned index = 0;
    /// Hardware address; empty unless it has six bytes.
    AddressBytes mac;
    /// IPv4 before IPv6.
    std::vector<InterfaceAddress> addresses;
};

/// The interfaces of the system in the order of their index, without the loopback. Empty if they
/// cannot be read.
std::vector<NetworkInterface> networkInterfaces();

/// The IPv4 default gateway of an interface with the lowest metric, from a table in the format of
/// /proc/net/route.
std::optional<AddressBytes> defaultGateway(std::string_view routes, std::string_view interfaceName);

/// The same for IPv6, from a table in the format of /proc/net/ipv6_route.
std::optional<AddressBytes> defaultGatewayIpv6(std::string_view routes,
                                               std::string_view interfaceName);

}  // namespace varnock::agent
