#include <cimple/String.h>
#include <gtest/gtest.h>

#include <concepts>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

using cimple::String;

namespace {

constexpr size_t kNpos = size_t(-1);

bool isPowerOfTwo(size_t n) {
    return n && (n & (n - 1)) == 0;
}

template <class T>
concept Ordered = requires(const T& a, const T& b) {
    a < b;
};
template <class T>
concept Addable = requires(T a, const T& b) {
    a + b;
};
template <class T>
concept Extendable = requires(T a, const T& b) {
    a += b;
};
template <class T>
concept Iterable = requires(T a) {
    a.begin();
};
template <class T>
concept FreelyIterable = requires(T a) {
    begin(a);
};
template <class T>
concept HasLength = requires(T a) {
    a.length();
};
template <class T>
concept HasCompare = requires(T a) {
    a.compare(a);
};
template <class T>
concept WritableByIndex = requires(T a) {
    a[0] = 'x';
};
template <class T>
concept HasSubstr = requires(T& a) {
    a.substr(0, 1);
};
template <class T>
concept FromTextAndLiteralZero = requires {
    T("a", 0);
};

static_assert(sizeof(String) == 8);
static_assert(!Ordered<String>);
static_assert(!Addable<String>);
static_assert(!Extendable<String>);
static_assert(!Iterable<String> && !FreelyIterable<String>);
static_assert(!HasLength<String>);
static_assert(!HasCompare<String>);
static_assert(!WritableByIndex<String>);
static_assert(HasSubstr<String> && !HasSubstr<const String>);
static_assert(!FromTextAndLiteralZero<String>);
static_assert(!std::is_constructible_v<String, std::string>);
static_assert(!std::is_convertible_v<String, std::string>);
static_assert(!std::is_convertible_v<String, const char*>);
static_assert(std::is_convertible_v<const char*, String>);

}  // namespace

TEST(String, IsEmptyWithoutCapacityAtFirst) {
    const String s;
    EXPECT_EQ(s.size(), 0U);
    EXPECT_EQ(s.capacity(), 0U);
    EXPECT_TRUE(s.empty());
    EXPECT_STREQ(s.c_str(), "");
}

TEST(String, HoldsTextWithLength) {
    EXPECT_STREQ(String("abc").c_str(), "abc");
    EXPECT_EQ(String("abcdef", 3).size(), 3U);
    EXPECT_STREQ(String("abcdef", 3).c_str(), "abc");
    const String withNul("ab\0cd", 5);
    EXPECT_EQ(withNul.size(), 5U);
    EXPECT_EQ(withNul[3], 'c');
}

TEST(String, JoinsPiecesWithTheRightSize) {
    const String two("ab", "cd");
    EXPECT_EQ(two.size(), 4U);
    EXPECT_STREQ(two.c_str(), "abcd");
    const String three("ab", "", "ef");
    EXPECT_EQ(three.size(), 4U);
    EXPECT_STREQ(three.c_str(), "abef");
}

TEST(String, TakesNullForEmpty) {
    const char* null = nullptr;
    String s(null);
    EXPECT_TRUE(s.empty());
    EXPECT_TRUE(String(null, 5).empty());
    EXPECT_STREQ(String(null, "x", null).c_str(), "x");
    s = "abc";
    s.append(null);
    EXPECT_STREQ(s.c_str(), "abc");
    EXPECT_FALSE(s == null);
    EXPECT_EQ(s.find(null), 0U);
    s = null;
    EXPECT_TRUE(s.empty());
    EXPECT_TRUE(s == null);
}

TEST(String, CapacityIsAPowerOfTwoFrom32On) {
    EXPECT_EQ(String("a").capacity(), 32U);
    String s;
    for (int i = 0; i < 1000; i++) {
        s.append('x');
        ASSERT_TRUE(isPowerOfTwo(s.capacity()));
        ASSERT_GE(s.capacity(), s.size());
    }
}

TEST(String, AppendingNothingMakesRoomAsAppendingTextDoes) {
    String s;
    s.append("");
    EXPECT_EQ(s.capacity(), 32U);
    EXPECT_TRUE(s.empty());
}

