#include <cimple/Array.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

using namespace cimple;

namespace {

constexpr size_t kNpos = size_t(-1);

template <class T>
concept Iterable = requires(T a) {
    a.begin();
};
template <class T>
concept FreelyIterable = requires(T a) {
    begin(a);
};
template <class T>
concept HasPushBack = requires(T a) {
    a.push_back(1);
};
template <class T>
concept HasEmpty = requires(T a) {
    a.empty();
};
template <class T>
concept AssignsArrays = requires(T a, const T& b) {
    a.assign(b);
};
template <class T>
concept FromList = requires {
    T{1, 2, 3};
};

static_assert(sizeof(Array_uint16) == 8);
static_assert(!Iterable<Array_uint16> && !FreelyIterable<Array_uint16>);
static_assert(!HasPushBack<Array_uint16>);
static_assert(!HasEmpty<Array_uint16>);
static_assert(!AssignsArrays<Array_uint16>);
static_assert(!FromList<Array_uint16>);
static_assert(!std::is_constructible_v<Array_uint16, size_t>);
static_assert(std::is_same_v<Array_Instance, Array<Instance*>>);
static_assert(std::is_same_v<Array_Ref, Array_Instance>);

Array_uint16 numbers(uint16 count) {
    Array_uint16 a;
    for (uint16 i = 0; i < count; i++) {
        a.append(i);
    }
    return a;
}

template <class T>
void expectElements(const Array<T>& a, std::initializer_list<T> expected) {
    ASSERT_EQ(a.size(), expected.size());
    for (size_t i = 0; i < expected.size(); i++) {
        EXPECT_TRUE(a[i] == expected.begin()[i]) << "at " << i;
    }
}

}  // namespace

TEST(Array, IsEmptyAtFirst) {
    const Array_uint16 a;
    EXPECT_EQ(a.size(), 0U);
    EXPECT_EQ(a.capacity(), 8U);
}

TEST(Array, GrowsToExactlyWhatIsNeeded) {
    Array_uint16 a = numbers(8);
    EXPECT_EQ(a.capacity(), 8U);
    a.append(8);
    EXPECT_EQ(a.capacity(), 9U);
    a.append(9);
    EXPECT_EQ(a.capacity(), 10U);
    a.reserve(100);
    EXPECT_EQ(a.capacity(), 100U);
    a.reserve(1);
    EXPECT_EQ(a.capacity(), 100U);
    for (uint16 i = 0; i < 10; i++) {
        EXPECT_EQ(a[i], i);
    }
}

TEST(Array, TakesElementsFromMemory) {
    const uint16 memory[] = {3, 4};
    Array_uint16 a(memory, 2);
    expectElements<uint16>(a, {3, 4});
    a.assign(memory + 1, 1);
    expectElements<uint16>(a, {4});
    EXPECT_EQ(Array_uint16(nullptr, 5).size(), 0U);
}

TEST(Array, CopiesAreDeep) {
    Array_String a = Array_String::make("x", "y");
    Array_String b(a);
    Array_String c;
    c = a;
    a[0] = "z";
    expectElements(b, {String("x"), String("y")});
    expectElements(c, {String("x"), String("y")});
    EXPECT_NE(b.data(), c.data());
}

TEST(Array, AssignsItself) {
    Array_String a = Array_String::make("x", "y");
    const Array_String& alias = a;
    a = alias;
    expectElements(a, {String("x"), String("y")});
    a.assign(a.data() + 1, 1);
    expectElements(a, {String("y")});
}

TEST(Array, InsertsAnywhere) {
    Array_uint16 a = numbers(3);
    const uint16 more[] = {7, 8};
    a.insert(1, more, 2);
    expectElements<uint16>(a, {0, 7, 8, 1, 2});
    a.insert(5, 9);
    a.prepend(6);
    a.prepend(more, 1);
    expectElements<uint16>(a, {7, 6, 0, 7, 8, 1, 2, 9});
    a.insert(100, 5);
    EXPECT_EQ(a[8], 5);
}

TEST(Array, TakesItsOwnElements) {
    Array_String a;
    for (const char* text : {"0", "1", "2", "3", "4", "5", "6", "7"}) {
        a.append(text);
    }
    a.append(a[0]);
    a.insert(0, a[8]);
    a.prepend(a.data() + 1, 2);
    EXPECT_EQ(a.size(), 12U);
    EXPECT_TRUE(a[8 + 3] == "0");
    EXPECT_TRUE(a[0] == "0");
    EXPECT_TRUE(a[1] == "1");
    Array_uint16 n = numbers(8);
    n.append(n.data(), n.size());
    EXPECT_EQ(n[15], 7);
    EXPECT_EQ(n[8], 0);
}

