#include "tools/PrivateAddress.h"

#include <gtest/gtest.h>

#include <set>

namespace varnock {
namespace {

using namespace std::string_literals;

class PrivateAddress : public testing::Test {
  protected:
    std::string other(std::string_view address) const {
        return otherAddress(key, address).value_or("nothing");
    }
    /// The text with the address at its beginning replaced.
    std::string found(std::string_view text) const {
        const auto address = findAddress(key, text);
        return address ? address->replacement + std::string(text.substr(address->length))
                       : "nothing";
    }

    const KeyedDigest key{"a key"};
};

TEST_F(PrivateAddress, OfOneNetworkStayInOneNetwork) {
    const std::string one = other("203.0.113.7");
    const std::string two = other("203.0.113.8");
    EXPECT_NE(one, "203.0.113.7");
    EXPECT_NE(one, two);
    EXPECT_EQ(one.substr(0, one.rfind('.')), two.substr(0, two.rfind('.')));
    EXPECT_EQ(other("2001:db8::1").substr(0, 9), other("2001:db8::2").substr(0, 9));
}

TEST_F(PrivateAddress, OfDifferentHostsStayDifferent) {
    std::set<std::string> all;
    for (int host = 0; host < 256; ++host) {
        all.insert(other("192.168.5." + std::to_string(host)));
    }
    EXPECT_EQ(all.size(), 256U);
}

TEST_F(PrivateAddress, KeepsPrivateNetworksRecognizable) {
    EXPECT_EQ(other("10.1.2.3").substr(0, 3), "10.");
    EXPECT_EQ(other("192.168.1.2").substr(0, 8), "192.168.");
    EXPECT_EQ(other("169.254.1.2").substr(0, 8), "169.254.");
    EXPECT_EQ(other("172.31.1.2").substr(0, 4), "172.");
    EXPECT_EQ(other("fd12:3456::1").substr(0, 2), "fd");
    EXPECT_EQ(other("fe80::1:2:3:4").substr(0, 6), "fe80::");
    EXPECT_NE(other("fe80::1:2:3:4"), "fe80::1:2:3:4");
}

TEST_F(PrivateAddress, KeepsWhatIsTheSameEverywhere) {
    for (const char* address : {"0.0.0.0", "127.0.0.1", "255.255.255.0", "224.0.0.1", "::", "::1",
                                "ff02::1", "00:00:00:00:00:00", "ff:ff:ff:ff:ff:ff"}) {
        EXPECT_EQ(other(address), address);
    }
    EXPECT_EQ(otherUuid(key, "00000000-0000-0000-0000-000000000000"),
              "00000000-0000-0000-0000-000000000000");
}

TEST_F(PrivateAddress, NeverMakesAnOrdinaryAddressSpecial) {
    for (int i = 1; i < 200; ++i) {
        const std::string address = other(std::to_string(i == 10 || i == 127 ? 11 : i) + ".9.9.9");
        EXPECT_NE(other(address), address) << "kept: " << address;
    }
}

TEST_F(PrivateAddress, IsTheSameInEveryNotation) {
    const std::string mac = other("3c:ec:ef:01:02:03");
    EXPECT_EQ(mac.size(), 17U);
    std::string bare = mac;
    std::erase(bare, ':');
    EXPECT_EQ(other("3cecef010203"), bare);
    EXPECT_NE(std::string("26ae").find(mac[1]), std::string::npos) << "locally administered";
    EXPECT_EQ(otherAddressBytes(key, "\x3c\xec\xef\x01\x02\x03"s).size(), 6U);
    const std::string capital = other("3C-EC-EF-01-02-03");
    EXPECT_EQ(capital[2], '-');
    EXPECT_EQ(capital.find_first_of("abcdef"), std::string::npos);

    const std::string wwn = other("50014ee2b5a1c3d4");
    EXPECT_EQ(wwn[0], '5');
    EXPECT_EQ(found("naa.50014ee2b5a1c3d4"), "naa." + wwn);
    EXPECT_EQ(found("0x50014ee2b5a1c3d4 x"), "0x" + wwn + " x");
    EXPECT_EQ(other("2001:0db8:0:0::0001"), other("2001:db8::1"));
}

TEST_F(PrivateAddress, HasTheBytesOfItsText) {
    EXPECT_EQ(otherAddressBytes(key, "\x7f\x00\x00\x01"s), "\x7f\x00\x00\x01"s);
    EXPECT_NE(otherAddressBytes(key, "\x0a\x00\x00\x01"s), "\x0a\x00\x00\x01"s);
    EXPECT_EQ(otherAddressBytes(key, std::string(16, '\0')), std::string(16, '\0'));
    EXPECT_EQ(otherAddressBytes(key, "\x50\x01\x4e\xe2\xb5\xa1\xc3\xd4"s).size(), 8U);
    EXPECT_EQ(otherAddressBytes(key, "abc"), "abc") << "no address";
}

TEST_F(PrivateAddress, KeepsTheKindOfAUuid) {
    const auto uuid = otherUuid(key, "1b671a64-40d5-491e-99b0-da01ff1f3341");
    ASSERT_TRUE(uuid);
    EXPECT_EQ(uuid->size(), 36U);
    EXPECT_EQ((*uuid)[14], '4');
    EXPECT_EQ((*uuid)[19], '9');
    EXPECT_NE(*uuid, "1b671a64-40d5-491e-99b0-da01ff1f3341");
    std::string bare = *uuid;
    std::erase(bare, '-');
    EXPECT_EQ(otherUuid(key, "1b671a6440d5491e99b0da01ff1f3341"), bare);
    EXPECT_EQ(otherUuid(key, "no UUID"), std::nullopt);
}

TEST_F(PrivateAddress, IsFoundWithWhatFollowsIt) {
    const std::string ip = other("203.0.113.7");
    EXPECT_EQ(found("203.0.113.7:443 refused"), ip + ":443 refused");
    EXPECT_EQ(found("203.0.113.7."), ip + ".");
    EXPECT_EQ(found("203.0.113.7/24"), ip + "/24");
    EXPECT_EQ(found("fe80::1:2%eth0"), other("fe80::1:2") + "%eth0");
    EXPECT_EQ(found("2001:db8::9: down"), other("2001:db8::9") + ": down");
    EXPECT_EQ(found("3c:ec:ef:01:02:03, up"), other("3c:ec:ef:01:02:03") + ", up");
}

TEST_F(PrivateAddress, IsNotFoundInOrdinaryTexts) {
    for (const char* text :
         {"", "12:30:59", "1.2.3", "1.2.3.4.5", "300.1.1.1", "203.0.113.7x", "3c:ec:ef:01:02:03x",
          "0123456789ab", "50014ee2b5a1c3d4", "feed", "0x1234", "...", "1b671a64-40d5"}) {
        EXPECT_EQ(found(text), "nothing") << text;
    }
    EXPECT_EQ(otherAddress(key, "db1.example.com"), std::nullopt);
}

}  // namespace
}  // namespace varnock
