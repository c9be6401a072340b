#include "agent/host/Network.h"

#include <gtest/gtest.h>
#include <net/if.h>

#include <set>

namespace varnock::agent {
namespace {

constexpr const char* kRoutes =
    "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
    "eth0\t00000000\t010200C0\t0003\t0\t0\t100\t00000000\t0\t0\t0\n"
    "eth0\t00000000\t020200C0\t0003\t0\t0\t50\t00000000\t0\t0\t0\n"
    "eth0\t00000000\t050200C0\t0003\t0\t0\t50\t00000000\t0\t0\t0\n"
    "eth0\t000200C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"
    "eth1\t00000000\t030200C0\t0002\t0\t0\t0\t00000000\t0\t0\t0\n"
    "eth2\t00000000\t040200C0\t0003\t0\t0\t0\t000000FF\t0\t0\t0\n";

TEST(Network, FindsTheGatewayOfLeastMetric) {
    EXPECT_EQ(defaultGateway(kRoutes, "eth0"), (AddressBytes{192, 0, 2, 2}));
}

TEST(Network, HasNoGatewayWithoutADefaultRouteThatIsUp) {
    EXPECT_EQ(defaultGateway(kRoutes, "eth1"), std::nullopt);
    EXPECT_EQ(defaultGateway(kRoutes, "eth2"), std::nullopt);
    EXPECT_EQ(defaultGateway(kRoutes, "eth"), std::nullopt);
    EXPECT_EQ(defaultGateway("", "eth0"), std::nullopt);
    EXPECT_EQ(defaultGateway("eth0 zz\neth0\n\n", "eth0"), std::nullopt);
}

std::string routeIpv6(const std::string& destination, const std::string& hop,
                      const std::string& metric, const std::string& flags) {
    return destination + " " + std::string(32, '0') + " 00 " + hop + " " + metric +
           " 00000003 00000000 " + flags + "     eth0\n";
}

TEST(Network, FindsTheIpv6GatewayOfLeastMetric) {
    const std::string any = std::string(32, '0') + " 00";
    const std::string near = "fe80" + std::string(26, '0') + "01";
    const std::string far = "fe80" + std::string(26, '0') + "02";
    const AddressBytes expected{0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    const std::string routes = routeIpv6(any, far, "00000400", "00000003") +
                               routeIpv6(any, near, "00000100", "00000003") +
                               routeIpv6(any, far, "00000100", "00000003");
    EXPECT_EQ(defaultGatewayIpv6(routes, "eth0"), expected);
    EXPECT_EQ(defaultGatewayIpv6(routes, "eth1"), std::nullopt);
}

TEST(Network, HasNoIpv6GatewayWithoutADefaultRouteThatIsUp) {
    const std::string hop = "fe80" + std::string(26, '0') + "01";
    const std::string any = std::string(32, '0') + " 00";
    for (const std::string& route :
         {routeIpv6(any, hop, "00000100", "00000001"), routeIpv6(any, hop, "00000100", "00200200"),
          routeIpv6("fd" + std::string(30, '0') + " 40", hop, "00000100", "00000003"),
          routeIpv6(std::string(32, '0') + " 80", hop, "00000100", "00000003"),
          routeIpv6(any, "fe80", "00000100", "00000003"),
          routeIpv6(any, std::string(32, 'x'), "00000100", "00000003"), std::string("eth0\n\n"),
          std::string()}) {
        EXPECT_EQ(defaultGatewayIpv6(route, "eth0"), std::nullopt) << route;
    }
}

TEST(Network, ListsTheInterfacesOfThisHostInTheOrderOfTheirIndex) {
    std::set<std::string> expected;
    struct if_nameindex* list = if_nameindex();
    for (const struct if_nameindex* entry = list; entry->if_index != 0; ++entry) {
        if (std::string(entry->if_name) != "lo") {
            expected.insert(entry->if_name);
        }
    }
    if_freenameindex(list);
    std::set<std::string> found;
    unsigned last = 0;
    for (const NetworkInterface& interface : networkInterfaces()) {
        found.insert(interface.name);
        EXPECT_GT(interface.index, last);
        last = interface.index;
        EXPECT_TRUE(interface.mac.empty() || interface.mac.size() == 6);
        std::size_t size = 4;
        for (const InterfaceAddress& address : interface.addresses) {
            EXPECT_GE(address.address.size(), size) << "IPv4 comes first";
            size = address.address.size();
            EXPECT_TRUE(address.netmask.empty() || address.netmask.size() == size);
        }
    }
    EXPECT_EQ(found, expected);
}

}  // namespace
}  // namespace varnock::agent