TEST(String, ReserveMakesRoomAndKeepsTheText) {
    String s("abc");
    s.reserve(1000);
    EXPECT_EQ(s.capacity(), 1024U);
    EXPECT_STREQ(s.c_str(), "abc");
    s.reserve(0);
    s.reserve(10);
    EXPECT_EQ(s.capacity(), 1024U);
}

TEST(String, ReserveOfASharedTextKeepsAllOfIt) {
    const String text("a text of more than the least capacity of a buffer");
    String shared(text);
    shared.reserve(1);
    EXPECT_TRUE(shared == text);
    EXPECT_NE(shared.c_str(), text.c_str());
}

TEST(String, RejectsSizesThatNoMemoryHolds) {
    String s("abc");
    EXPECT_THROW(s.reserve(kNpos), std::bad_alloc);
    EXPECT_THROW(s.append("x", kNpos - 1), std::bad_alloc);
    EXPECT_STREQ(s.c_str(), "abc");
}

TEST(String, ClearKeepsTheBufferOnlyWhenItIsNotShared) {
    String s("abc");
    const size_t capacity = s.capacity();
    s.clear();
    EXPECT_EQ(s.capacity(), capacity);
    EXPECT_TRUE(s.empty());
    EXPECT_STREQ(s.c_str(), "");

    s = "abc";
    const String copy(s);
    s.clear();
    EXPECT_TRUE(s.empty());
    EXPECT_STREQ(copy.c_str(), "abc");
}

TEST(String, CopiesShareTheBufferUntilOneIsChanged) {
    String a("abc");
    String b(a);
    String c;
    c = a;
    EXPECT_EQ(a.c_str(), b.c_str());
    EXPECT_EQ(a.c_str(), c.c_str());
    b.append('d');
    c.set(0, 'x');
    EXPECT_STREQ(a.c_str(), "abc");
    EXPECT_STREQ(b.c_str(), "abcd");
    EXPECT_STREQ(c.c_str(), "xbc");
}

TEST(String, EveryChangeLeavesCopiesAlone) {
    const auto check = [](auto change) {
        String s("abcdef");
        const String copy(s);
        change(s);
        EXPECT_STREQ(copy.c_str(), "abcdef");
    };
    check([](String& s) { s.remove(1, 2); });
    check([](String& s) { s.assign("x"); });
    check([](String& s) { s.append("x"); });
    check([](String& s) { s.set(2, 'x'); });
    check([](String& s) { s = ""; });
    check([](String& s) { s.reserve(100); });
}

TEST(String, AssignsItself) {
    String s("abc");
    const String& alias = s;
    s = alias;
    EXPECT_STREQ(s.c_str(), "abc");
    s.assign(s.c_str());
    EXPECT_STREQ(s.c_str(), "abc");
    s.assign(s.c_str() + 1, 2);
    EXPECT_STREQ(s.c_str(), "bc");
}

TEST(String, AppendsPiecesOfItself) {
    String s("0123456789");
    for (int i = 0; i < 6; i++) {
        s.append(s.c_str() + 5);
    }
    s.append(s);
    EXPECT_EQ(s[s.size() - 1], '9');
    String shared("abc");
    const String copy(shared);
    shared.append(shared.c_str() + 1, 2);
    EXPECT_STREQ(shared.c_str(), "abcbc");
    EXPECT_STREQ(copy.c_str(), "abc");
}

TEST(String, AppendsEveryKind) {
    String s;
    s.append(String("a"));
    s.append("b");
    s.append("cxx", 1);
    s.append('d');
    s.append("");
    EXPECT_STREQ(s.c_str(), "abcd");
}

TEST(String, RemovesWithinBounds) {
    String s("abcdef");
    s.remove(1, 2);
    EXPECT_STREQ(s.c_str(), "adef");
    s.remove(2, kNpos);
    EXPECT_STREQ(s.c_str(), "ad");
    s.remove(2, 1);
    s.remove(100, 1);
    s.remove(0, 0);
    EXPECT_STREQ(s.c_str(), "ad");
    s.remove(0, kNpos);
    EXPECT_TRUE(s.empty());
}

TEST(String, GivesParts) {
    String s("abcdef");
    EXPECT_STREQ(s.substr(2).c_str(), "cdef");
    EXPECT_STREQ(s.substr(2, 2).c_str(), "cd");
    EXPECT_STREQ(s.substr(4, 100).c_str(), "ef");
    EXPECT_TRUE(s.substr(6).empty());
    EXPECT_TRUE(s.substr(7, 1).empty());
}

