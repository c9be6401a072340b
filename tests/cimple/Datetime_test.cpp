#include <cimple/Datetime.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "tests/cimple/ScopedTimeZone.h"

using cimple::Datetime;
using cimple::sint32;
using cimple::sint64;
using cimple::String;
using cimple::uint32;
using cimple::uint64;

namespace {

constexpr const char* kNewYork = "EST5EDT,M3.2.0,M11.1.0";

template <class T>
concept Ordered = requires(const T& a, const T& b) {
    a < b;
};
template <class T>
concept FromLiteralZero = requires {
    T(0);
};
template <class T>
concept SetFromLiteralZero = requires(T d) {
    d.set(0);
};
template <class T>
concept ConstInterval = requires(const T& d, uint32& x) {
    d.get_interval(x, x, x, x, x);
};
template <class T>
concept ConstTimestamp = requires(const T& d, uint32& x, sint32& s) {
    d.get_timestamp(x, x, x, x, x, x, x, s);
};

static_assert(sizeof(Datetime) == 8);
static_assert(Datetime::BUFFER_SIZE == 32);
static_assert(!Ordered<Datetime>);
static_assert(!FromLiteralZero<Datetime>);
static_assert(!SetFromLiteralZero<Datetime>);
static_assert(!ConstInterval<Datetime> && ConstTimestamp<Datetime>);
static_assert(std::is_convertible_v<int, Datetime>);
static_assert(std::is_convertible_v<std::uint64_t, Datetime>);
static_assert(std::is_constructible_v<Datetime, std::uint64_t>);
static_assert(std::is_constructible_v<Datetime, int, int>);
static_assert(std::is_constructible_v<Datetime, const char*>);
static_assert(!std::is_convertible_v<const char*, Datetime>);

struct Row {
    Datetime value;
    bool isTimestamp;
    uint64 usec;
    sint32 offset;
    const char* text;
};

void expectRow(const Row& row) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(row.value.is_timestamp(), row.isTimestamp);
    EXPECT_EQ(row.value.is_interval(), !row.isTimestamp);
    EXPECT_EQ(row.value.usec(), row.usec);
    EXPECT_EQ(row.value.offset(), row.offset);
    EXPECT_STREQ(row.value.ascii().c_str(), row.text);
}

struct Parsed {
    const char* input;
    bool isTimestamp;
    const char* text;
};

}  // namespace

TEST(Datetime, ConstructsEveryKind) {
    const ScopedTimeZone utc("UTC");
    const uint64 minusOne = static_cast<uint64>(sint64(-1));
    const Row rows[] = {
        {Datetime(), false, 0, 0, "00000000000000.000000:000"},
        {Datetime(uint64(300) * 1000000), false, 300000000, 0, "00000000000500.000000:000"},
        {Datetime(uint64(5), 0), true, 5, 0, "19700101000000.000005+000"},
        {Datetime("22001231235959.999999+000"), true, 7289654399999999, 0,
         "22001231235959.999999+000"},
        {Datetime("22001231235959.999999+060"), true, 7289654399999999, 60,
         "22001231235959.999999+060"},
        {Datetime("22001231235959.999999-330"), true, 7289654399999999, -330,
         "22001231235959.999999-330"},
        {Datetime("00000001020304.000005:000"), false, 93784000005, 0, "00000001020304.000005:000"},
        {Datetime("garbage"), true, 0, 0, "19700101000000.000000+000"},
        {Datetime(""), true, 0, 0, "19700101000000.000000+000"},
        {Datetime("99991231235959.999999+000"), true, 253402300799999999, 0,
         "99991231235959.999999+000"},
        {Datetime(minusOne, 0), true, 18446744073709551615U, 0, "5865240119080149.551615+000"},
        {Datetime(minusOne), false, 18446744073709551615U, 0, "213503982080149.551615:000"},
        {Datetime(static_cast<uint64>(sint64(-5000000)), 0), true, 18446744073704551616U, 0,
         "5865240119080144.551616+000"},
        {Datetime("19691231235959.000000+000"), true, uint64(0) - 1000000, 0,
         "5865240119080148.551616+000"},
        {Datetime("00000101000000.000000+000"), true, 18384576854509551616U, 0,
         "5845540118080149.551616+000"},
        {Datetime(uint64(0), -480), true, 0, -480, "19700101000000.000000-480"},
        {Datetime(uint64(0), 5000), true, 0, 5000, "19700101000000.000000+5000"},
        {Datetime("20260102030405.000006+999"), true, 1767323045000006, 999,
         "20260102030405.000006+999"},
    };
    for (const Row& row : rows) {
        expectRow(row);
    }
}

