#include <cimple/cimple.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

using namespace cimple;

namespace {

static_assert(std::is_same_v<uint64, unsigned long long>);
static_assert(!std::is_same_v<uint64, std::uint64_t>);
static_assert(std::is_same_v<sint64, long long>);
static_assert(std::is_same_v<boolean, bool>);
static_assert(std::is_same_v<sint8, signed char>);
static_assert(std::is_same_v<uint8, unsigned char>);
static_assert(std::is_same_v<real32, float> && std::is_same_v<real64, double>);
static_assert(sizeof(char16) == 2);
static_assert(!std::is_convertible_v<char16, uint16>);
static_assert(std::is_convertible_v<uint16, char16>);
static_assert(BOOLEAN == 0 && UINT8 == 1 && SINT8 == 2 && UINT16 == 3 && SINT16 == 4);
static_assert(UINT32 == 5 && SINT32 == 6 && UINT64 == 7 && SINT64 == 8);
static_assert(REAL32 == 9 && REAL64 == 10 && CHAR16 == 11 && STRING == 12 && DATETIME == 13);
static_assert(CIMPLE_UINT8_MAX == UINT8_MAX && CIMPLE_SINT8_MAX == INT8_MAX);
static_assert(CIMPLE_SINT8_MIN == INT8_MIN && CIMPLE_UINT16_MAX == UINT16_MAX);
static_assert(CIMPLE_SINT16_MAX == INT16_MAX && CIMPLE_SINT16_MIN == INT16_MIN);
static_assert(CIMPLE_UINT32_MAX == UINT32_MAX && CIMPLE_SINT32_MAX == INT32_MAX);
static_assert(CIMPLE_SINT32_MIN == INT32_MIN && CIMPLE_UINT64_MAX == UINT64_MAX);
static_assert(CIMPLE_SINT64_MAX == INT64_MAX && CIMPLE_SINT64_MIN == INT64_MIN);

}  // namespace

TEST(Type, OfValues) {
    EXPECT_EQ(type_of(boolean()), BOOLEAN);
    EXPECT_EQ(type_of(uint8()), UINT8);
    EXPECT_EQ(type_of(sint8()), SINT8);
    EXPECT_EQ(type_of(uint16()), UINT16);
    EXPECT_EQ(type_of(sint16()), SINT16);
    EXPECT_EQ(type_of(uint32()), UINT32);
    EXPECT_EQ(type_of(sint32()), SINT32);
    EXPECT_EQ(type_of(uint64()), UINT64);
    EXPECT_EQ(type_of(sint64()), SINT64);
    EXPECT_EQ(type_of(real32()), REAL32);
    EXPECT_EQ(type_of(real64()), REAL64);
    EXPECT_EQ(type_of(char16()), CHAR16);
    EXPECT_EQ(type_of(String()), STRING);
    EXPECT_EQ(type_of(Datetime()), DATETIME);
}

TEST(Type, NamesAndSizesFollowTheEnumeration) {
    EXPECT_STREQ(type_name[BOOLEAN], "boolean");
    EXPECT_STREQ(type_name[SINT64], "sint64");
    EXPECT_STREQ(type_name[CHAR16], "char16");
    EXPECT_STREQ(type_name[DATETIME], "datetime");
    EXPECT_EQ(type_size[BOOLEAN], 1U);
    EXPECT_EQ(type_size[UINT16], 2U);
    EXPECT_EQ(type_size[REAL64], 8U);
    EXPECT_EQ(type_size[CHAR16], 2U);
    EXPECT_EQ(type_size[STRING], 8U);
    EXPECT_EQ(type_size[DATETIME], 8U);
}

TEST(Char16, IsACodeThatCompares) {
    char16 a;
    EXPECT_EQ(a.code(), 0);
    a = uint16(65);
    const char16 b(66);
    EXPECT_TRUE(a < b && a <= b && a != b && b > a && b >= a && !(a == b));
    a.code(66);
    EXPECT_TRUE(a == b && a <= b && a >= b && !(a != b) && !(a < b) && !(a > b));
    __clear(a);
    EXPECT_EQ(a.code(), 0);
}

TEST(Atomic, CountsDownToTheLast) {
    Atomic count;
    Atomic_create(&count, 1);
    Atomic_inc(&count);
    EXPECT_EQ(Atomic_get(&count), 2);
    EXPECT_FALSE(Atomic_dec_and_test(&count));
    EXPECT_TRUE(Atomic_dec_and_test(&count));
    Atomic_destroy(&count);
    EXPECT_EQ(sizeof(Atomic), sizeof(int));
}
