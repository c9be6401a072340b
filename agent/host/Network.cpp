#include "agent/host/Network.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <sstream>

namespace varnock::agent {
namespace {

constexpr std::size_t kMacSize = 6;
constexpr unsigned kRouteUp = 0x1;
constexpr unsigned kRouteGateway = 0x2;

struct FreeAddresses {
    void operator()(ifaddrs* list) const { freeifaddrs(list); }
};

/// The bytes at an offset within a socket address; copied because its alignment is unknown.
template <typename Address, typename Field>
AddressBytes bytesOf(const sockaddr* generic, Field Address::*field) {
    Address address{};
    std::memcpy(&address, generic, sizeof address);
    AddressBytes bytes(sizeof(Field));
    std::memcpy(bytes.data(), &(address.*field), bytes.size());
    return bytes;
}

AddressBytes ipBytes(const sockaddr* generic) {
    if (generic == nullptr) {
        return {};
    }
    switch (generic->sa_family) {
        case AF_INET:
            return bytesOf(generic, &sockaddr_in::sin_addr);
        case AF_INET6:
            return bytesOf(generic, &sockaddr_in6::sin6_addr);
        default:
            return {};
    }
}

AddressBytes macBytes(const sockaddr* generic) {
    sockaddr_ll link{};
    std::memcpy(&link, generic, sizeof link);
    if (link.sll_halen != kMacSize) {
        return {};
    }
    return {link.sll_addr, link.sll_addr + kMacSize};
}

void addEntry(NetworkInterface& interface, const ifaddrs& entry) {
    if (entry.ifa_addr == nullptr) {
        return;
    }
    if (entry.ifa_addr->sa_family == AF_PACKET) {
        interface.mac = macBytes(entry.ifa_addr);
    } else if (AddressBytes address = ipBytes(entry.ifa_addr); !address.empty()) {
        interface.addresses.push_back({std::move(address), ipBytes(entry.ifa_netmask)});
    }
}

/// The bytes of an IPv6 address from its 32 hexadecimal digits.
std::optional<AddressBytes> addressOfDigits(std::string_view digits) {
    AddressBytes bytes(sizeof(in6_addr));
    if (digits.size() != 2 * bytes.size()) {
        return std::nullopt;
    }
    for (unsigned char& byte : bytes) {
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + 2, byte, 16);
        if (error != std::errc() || end != digits.data() + 2) {
            return std::nullopt;
        }
        digits.remove_prefix(2);
    }
    return bytes;
}

}  // namespace

std::vector<NetworkInterface> networkInterfaces() {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        return {};
    }
    const std::unique_ptr<ifaddrs, FreeAddresses> owner(list);
    std::map<unsigned, NetworkInterface> found;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        const unsigned index = if_nametoindex(entry->ifa_name);
        if (index == 0 || (entry->ifa_flags & IFF_LOOPBACK) != 0) {
            continue;
        }
        NetworkInterface& interface = found[index];
        interface.index = index;
        interface.name = entry->ifa_name;
        addEntry(interface, *entry);
    }
    std::vector<NetworkInterface> interfaces;
    for (auto& [index, interface] : found) {
        std::stable_sort(interface.addresses.begin(), interface.addresses.end(),
                         [](const InterfaceAddress& a, const InterfaceAddress& b) {
                             return a.address.size() < b.address.size();
                         });
        interfaces.push_back(std::move(interface));
    }
    return interfaces;
}

std::optional<AddressBytes> defaultGateway(std::string_view routes,
                                           std::string_view interfaceName) {
    std::istringstream table{std::string(routes)};
    std::string line;
    std::optional<AddressBytes> gateway;
    unsigned best = std::numeric_limits<unsigned>::max();
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string name;
        std::uint32_t destination = 0;
        std::uint32_t hop = 0;
        unsigned flags = 0;
        unsigned ignored = 0;
        unsigned metric = 0;
        std::uint32_t mask = 0;
        fields >> name >> std::hex >> destination >> hop >> flags;
        fields >> std::dec >> ignored >> ignored >> metric >> std::hex >> mask;
        if (!fields || name != interfaceName || destination != 0 || mask != 0 ||
            (flags & (kRouteUp | kRouteGateway)) != (kRouteUp | kRouteGateway) || metric >= best) {
            continue;
        }
        best = metric;
        // The table prints addresses as integers in host byte order.
        gateway.emplace(sizeof hop);
        std::memcpy(gateway->data(), &hop, sizeof hop);
    }
    return gateway;
}

std::optional<AddressBytes> defaultGatewayIpv6(std::string_view routes,
                                               std::string_view interfaceName) {
    constexpr std::string_view kAny = "00000000000000000000000000000000";
    std::istringstream table{std::string(routes)};
    std::string line;
    std::optional<AddressBytes> gateway;
    unsigned best = std::numeric_limits<unsigned>::max();
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string destination;
        std::string source;
        std::string hop;
        std::string name;
        unsigned length = 0;
        unsigned ignored = 0;
        unsigned metric = 0;
        unsigned flags = 0;
        fields >> destination >> std::hex >> length >> source >> ignored >> hop >> metric;
        fields >> ignored >> ignored >> flags >> name;
        if (!fields || name != interfaceName || destination != kAny || length != 0 ||
            (flags & (kRouteUp | kRouteGateway)) != (kRouteUp | kRouteGateway) || metric >= best) {
            continue;
        }
        if (auto address = addressOfDigits(hop)) {
            best = metric;
            gateway = std::move(address);
        }
    }
    return gateway;
}

}  // namespace varnock::agent