TEST(Datetime, ParsesDigitsOfAnyRange) {
    const ScopedTimeZone utc("UTC");
    const Parsed rows[] = {
        {"20261345999999.000000+000", true, "20270218044039.000000+000"},
        {"20260230000000.000000+000", true, "20260302000000.000000+000"},
        {"00000000256199.000000:000", false, "00000001020239.000000:000"},
        {"99999999235959.999999:000", false, "99999999235959.999999:000"},
        {"22001231235959.999999:000", false, "22001231235959.999999:000"},
    };
    for (const Parsed& row : rows) {
        SCOPED_TRACE(row.input);
        Datetime d(uint64(7), 8);
        EXPECT_TRUE(d.set(row.input));
        EXPECT_EQ(d.is_timestamp(), row.isTimestamp);
        EXPECT_STREQ(d.ascii().c_str(), row.text);
    }
    EXPECT_EQ(Datetime("00000000256199.000000:000").usec(), 93759000000U);
    EXPECT_EQ(Datetime("99999999235959.999999:000").usec(), 8639999999999999999U);
    EXPECT_EQ(Datetime("22001231235959.999999:000").usec(), 1900906444799999999U);
}

TEST(Datetime, FailedSetLeavesTheValue) {
    const char* rejected[] = {
        "",
        "2200123123595.999999+000",
        "22001231235959.999999+00",
        "22001231235959.999999+0000",
        "22001231235959,999999+000",
        "22001231235959.999999Z000",
        "22001231235959.999999 000",
        "00000000000500.000000:001",
        "22001231235959.999999+***",
        "****1231235959.999999+000",
        "2200123123595a.999999+000",
        "22001231235959.99999x+000",
        "\xff\xff\xff\xff"
        "1231235959.999999+000",
        "********235959.999999:000",
        nullptr,
    };
    for (const char* text : rejected) {
        SCOPED_TRACE(text ? text : "null");
        Datetime d(uint64(1234567), 60);
        EXPECT_FALSE(d.set(text));
        EXPECT_EQ(d, Datetime(uint64(1234567), 60));
    }
}

TEST(Datetime, BadTextConstructsTheZeroTimestamp) {
    const Datetime d(static_cast<const char*>(nullptr));
    EXPECT_TRUE(d.is_timestamp());
    EXPECT_EQ(d.usec(), 0U);
}

TEST(Datetime, DigitsAreLocalTimeAndTheOffsetIsOnlyCarried) {
    const ScopedTimeZone zone(kNewYork);
    const Datetime d("22001231235959.999999+000");
    EXPECT_EQ(d.usec(), 7289672399999999U);
    EXPECT_STREQ(d.ascii().c_str(), "22001231235959.999999+000");
    EXPECT_STREQ(Datetime("20260702030405.000006-330").ascii().c_str(),
                 "20260702030405.000006-330");
    EXPECT_STREQ(Datetime(uint64(0), 0).ascii().c_str(), "19691231190000.000000+000");
    EXPECT_STREQ(Datetime("garbage").ascii().c_str(), "19691231190000.000000+000");
    EXPECT_STREQ(Datetime(uint64(300000000)).ascii().c_str(), "00000000000500.000000:000");
}

TEST(Datetime, PrettyTextSeparatesTheFields) {
    const ScopedTimeZone utc("UTC");
    EXPECT_STREQ(Datetime("20260102030405.000006-330").ascii(true).c_str(),
                 "2026/01/02 03:04:05.000006-330");
    EXPECT_STREQ(Datetime("00000001020304.000005:000").ascii(true).c_str(),
                 "00000001 02 03 04.000005:000");
    EXPECT_STREQ(Datetime(uint64(0) - 1, 0).ascii(true).c_str(),
                 "586524/01/19 08:01:49.551615+000");
}

TEST(Datetime, TextIsCutToTheBuffer) {
    const ScopedTimeZone utc("UTC");
    char buffer[Datetime::BUFFER_SIZE + 1];
    buffer[Datetime::BUFFER_SIZE] = '#';
    Datetime(uint64(0) - 1, INT32_MIN).ascii(buffer, true);
    EXPECT_STREQ(buffer, "586524/01/19 08:01:49.551615-21");
    EXPECT_EQ(buffer[Datetime::BUFFER_SIZE], '#');
    EXPECT_STREQ(Datetime(uint64(0) - 1, INT32_MIN).ascii(true).c_str(),
                 "586524/01/19 08:01:49.551615-2147483648");
}

TEST(Datetime, EqualityComparesMicrosecondsOffsetAndKind) {
    EXPECT_TRUE(Datetime(uint64(5), 0) == Datetime(uint64(5), 0));
    EXPECT_FALSE(Datetime(uint64(5), 0) == Datetime(uint64(6), 0));
    EXPECT_FALSE(Datetime(uint64(5), 0) == Datetime(uint64(5), 1));
    EXPECT_FALSE(Datetime(uint64(5), 0) == Datetime(uint64(5)));
}

