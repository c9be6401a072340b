#include "tools/Sanitizer.h"

#include <gtest/gtest.h>

#include <set>

#include "tools/KeyedDigest.h"

namespace varnock {
namespace {

catalogue::Row rowOf(std::string_view model, std::string_view reply = "string") {
    catalogue::Row row{};
    row.reply = reply;
    row.model = model;
    return row;
}

/// The same text with "9" for each digit, "A" for each capital and "a" for each small letter.
std::string shapeOf(std::string text) {
    for (char& c : text) {
        c = c >= '0' && c <= '9'   ? '9'
            : c >= 'A' && c <= 'Z' ? 'A'
            : c >= 'a' && c <= 'z' ? 'a'
                                   : c;
    }
    return text;
}

TEST(Sanitizer, KeepsTheShapeOfALabel) {
    Sanitizer sanitizer("key");
    const std::string serial = sanitizer.value(PrivateKind::label, "SN-0042/ab x");
    EXPECT_EQ(shapeOf(serial), "AA-9999/aa a");
    EXPECT_NE(serial, "SN-0042/ab x");
    EXPECT_EQ(sanitizer.value(PrivateKind::label, "SN-0042/ab x"), serial);
    const std::string longOne(100, 'a');
    EXPECT_EQ(sanitizer.value(PrivateKind::label, "1" + longOne).size(), 101U);
}

TEST(Sanitizer, GivesDifferentValuesDifferentReplacements) {
    Sanitizer sanitizer("key");
    std::set<std::string> all;
    for (int i = 100; i < 300; ++i) {
        all.insert(sanitizer.value(PrivateKind::label, std::to_string(i)));
    }
    EXPECT_EQ(all.size(), 200U);
}

TEST(Sanitizer, GoesOnWhenThereIsNoOtherValueLeft) {
    Sanitizer sanitizer("key");
    for (int i = 0; i < 10; ++i) {
        for (const char* prefix : {"-1", "-2", "+1", "+2"}) {
            const std::string value = prefix + std::to_string(i);
            EXPECT_EQ(sanitizer.value(PrivateKind::label, value).size(), value.size());
        }
    }
}

TEST(Sanitizer, DependsOnItsKey) {
    Sanitizer one("key");
    Sanitizer same("key");
    Sanitizer other("other key");
    Sanitizer randomOne;
    Sanitizer randomTwo;
    const std::string value = "A-1234567890-B";
    EXPECT_EQ(one.value(PrivateKind::label, value), same.value(PrivateKind::label, value));
    EXPECT_NE(one.value(PrivateKind::label, value), other.value(PrivateKind::label, value));
    EXPECT_NE(randomOne.value(PrivateKind::label, value),
              randomTwo.value(PrivateKind::label, value));
}

TEST(Sanitizer, KeepsStandIns) {
    Sanitizer sanitizer("key");
    for (const char* value : {"", "Not Specified", "To Be Filled By O.E.M.", "00000000", "N/A",
                              "XXXX", "localhost", "--"}) {
        EXPECT_EQ(sanitizer.value(PrivateKind::label, value), value);
    }
    EXPECT_EQ(sanitizer.text("the fan is unknown, none is not specified"),
              "the fan is unknown, none is not specified");
}

TEST(Sanitizer, ReplacesInTextsWhatItHasSeen) {
    Sanitizer sanitizer("key");
    const std::string serial = sanitizer.value(PrivateKind::label, "SN0042AB");
    EXPECT_EQ(sanitizer.text("module SN0042AB failed, not SN0042ABC or XSN0042AB"),
              "module " + serial + " failed, not SN0042ABC or XSN0042AB");
    EXPECT_EQ(shapeOf(sanitizer.text("sn0042ab")), "aa9999aa");
    EXPECT_EQ(Sanitizer("key").text("module SN0042AB"), "module SN0042AB") << "not seen";
}

TEST(Sanitizer, LeavesShortValuesInTexts) {
    Sanitizer sanitizer("key");
    EXPECT_NE(sanitizer.value(PrivateKind::label, "12"), "12");
    EXPECT_EQ(sanitizer.text("12 fans"), "12 fans");
}

TEST(Sanitizer, KnowsAHostByItsShortName) {
    Sanitizer sanitizer("key");
    const std::string full = sanitizer.value(PrivateKind::name, "db01.example.org");
    EXPECT_EQ(shapeOf(full), "aa99.aaaaaaa.aaa");
    const std::string brief = full.substr(0, full.find('.'));
    EXPECT_EQ(sanitizer.text("db01: link up at db01.example.org"), brief + ": link up at " + full);
}

TEST(Sanitizer, TakesANameThatIsAnAddressForOne) {
    Sanitizer sanitizer("key");
    const std::string address = sanitizer.value(PrivateKind::name, "203.0.113.7");
    EXPECT_EQ(sanitizer.value(PrivateKind::address, "203.0.113.7"), address);
    EXPECT_EQ(sanitizer.text("from 203.0.113.7"), "from " + address);
    EXPECT_NE(sanitizer.value(PrivateKind::address, "no address"), "no address");
}

TEST(Sanitizer, ReplacesAddressesInAnyText) {
    Sanitizer sanitizer("key");
    const std::string mac = sanitizer.value(PrivateKind::address, "3c:ec:ef:01:02:03");
    EXPECT_EQ(sanitizer.text("eth0 is 3c:ec:ef:01:02:03."), "eth0 is " + mac + ".");
    const std::string uuid =
        sanitizer.value(PrivateKind::uuid, "1b671a64-40d5-491e-99b0-da01ff1f3341");
    EXPECT_EQ(Sanitizer("key").text("1b671a64-40d5-491e-99b0-da01ff1f3341"), uuid);
    EXPECT_NE(sanitizer.value(PrivateKind::uuid, "no UUID"), "no UUID");
}

TEST(Sanitizer, FindsTheDigitsOfAnAddressGivenAsBytes) {
    Sanitizer sanitizer("key");
    EXPECT_EQ(sanitizer.text("port 3cecef010203"), "port 3cecef010203");
    EXPECT_EQ(sanitizer.addressBytes("\x3c\xec\xef\x01\x02\x03").size(), 6U);
    EXPECT_NE(sanitizer.text("port 3cecef010203"), "port 3cecef010203");
}

TEST(Sanitizer, KnowsByTheCatalogueWhatIsPrivate) {
    EXPECT_EQ(privateKindOf(rowOf("cabinets[number=cabinet].fans[object].serialNumber")),
              PrivateKind::label);
    EXPECT_EQ(privateKindOf(rowOf("system.name")), PrivateKind::name);
    EXPECT_EQ(privateKindOf(rowOf("system.uuid")), PrivateKind::uuid);
    EXPECT_EQ(privateKindOf(rowOf("x.mac", "MAC")), PrivateKind::address);
    EXPECT_EQ(privateKindOf(rowOf("x.gateway", "address")), PrivateKind::address);
    EXPECT_EQ(privateKindOf(rowOf("cabinets[number=object].operatingSystem.name")), std::nullopt);
}

TEST(Sanitizer, TreatsAValueAsItsCallSays) {
    Sanitizer sanitizer("key");
    EXPECT_NE(sanitizer.valueOf(rowOf("system.assetTag"), "A-0815"), "A-0815");
    EXPECT_EQ(sanitizer.valueOf(rowOf("x.version"), "7.0.1.2"), "7.0.1.2");
    EXPECT_EQ(sanitizer.valueOf(rowOf("cabinets[number=cabinet].agentVersion"), "7.0.1.2"),
              "7.0.1.2");
    EXPECT_NE(sanitizer.valueOf(rowOf("x.location"), "at 7.0.1.2"), "at 7.0.1.2");
}

TEST(KeyedDigest, DependsOnAllItsArguments) {
    const KeyedDigest key("key");
    const std::set<std::string> all{key.of("a", "b"),
                                    key.of("a", "c"),
                                    key.of("b", "b"),
                                    key.of("a", "b", 1),
                                    KeyedDigest("").of("a", "b"),
                                    KeyedDigest().of("a", "b")};
    EXPECT_EQ(all.size(), 6U);
    EXPECT_EQ(key.of("a", "b").size(), 32U);
    EXPECT_EQ(key.of("a", "b"), key.of("a", "b"));
}

}  // namespace
}  // namespace varnock