TEST(String, ReadsNulAtTheEndAndPastIt) {
    String s("ab");
    EXPECT_EQ(s[0], 'a');
    EXPECT_EQ(s[2], '\0');
    EXPECT_EQ(s[1000], '\0');
    EXPECT_EQ(String()[0], '\0');
    s.set(2, 'x');
    s.set(1000, 'x');
    EXPECT_STREQ(s.c_str(), "ab");
    EXPECT_EQ(s.size(), 2U);
}

TEST(String, ComparesWithPointersAsCStrings) {
    const String withNul("ab\0cd", 5);
    EXPECT_TRUE(withNul == "ab");
    EXPECT_TRUE("ab" == withNul);
    EXPECT_FALSE(withNul != "ab");
    EXPECT_TRUE(withNul.equal("ab"));
    EXPECT_TRUE(withNul != String("ab"));
    EXPECT_TRUE(withNul == String("ab\0cd", 5));
    EXPECT_TRUE("ac" != withNul);
}

TEST(String, ComparesWithALength) {
    const String s("abc");
    EXPECT_TRUE(s.equal("abcd", 3));
    EXPECT_FALSE(s.equal("abc", 2));
    EXPECT_TRUE(String().equal(nullptr, 0));
    EXPECT_FALSE(s.equal(nullptr, 3));
    EXPECT_TRUE(s.equal(1, "bc", 2));
    EXPECT_TRUE(s.equal(1, "bx", 1));
    EXPECT_FALSE(s.equal(1, "bx", 2));
    EXPECT_FALSE(s.equal(2, "cd", 2));
    EXPECT_FALSE(s.equal(4, "", 0));
    EXPECT_TRUE(s.equal(1, nullptr, 0));
    EXPECT_FALSE(s.equal(1, nullptr, 1));
}

TEST(String, ComparesIgnoringCase) {
    EXPECT_TRUE(String("AbC").equali("aBc"));
    EXPECT_TRUE(String("AbC").equali(String("aBc")));
    EXPECT_FALSE(String("AbC").equali(String("aBcd")));
    EXPECT_TRUE(String("AbC").equali("aBcd", 3));
    EXPECT_FALSE(String("AbC").equali("aBd", 3));
    EXPECT_FALSE(String("AbC").equali(nullptr, 3));
    EXPECT_TRUE(String().equali(nullptr, 0));
    EXPECT_FALSE(String("[").equali("{"));
    EXPECT_TRUE(cimple::eqi("Name", "nAME"));
    EXPECT_FALSE(cimple::eqi("Name", "Nam"));
    EXPECT_FALSE(cimple::eqi("Nam", "Name"));
    EXPECT_TRUE(cimple::eqi(String("Name"), String("nAME")));
    EXPECT_TRUE(cimple::eqi(String("Name"), "nAME"));
    EXPECT_FALSE(cimple::eqi("\xe4", "\xc4"));
}

TEST(String, FindsUpToAnEmbeddedNul) {
    const String s("abcabc");
    EXPECT_EQ(s.find('c'), 2U);
    EXPECT_EQ(s.find('c', 3), 5U);
    EXPECT_EQ(s.find('a', 4), kNpos);
    EXPECT_EQ(s.find('a', 100), kNpos);
    EXPECT_EQ(s.find('x'), kNpos);
    EXPECT_EQ(s.find('\0'), kNpos);
    EXPECT_EQ(s.find("ca"), 2U);
    EXPECT_EQ(s.find(String("bc")), 1U);
    EXPECT_EQ(s.find("cc"), kNpos);
    EXPECT_EQ(String("ab\0cd", 5).find('c'), kNpos);
}

TEST(String, ClearFunctionEmpties) {
    String s("abc");
    cimple::__clear(s);
    EXPECT_TRUE(s.empty());
}

TEST(String, CopiesMayBeUsedByDistinctThreads) {
    const String shared("0123456789");
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([&shared] {
            for (int i = 0; i < 1000; i++) {
                String copy(shared);
                String second(copy);
                copy.append('x');
                second.set(0, 'y');
            }
        });
    }
    threads.clear();
    EXPECT_STREQ(shared.c_str(), "0123456789");
}