TEST(Datetime, FieldSettersChangeCopiesToo) {
    Datetime a;
    const Datetime b(a);
    a.usec(7);
    a.offset(3);
    EXPECT_EQ(b.usec(), 7U);
    EXPECT_EQ(b.offset(), 3);
    EXPECT_TRUE(a.is_interval());
}

TEST(Datetime, OtherSettersLeaveCopiesAlone) {
    const auto check = [](auto change) {
        Datetime a(uint64(5), 6);
        const Datetime b(a);
        change(a);
        EXPECT_FALSE(a == b);
        EXPECT_TRUE(b == Datetime(uint64(5), 6));
    };
    check([](Datetime& d) { d.set(uint64(9)); });
    check([](Datetime& d) { d.set(uint64(9), 6); });
    check([](Datetime& d) { d.set("00000001020304.000005:000"); });
    check([](Datetime& d) { d.clear(); });
    check([](Datetime& d) { d.set_interval(1, 2, 3, 4, 5); });
    check([](Datetime& d) { d.set_timestamp(2026, 1, 2, 3, 4, 5, 6, 7); });
    check([](Datetime& d) { d = Datetime(); });
}

TEST(Datetime, SetMakesTheKind) {
    Datetime d(uint64(5), 60);
    d.set(uint64(9));
    EXPECT_TRUE(d == Datetime(uint64(9)));
    EXPECT_EQ(d.offset(), 0);
    d.set(uint64(9), 60);
    EXPECT_TRUE(d == Datetime(uint64(9), 60));
    d.clear();
    EXPECT_TRUE(d == Datetime());
    d.set("22001231235959.999999+060");
    cimple::__clear(d);
    EXPECT_TRUE(d == Datetime());
}

TEST(Datetime, TakesIntervalsApart) {
    Datetime d;
    d.set_interval(1, 2, 3, 4, 5);
    EXPECT_TRUE(d.is_interval());
    EXPECT_EQ(d.usec(), 93784000005U);
    uint32 days, hours, minutes, seconds, usecs;
    d.get_interval(days, hours, minutes, seconds, usecs);
    EXPECT_EQ(days, 1U);
    EXPECT_EQ(hours, 2U);
    EXPECT_EQ(minutes, 3U);
    EXPECT_EQ(seconds, 4U);
    EXPECT_EQ(usecs, 5U);
}

TEST(Datetime, TakesTimestampsApart) {
    const ScopedTimeZone utc("UTC");
    Datetime d;
    d.set_timestamp(2026, 1, 2, 3, 4, 5, 6, -330);
    EXPECT_EQ(d.usec(), 1767323045000006U);
    uint32 year, month, day, hours, minutes, seconds, usecs;
    sint32 offset;
    d.get_timestamp(year, month, day, hours, minutes, seconds, usecs, offset);
    EXPECT_EQ(year, 2026U);
    EXPECT_EQ(month, 1U);
    EXPECT_EQ(day, 2U);
    EXPECT_EQ(hours, 3U);
    EXPECT_EQ(minutes, 4U);
    EXPECT_EQ(seconds, 5U);
    EXPECT_EQ(usecs, 6U);
    EXPECT_EQ(offset, -330);
}

TEST(Datetime, SurvivesFieldsOfAnySize) {
    Datetime d;
    const uint32 most = 0xFFFFFFFF;
    d.set_timestamp(most, most, most, most, most, most, most, INT32_MIN);
    EXPECT_TRUE(d.is_timestamp());
    EXPECT_FALSE(d.ascii().empty());
    d.set_interval(most, most, most, most, most);
    EXPECT_TRUE(d.is_interval());
}

TEST(Datetime, UnitsAreMicroseconds) {
    EXPECT_EQ(Datetime::USEC, 1U);
    EXPECT_EQ(Datetime::MSEC, 1000U);
    EXPECT_EQ(Datetime::SEC, 1000000U);
    EXPECT_EQ(Datetime::MIN, 60000000U);
    EXPECT_EQ(Datetime::HOUR, 3600000000U);
    EXPECT_EQ(Datetime::DAY, 86400000000U);
}

TEST(Datetime, NowIsATimestampWithinTheClock) {
    const auto before = static_cast<uint64>(::time(nullptr));
    const Datetime now = Datetime::now();
    const auto after = static_cast<uint64>(::time(nullptr));
    EXPECT_TRUE(now.is_timestamp());
    EXPECT_GE(now.usec() / Datetime::SEC + 1, before);
    EXPECT_LE(now.usec() / Datetime::SEC, after + 1);
}

TEST(Datetime, PrintsALine) {
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::tmpfile(), std::fclose);
    Datetime(uint64(300000000)).print(file.get());
    std::rewind(file.get());
    char line[64] = "";
    ASSERT_NE(std::fgets(line, sizeof line, file.get()), nullptr);
    EXPECT_STREQ(line, "00000000000500.000000:000\n");
}
