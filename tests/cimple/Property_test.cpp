#include <cimple/cimple.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

using namespace cimple;

namespace {

template <class T>
concept HasClear = requires(T& value) {
    __clear(value);
};

static_assert(sizeof(Property<uint16>) == 4);
static_assert(sizeof(Property<String>) == 16);
static_assert(sizeof(Property<Datetime>) == 16);
static_assert(std::is_aggregate_v<Property<uint16>>);
static_assert(std::is_same_v<decltype(Property<uint16>::null), uint8>);
static_assert(std::is_trivially_default_constructible_v<Property<uint16>>);

template <class T>
T example() {
    return T(1);
}
template <>
String example<String>() {
    return "x";
}

}  // namespace

TEST(Property, HoldsValueThenNull) {
    Property<uint16> p = {7, 1};
    EXPECT_EQ(p.value, 7);
    EXPECT_EQ(p.null, 1);
}

TEST(Property, SetAndClearKeepNullInStep) {
    Property<uint32> p;
    p.clear();
    EXPECT_EQ(p.null, 1);
    EXPECT_EQ(p.value, 0U);
    p.set(5);
    EXPECT_EQ(p.null, 0);
    EXPECT_EQ(p.value, 5U);
    p.clear();
    p.value = 9;
    EXPECT_EQ(p.null, 1);
}

template <class T>
class PropertyOf : public testing::Test {};
using ScalarTypes = testing::Types<boolean, uint8, sint8, uint16, sint16, uint32, sint32, uint64,
                                   sint64, real32, real64, char16, String, Datetime>;
TYPED_TEST_SUITE(PropertyOf, ScalarTypes);

TYPED_TEST(PropertyOf, ClearMakesTheValueEmpty) {
    Property<TypeParam> p;
    p.set(example<TypeParam>());
    p.clear();
    EXPECT_EQ(p.null, 1);
    EXPECT_TRUE(p.value == TypeParam());
}

TEST(Property, ClearLeavesIntervalZeroAndTheEmptyArray) {
    Property<Datetime> time;
    time.set(Datetime(uint64(5), 60));
    time.clear();
    EXPECT_TRUE(time.value == Datetime());
    Property<Array_uint16> numbers;
    numbers.set(Array_uint16::make(1, 2));
    numbers.clear();
    EXPECT_EQ(numbers.value.size(), 0U);
    EXPECT_EQ(numbers.null, 1);
}

TEST(Property, NumberSetOnADatetimeIsAnInterval) {
    Property<Datetime> time;
    time.set(uint64(300000000));
    EXPECT_TRUE(time.value.is_interval());
}

TEST(Property, SetCopiesTheArray) {
    Array_uint16 source = Array_uint16::make(1, 2);
    Property<Array_uint16> p;
    p.set(source);
    source[0] = 9;
    EXPECT_EQ(p.value[0], 1);
}

TEST(Property, EqualityComparesValuesEvenWhenNull) {
    const Property<uint16> a = {1, 0};
    const Property<uint16> b = {1, 0};
    const Property<uint16> c = {1, 1};
    const Property<uint16> d = {2, 1};
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a != b);
    EXPECT_TRUE(a != c);
    EXPECT_TRUE(c != d);
    EXPECT_FALSE(c == d);
}

TEST(Property, OtherTypesMayBeStoredButNotCleared) {
    Property<std::string> p;
    p.set("abc");
    EXPECT_EQ(p.value, "abc");
    EXPECT_EQ(p.null, 0);
    EXPECT_FALSE(HasClear<std::string>);
    EXPECT_TRUE(HasClear<String>);
}
