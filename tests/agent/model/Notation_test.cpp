#include "agent/model/Notation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace varnock::agent::test {
namespace {

using testing::ElementsAre;

std::optional<double> quantity(const char* unit, const char* text) {
    return parseQuantity(text, *catalogue::findUnit(unit));
}

TEST(Notation, ReadsQuantitiesInTheUnitOfTheCatalogue) {
    EXPECT_EQ(quantity("revolutions per minute", "5400 rpm"), 5400);
    EXPECT_EQ(quantity("degrees Celsius", "41.5 \u00B0C"), 41.5);
    EXPECT_EQ(quantity("degrees Celsius", "-3 \u00B0C"), -3);
    EXPECT_EQ(quantity("degrees Celsius", "+3 \u00B0C"), 3);
    EXPECT_EQ(quantity("watts", "0.5 kW"), 500);
    EXPECT_EQ(quantity("MHz", "2.1 GHz"), 2100);
    EXPECT_EQ(quantity("MiB", "16 GiB"), 16384);
    EXPECT_EQ(quantity("KiB", "32KiB"), 32);
    EXPECT_EQ(quantity("millivolts", "12.1 V"), 12100);
    EXPECT_EQ(quantity("percent", "90 %"), 90);
}

TEST(Notation, RefusesOtherTextsAsQuantities) {
    for (const char* text : {"", "rpm", "5400", "5400 RPM", "5400  rpm", "5400 rpm ", "0x10 rpm",
                             "1e3 rpm", "nan rpm", "inf rpm", "1,5 rpm", "5400 W"}) {
        EXPECT_EQ(quantity("revolutions per minute", text), std::nullopt) << text;
    }
}

TEST(Notation, WritesAQuantityInTheFirstSymbol) {
    EXPECT_EQ(quantityText(5400, *catalogue::findUnit("revolutions per minute")), "5400 rpm");
    EXPECT_EQ(quantityText(41.5, *catalogue::findUnit("degrees Celsius")), "41.5 \u00B0C");
}

TEST(Notation, ReadsDurations) {
    EXPECT_EQ(parseDuration("90"), 90);
    EXPECT_EQ(parseDuration("20 s"), 20);
    EXPECT_EQ(parseDuration("500 ms"), 0.5);
    EXPECT_EQ(parseDuration("5 min"), 300);
    EXPECT_EQ(parseDuration("2h"), 7200);
    EXPECT_EQ(parseDuration("1 d"), 86400);
    EXPECT_DOUBLE_EQ(parseDuration("50 us").value_or(0), 50e-6);
    EXPECT_EQ(parseDuration("-1 s"), std::nullopt);
    EXPECT_EQ(parseDuration("soon"), std::nullopt);
}

TEST(Notation, ReadsAndWritesTimes) {
    EXPECT_EQ(parseTime("1970-01-01T00:00:00Z"), 0);
    EXPECT_EQ(parseTime("2026-11-21T08:00:00Z"), 1795248000);
    EXPECT_EQ(timeText(1795248000), "2026-11-21T08:00:00Z");
    for (const char* text :
         {"", "now", "2026-11-21", "2026-11-21T08:00:00", "2026-11-21 08:00:00Z",
          "2026-13-21T08:00:00Z", "2026-02-29T08:00:00Z", "2026-11-21T24:00:00Z",
          "2026-11-21T08:60:00Z", "2026-11-21T08:00:60Z", "x026-11-21T08:00:00Z"}) {
        EXPECT_EQ(parseTime(text), std::nullopt) << text;
    }
}

TEST(Notation, KnowsTheDatesOfTheCalendar) {
    EXPECT_TRUE(isDate("2024-02-29"));
    EXPECT_FALSE(isDate("2026-02-29"));
    EXPECT_FALSE(isDate("2026-2-28"));
    EXPECT_FALSE(isDate("2026/02/28"));
}

TEST(Notation, ReadsAddresses) {
    EXPECT_THAT(*parseAddress("192.0.2.1"), ElementsAre(192, 0, 2, 1));
    EXPECT_EQ(parseAddress("2001:db8::1")->size(), 16U);
    EXPECT_EQ(parseAddress("192.0.2"), std::nullopt);
    EXPECT_EQ(parseAddress("192.0.2.256"), std::nullopt);
    EXPECT_EQ(parseAddress(std::string(1000, '1')), std::nullopt);
}

TEST(Notation, ReadsMacAddresses) {
    EXPECT_THAT(*parseMac("02:00:5e:00:53:AF"), ElementsAre(2, 0, 0x5E, 0, 0x53, 0xAF));
    for (const char* text :
         {"", "02:00:5e:00:53", "02-00-5e-00-53-01", "02:00:5e:00:53:0g", "02:00:5e:00:53:011"}) {
        EXPECT_EQ(parseMac(text), std::nullopt) << text;
    }
}

TEST(Notation, WritesAddresses) {
    EXPECT_EQ(addressText({192, 0, 2, 1}), "192.0.2.1");
    std::vector<unsigned char> ipv6(16);
    ipv6[15] = 1;
    EXPECT_EQ(addressText(ipv6), "::1");
    EXPECT_EQ(addressText({1, 2, 3}), "");
    EXPECT_EQ(macText({2, 0, 0x5E, 0, 0x53, 0xAF}), "02:00:5e:00:53:af");
    EXPECT_EQ(macText({2, 0, 0x5E, 0, 0x53}), "");
}

TEST(Notation, ReadsPciHeaders) {
    EXPECT_THAT(*parseHeader(std::string(128, 'a')), testing::Each(0xAA));
    for (const std::size_t digits : {0U, 126U, 127U, 130U}) {
        EXPECT_EQ(parseHeader(std::string(digits, 'a')), std::nullopt) << digits;
    }
    EXPECT_EQ(parseHeader(std::string(128, 'x')), std::nullopt);
}

}  // namespace
}  // namespace varnock::agent::test
