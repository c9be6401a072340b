#include "util/UrlString.h"

#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tests/support/FailingMalloc.h"
#include "tests/support/Sanitizers.h"
#include "tests/util/UrlStringSupport.h"

namespace varnock::test {
namespace {

static_assert(!std::is_copy_constructible_v<CExtendableString>);

std::string extracted(const CExtendableString& string, int start, int count) {
    return Owned(string.Extract(start, count)).text();
}

TEST(ExtendableString, StartsEmptyOrWithACopy) {
    EXPECT_EQ(textOf(CExtendableString()), "");
    EXPECT_EQ(textOf(CExtendableString(nullptr)), "");
    EXPECT_EQ(textOf(CExtendableString("")), "");
    const std::string text = "a text";
    const CExtendableString copy(text.c_str());
    EXPECT_EQ(textOf(copy), text);
    EXPECT_NE(copy.GetText(), text.c_str());
}

TEST(ExtendableString, ExtractsWithinTheText) {
    const CExtendableString string("0123456789");
    EXPECT_EQ(extracted(string, 2, 3), "234");
    EXPECT_EQ(extracted(string, 0, -1), "0123456789");
    EXPECT_EQ(extracted(string, 7, -1), "789");
    EXPECT_EQ(extracted(string, 7, 100), "789");
    EXPECT_EQ(extracted(string, -4, 2), "01");
    EXPECT_EQ(extracted(string, 10, 1), "");
    EXPECT_EQ(extracted(string, 11, 1), "");
    EXPECT_EQ(extracted(string, 3, 0), "");
    EXPECT_EQ(extracted(string, INT_MAX, INT_MAX), "");
    EXPECT_EQ(extracted(string, 1, INT_MAX), "123456789");
    EXPECT_EQ(extracted(string, INT_MIN, INT_MIN), "0123456789");
    EXPECT_EQ(extracted(CExtendableString(), 0, -1), "");
    EXPECT_EQ(textOf(string), "0123456789");
}

std::string cleared(int start, int count) {
    CExtendableString string("0123456789");
    string.Clear(start, count);
    return textOf(string);
}

TEST(ExtendableString, ClearsWithinTheText) {
    EXPECT_EQ(cleared(2, 3), "0156789");
    EXPECT_EQ(cleared(-2, 3), "3456789");
    EXPECT_EQ(cleared(8, 100), "01234567");
    EXPECT_EQ(cleared(1, INT_MAX), "0");
    EXPECT_EQ(cleared(5, -1), "01234");
    EXPECT_EQ(cleared(3, 0), "0123456789");
    EXPECT_EQ(cleared(10, 1), "0123456789");
    EXPECT_EQ(cleared(11, -1), "0123456789");
    EXPECT_EQ(cleared(INT_MAX, INT_MAX), "0123456789");
    EXPECT_EQ(cleared(0, 10), "");
    EXPECT_EQ(cleared(INT_MIN, INT_MIN), "");
}

TEST(ExtendableString, IsUsableAfterItWasEmptied) {
    CExtendableString string("text");
    string.Clear(0, -1);
    EXPECT_EQ(textOf(string), "");
    string.Clear(0, -1);
    string.Append("new", -1);
    EXPECT_EQ(textOf(string), "new");
}

std::string appended(const char* text, int at) {
    CExtendableString string("01234");
    string.Append(text, at);
    return textOf(string);
}

TEST(ExtendableString, AppendsAtTheEndAndOverwritesFromAPosition) {
    EXPECT_EQ(appended("ab", 5), "01234ab");
    EXPECT_EQ(appended("ab", -1), "01234ab");
    EXPECT_EQ(appended("ab", INT_MIN), "01234ab");
    EXPECT_EQ(appended("ab", 6), "01234ab");
    EXPECT_EQ(appended("ab", INT_MAX), "01234ab");
    EXPECT_EQ(appended("ab", 4), "0123ab");
    EXPECT_EQ(appended("ab", 1), "0ab");
    EXPECT_EQ(appended("ab", 0), "ab");
}

TEST(ExtendableString, AppendingNothingCuts) {
    for (const char* nothing : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(appended(nothing, 2), "01");
        EXPECT_EQ(appended(nothing, -1), "01234");
        EXPECT_EQ(appended(nothing, 9), "01234");
        EXPECT_EQ(appended(nothing, 0), "");
    }
    CExtendableString empty;
    empty.Append(nullptr, 0);
    EXPECT_EQ(textOf(empty), "");
}

std::string replaced(const char* text, int start, int count) {
    CExtendableString string("01234");
    string.Replace(text, start, count);
    return textOf(string);
}

TEST(ExtendableString, ReplacesWithinTheText) {
    EXPECT_EQ(replaced("ab", 1, 2), "0ab34");
    EXPECT_EQ(replaced("abcdef", 1, 2), "0abcdef34");
    EXPECT_EQ(replaced("a", 0, 5), "a");
    EXPECT_EQ(replaced("ab", 2, -1), "01ab");
    EXPECT_EQ(replaced("ab", 3, INT_MAX), "012ab");
    EXPECT_EQ(replaced("ab", -3, 1), "ab1234");
    EXPECT_EQ(replaced("ab", INT_MAX, 1), "01234ab");
    EXPECT_EQ(replaced("", 1, 2), "034");
    EXPECT_EQ(replaced(nullptr, 1, 2), "034");
    EXPECT_EQ(replaced(nullptr, 0, -1), "");
}

TEST(ExtendableString, ACountOfZeroInserts) {
    EXPECT_EQ(replaced("ab", 2, 0), "01ab234");
    EXPECT_EQ(replaced("ab", 0, 0), "ab01234");
    EXPECT_EQ(replaced("ab", 5, 0), "01234ab");
}

TEST(ExtendableString, TakesPartsOfItsOwnText) {
    CExtendableString string("0123456789");
    string.Append(string.GetText() + 5, 2);
    EXPECT_EQ(textOf(string), "0156789");
    string.Replace(string.GetText(), 1, 2);
    EXPECT_EQ(textOf(string), "001567896789");
    string.Append(string.GetText(), -1);
    EXPECT_EQ(textOf(string), "001567896789001567896789");
    string.Append(string.GetText() + string.GetLength(), 3);
    EXPECT_EQ(textOf(string), "001");
}

TEST(ExtendableString, KeepsItsTextWithoutMemory) {
    SKIP_IF_MALLOC_IS_REPLACED();
    CExtendableString string("text");
    for (const auto& change : std::vector<std::function<void()>>{
             [&] { string.Append("more", -1); }, [&] { string.Replace("other", 1, 2); }}) {
        {
            const FailingMalloc failure(1);
            change();
            EXPECT_TRUE(failure.happened()) << "nothing was allocated";
        }
        EXPECT_EQ(textOf(string), "text");
    }
    {
        const FailingMalloc failure(1);
        EXPECT_EQ(string.Extract(0, -1), nullptr);
    }
    FailingMalloc failure(1);
    const CExtendableString copy("text");
    failure.end();
    EXPECT_TRUE(failure.happened());
    EXPECT_EQ(textOf(copy), "");
}

TEST(ExtendableString, ClearsWithoutMemory) {
    SKIP_IF_MALLOC_IS_REPLACED();
    CExtendableString string("0123456789");
    FailingMalloc failure(1);
    string.Clear(2, 3);
    string.Append(nullptr, 4);
    string.Replace("", 0, 1);
    failure.end();
    EXPECT_FALSE(failure.happened());
    EXPECT_EQ(textOf(string), "156");
}

/// Gives access to the parts of a change.
class Spliced : public CExtendableString {
  public:
    using CExtendableString::Splice;
};

TEST(ExtendableString, RefusesMoreThanTheLargestLength) {
    // The parts share one block of half a gibibyte, which is never read.
    const std::size_t size = std::size_t{INT_MAX} / 4 + 1;
    const std::unique_ptr<char, void (*)(void*)> block(static_cast<char*>(calloc(size, 1)), free);
    if (block == nullptr) {
        GTEST_SKIP() << "not enough memory";
    }
    const std::string_view part(block.get(), size);
    Spliced string;
    string.Append("text", -1);
    EXPECT_FALSE(string.Splice(0, 0, {part, part, part, part}));
    EXPECT_FALSE(string.Splice(0, 4, {part, part, part, part}));
    EXPECT_EQ(textOf(string), "text");
}

}  // namespace
}  // namespace varnock::test
