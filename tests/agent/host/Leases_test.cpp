#include "agent/host/Leases.h"

#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cstring>
#include <vector>

#include "agent/host/Network.h"

namespace varnock::agent {
namespace {

using MessageBytes = std::vector<unsigned char>;

MessageBytes addressMessage(unsigned interface, unsigned flags, int family = AF_INET,
                            unsigned type = RTM_NEWADDR) {
    struct {
        nlmsghdr header;
        ifaddrmsg address;
    } message{};
    message.header.nlmsg_len = sizeof message;
    message.header.nlmsg_type = static_cast<__u16>(type);
    message.address.ifa_family = static_cast<__u8>(family);
    message.address.ifa_index = interface;
    message.address.ifa_flags = static_cast<__u8>(flags);
    MessageBytes bytes(sizeof message);
    std::memcpy(bytes.data(), &message, sizeof message);
    return bytes;
}

MessageBytes operator+(MessageBytes first, const MessageBytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

TEST(Leases, FindsAnAddressThatExpires) {
    const MessageBytes answer = addressMessage(1, IFA_F_PERMANENT) + addressMessage(2, 0);
    EXPECT_EQ(hasLease(answer, 2), true);
    EXPECT_EQ(hasLease(answer, 1), std::nullopt) << "permanent";
    EXPECT_EQ(hasLease(answer, 3), std::nullopt) << "no such interface";
    EXPECT_EQ(hasLease({}, 1), std::nullopt);
}

TEST(Leases, CountsOnlyIpv4AddressesThatExist) {
    EXPECT_EQ(hasLease(addressMessage(1, 0, AF_INET6), 1), std::nullopt);
    EXPECT_EQ(hasLease(addressMessage(1, 0, AF_INET, RTM_DELADDR), 1), std::nullopt);
}

TEST(Leases, ToleratesAnyBytes) {
    const MessageBytes good = addressMessage(1, 0);
    for (std::size_t size = 0; size < good.size(); ++size) {
        EXPECT_EQ(hasLease(std::span(good).first(size), 1), std::nullopt) << size;
    }
    for (const unsigned length : {0U, 1U, 15U, 255U}) {
        MessageBytes bad = good;
        bad[0] = static_cast<unsigned char>(length);
        EXPECT_EQ(hasLease(bad, 1), std::nullopt) << length;
    }
    MessageBytes headerOnly = good;
    headerOnly[0] = sizeof(nlmsghdr);
    EXPECT_EQ(hasLease(headerOnly, 1), std::nullopt);
}

TEST(Leases, AsksTheKernel) {
    EXPECT_EQ(hasLease(0), std::nullopt);
    for (const NetworkInterface& interface : networkInterfaces()) {
        EXPECT_TRUE(hasLease(interface.index).value_or(true));
    }
}

}  // namespace
}  // namespace varnock::agent
