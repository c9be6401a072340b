#include "runtime/trace/TraceEntry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdarg.h>

#include <string>

#include "runtime/Debug.h"
#include "tests/support/FixedClock.h"

namespace varnock {
namespace {

using testing::EndsWith;
using testing::StartsWith;

constexpr std::size_t kLongestHeader = 127;

std::string entryOf(const char* application, const char* format, ...) {
    TraceEntry entry(Debug);
    va_list arguments;
    va_start(arguments, format);
    EXPECT_TRUE(entry.format(format, arguments));
    va_end(arguments);
    return std::string(entry.finish(application));
}

TEST(TraceEntries, EndWithOneNewline) {
    EXPECT_THAT(entryOf("CIM_Provider", "value %d", 7), EndsWith("]: value 7\n"));
    EXPECT_THAT(entryOf("CIM_Provider", "value %d\n", 7), EndsWith("]: value 7\n"));
}

TEST(TraceEntries, HaveTheTimeOfTheirHeader) {
    test::FixedClock clock(1'700'000'000);
    TraceEntry entry(Debug);
    const auto format = [&entry](const char* text, ...) {
        va_list arguments;
        va_start(arguments, text);
        EXPECT_TRUE(entry.format(text, arguments));
        va_end(arguments);
    };
    format("formatted");
    clock.set(1'700'000'001);
    const std::string later(entry.finish("CIM_Provider"));
    EXPECT_EQ(later.substr(0, 15), entryOf("CIM_Provider", "formatted").substr(0, 15));
}

TEST(TraceEntries, CutAHeaderThatIsTooLong) {
    const std::string application(200, 'a');
    const std::string entry = entryOf(application.c_str(), "message");
    EXPECT_EQ(entry.size(), kLongestHeader + std::string("message\n").size());
    EXPECT_THAT(entry, EndsWith("aaaamessage\n"));
    EXPECT_THAT(entry, StartsWith(entryOf("CIM_Provider", "message").substr(0, 7)));
}

TEST(TraceEntries, AreCutAfterTheLongestMessage) {
    const std::string text(5000, 'x');
    const std::string entry = entryOf("CIM_Provider", "%s", text.c_str());
    EXPECT_THAT(entry, EndsWith("]: " + std::string(1024, 'x') + "\n"));
}

}  // namespace
}  // namespace varnock
