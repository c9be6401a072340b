// What a hostile text costs. It may be as long as the longest event.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Sanitizers.h"
#include "transport/SipJson.h"
#include "transport/channel/EventChannel.h"
#include "transport/record/RecordText.h"

namespace varnock::test {
namespace {

constexpr const char* kEmpty = R"({"SIP":{"V":1,"CMD":[]}})";

/// A line of the process's status in bytes.
std::size_t memoryOf(std::string_view name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name)) {
            return std::stoul(line.substr(name.size())) * 1024;
        }
    }
    return 0;
}

/// The most memory that an import takes besides its text.
std::size_t costOf(std::string& text) {
    std::ofstream("/proc/self/clear_refs") << "5";  // forgets the highest use so far
    const std::size_t before = memoryOf("VmRSS:");
    {
        SipJson record;
        RecordText::import(record, text.data());
    }
    const std::size_t most = memoryOf("VmHWM:");
    return most > before ? most - before : 0;
}

/// A record whose data is that of a list of so many elements that the text has about this
/// size.
std::string listOf(const std::string& element, const std::string& begin, const std::string& end,
                   std::size_t size) {
    std::string some;
    for (int i = 0; i < 1000; ++i) {
        some += "," + element;
    }
    const std::size_t room = some.size() + end.size() + 4;
    std::string text = R"({"SIP":{"V":1,"CMD":[{"OC":1,"DA":)" + begin + element;
    text.reserve(size);
    while (text.size() + room <= size) {
        text += some;
    }
    return text + end + "}]}}";
}

const std::vector<std::string> kElements = {
    "0",
    "[]",
    "[0]",
    "{}",
    R"({"":0})",
    R"("")",
    R"("of 14 letters.")",
    "[[[[0]]]]",
    R"({"a":{"b":{"c":[]}}})",
};

TEST(ImportMemory, AnEventCostsAtMostThreeTimesItsFrame) {
    SKIP_IF_MALLOC_IS_REPLACED();
    // The frame itself is the first time.
    constexpr std::size_t kAllowed = 2 * std::size_t{kLongestEvent};
    for (const std::string& element : kElements) {
        std::string list = listOf(element, "[", "]", kLongestEvent);
        EXPECT_LE(costOf(list), kAllowed) << element;
    }
    for (const std::string element : {"0", "255", "256"}) {
        std::string block = listOf(element, R"({"RAW":[)", "]}", kLongestEvent);
        EXPECT_LE(costOf(block), kAllowed) << element;
    }
    std::string members = listOf(R"("":0)", "{", "}", kLongestEvent);
    EXPECT_LE(costOf(members), kAllowed);
    std::string text =
        R"({"SIP":{"V":1,"CMD":[{"OC":1,"DA":")" + std::string(kLongestEvent - 100, 'x') + "\"}]}}";
    EXPECT_LE(costOf(text), kAllowed);
}

TEST(ImportMemory, ATextThatTakesTooMuchIsNoRecord) {
    SipJson record(1, 2, 3, 4, 5);
    record.Import(listOf("0", "[", "]", kLongestEvent).c_str());
    EXPECT_EQ(record.Export(), kEmpty);
    EXPECT_TRUE(record.SetCmd(1, 2, 3, 4, 5));
    EXPECT_EQ(record.OpCode(), 1u);
}

TEST(ImportMemory, ABlockOfTheLongestEventArrives) {
    const std::string text = listOf("0", R"({"RAW":[)", "]}", kLongestEvent);
    SipJson record;
    record.Import(text.c_str());
    EXPECT_EQ(record.OpCode(), 1u);
    EXPECT_GT(record.GetCmdDataSize(0), kLongestEvent / 2 - 2000);
    EXPECT_EQ(record.Export(), text);
}

TEST(ImportMemory, NoReplyTakesTooMuch) {
    for (const std::string& element : kElements) {
        const std::string text = listOf(element, "[", "]", kFrameLimit);
        SipJson record;
        record.Import(text.c_str());
        EXPECT_EQ(record.OpCode(), 1u) << element;
    }
    std::string nested;
    for (int i = 0; i < 250; ++i) {
        nested = "[" + nested + "]";
    }
    SipJson record;
    record.Import(listOf(nested, "[", "]", kFrameLimit).c_str());
    EXPECT_EQ(record.OpCode(), 1u);
}

}  // namespace
}  // namespace varnock::test
