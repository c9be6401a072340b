#include <gtest/gtest.h>

#include "agent/host/Leases.h"
#include "agent/host/Network.h"
#include "tests/agent/host/HostQuestions.h"

namespace varnock::agent {
namespace {

class NetworkAnswers : public RecordedHost {
  protected:
    HostMachine host_;
};

TEST_F(NetworkAnswers, AnswersOfTheNetworkInterfaces) {
    const auto interfaces = networkInterfaces();
    EXPECT_EQ(number(ask(host_, 0x1700)), interfaces.size());
    const auto count = static_cast<unsigned>(interfaces.size());
    for (unsigned i = 0; i < count; ++i) {
        const auto& interface = interfaces[i];
        const auto mac = bytes(ask(host_, 0x1707, 0, i));
        EXPECT_EQ(mac.value_or(AddressBytes()), interface.mac);
        const auto addresses = static_cast<unsigned>(interface.addresses.size());
        for (unsigned a = 0; a < addresses; ++a) {
            EXPECT_EQ(bytes(ask(host_, 0x1703, a, i)), interface.addresses[a].address);
            EXPECT_EQ(bytes(ask(host_, 0x1704, a, i)), interface.addresses[a].netmask);
        }
        expectNegative(ask(host_, 0x1703, addresses, i));
        expectNegative(ask(host_, 0x1704, addresses, i));
        EXPECT_EQ(number(ask(host_, 0x1706, 0, i)).has_value(),
                  hasLease(interface.index).has_value());
        if (i == 0) {
            expectNegative(ask(machine_, 0x1708, 0, i));
            write("proc/net/route", "x\n" + interface.name + " 0 010200C0 3 0 0 0 0 0 0 0\n");
            EXPECT_EQ(bytes(ask(machine_, 0x1708, 0, i)), (Answer::Bytes{192, 0, 2, 1}));
            expectNegative(ask(machine_, 0x1708, 1, i));
            write("proc/net/ipv6_route", std::string(32, '0') + " 00 " + std::string(32, '0') +
                                             " 00 fe80" + std::string(27, '0') +
                                             "1 00000400 00000003 00000000 00000003 " +
                                             interface.name + "\n");
            Answer::Bytes router(16);
            router[0] = 0xFE;
            router[1] = 0x80;
            router[15] = 1;
            EXPECT_EQ(bytes(ask(machine_, 0x1708, 1, i)), router);
            write("proc/net/route", "");
            EXPECT_EQ(bytes(ask(machine_, 0x1708, 0, i)), router);
            expectNegative(ask(machine_, 0x1708, 1, i));
        }
    }
    for (const unsigned opcode : {0x1703U, 0x1704U, 0x1706U, 0x1707U, 0x1708U}) {
        expectNegative(ask(host_, opcode, 0, count));
    }
}

}  // namespace
}  // namespace varnock::agent