TEST(Array, InsertKeepsReservedRoom) {
    Array_uint16 a = numbers(2);
    a.reserve(100);
    a.insert(0, 7);
    a.insert(1, nullptr, 3);
    expectElements<uint16>(a, {7, 0, 1});
    EXPECT_EQ(a.capacity(), 100U);
    EXPECT_THROW(a.insert(0, a.data(), kNpos), std::bad_alloc);
    EXPECT_THROW(a.append(a.data(), kNpos), std::bad_alloc);
    EXPECT_EQ(a.size(), 3U);
}

TEST(Array, ResizeGivesDefaults) {
    Array_uint16 a = numbers(2);
    a.resize(4);
    expectElements<uint16>(a, {0, 1, 0, 0});
    a.resize(1);
    a.resize(2);
    expectElements<uint16>(a, {0, 0});
    a.resize(0);
    EXPECT_EQ(a.size(), 0U);
    Array_String s;
    s.resize(0);
    s.resize(2);
    EXPECT_TRUE(s[1].empty());
    EXPECT_THROW(s.resize(kNpos), std::bad_alloc);
    EXPECT_EQ(s.size(), 2U);
}

TEST(Array, RemovesWithinBounds) {
    Array_String a = Array_String::make("0", "1", "2", "3", "4");
    a.remove(1, 2);
    expectElements(a, {String("0"), String("3"), String("4")});
    a.remove(0);
    a.remove(1, kNpos);
    a.remove(1);
    expectElements(a, {String("3")});
    a.clear();
    EXPECT_EQ(a.size(), 0U);
    a.remove(0);
}

TEST(Array, Swaps) {
    Array_uint16 a = numbers(2);
    Array_uint16 b;
    a.swap(b);
    EXPECT_EQ(a.size(), 0U);
    expectElements<uint16>(b, {0, 1});
}

TEST(Array, FindGivesThePositionForClassTypes) {
    const Array_String s = Array_String::make("x", "y", "z");
    EXPECT_EQ(s.find("z"), 2U);
    EXPECT_EQ(s.find("x"), 0U);
    EXPECT_EQ(s.find("q"), kNpos);
    const Array_Datetime d = Array_Datetime::make(uint64(1), uint64(2), uint64(3));
    EXPECT_EQ(d.find(uint64(3)), 2U);
}

TEST(Array, FindOnlySaysThatAScalarIsThere) {
    const Array_uint16 a = numbers(5);
    EXPECT_EQ(a.find(0), 1U);
    EXPECT_EQ(a.find(4), 1U);
    EXPECT_EQ(a.find(5), kNpos);
}

TEST(Array, MakesUpToFive) {
    expectElements<uint16>(Array_uint16::make(1), {1});
    expectElements<uint16>(Array_uint16::make(1, 2), {1, 2});
    expectElements<uint16>(Array_uint16::make(1, 2, 3), {1, 2, 3});
    expectElements<uint16>(Array_uint16::make(1, 2, 3, 4), {1, 2, 3, 4});
    expectElements<uint16>(Array_uint16::make(1, 2, 3, 4, 5), {1, 2, 3, 4, 5});
}

TEST(Array, ComparesElements) {
    EXPECT_TRUE(numbers(3) == numbers(3));
    EXPECT_FALSE(numbers(3) == numbers(4));
    EXPECT_FALSE(Array_uint16::make(1, 2) == Array_uint16::make(1, 3));
    EXPECT_TRUE(Array_String() == Array_String());
}

TEST(Array, HoldsOtherTypes) {
    Array<std::string> a;
    for (int i = 0; i < 20; i++) {
        a.append("a text that is too long for the string object itself");
    }
    a.insert(3, a[2]);
    EXPECT_EQ(a.size(), 21U);
    EXPECT_EQ(a[20], a[0]);
    Array_boolean flags = Array_boolean::make(true, false);
    flags.insert(1, true);
    expectElements(flags, {true, true, false});
}

TEST(Array, ReadsAndWritesThroughData) {
    Array_uint8 a;
    a.resize(3);
    a.data()[1] = 7;
    const Array_uint8& view = a;
    EXPECT_EQ(view.data()[1], 7);
    EXPECT_EQ(view[1], 7);
}
