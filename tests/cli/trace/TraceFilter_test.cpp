#include "cli/trace/TraceFilter.h"

#include <gtest/gtest.h>

#include <string>

#include "cli/Commands.h"
#include "cli/output/Failure.h"

namespace varnockctl {
namespace {

TraceEntry parsed(const std::string& line) {
    return parseTraceEntry(line).value();
}

const std::string kFirst = "Nov 14 22:13:20 host App[00000000F7A51740]: one";
const std::string kSecond = "Nov 14 22:13:20 host App[0000000000000ABC]: two";

TEST(TraceFilter, TakesThreadsInAnyForm) {
    for (const char* thread : {"F7A51740", "0xf7a51740", "00000000F7A51740"}) {
        TraceOptions options;
        options.threads = {thread};
        EXPECT_TRUE(TraceFilter(options).passes(parsed(kFirst))) << thread;
        EXPECT_FALSE(TraceFilter(options).passes(parsed(kSecond))) << thread;
        std::swap(options.threads, options.notThreads);
        EXPECT_FALSE(TraceFilter(options).passes(parsed(kFirst))) << thread;
        EXPECT_TRUE(TraceFilter(options).passes(parsed(kSecond))) << thread;
    }
    for (const char* thread : {"", "0x", "g", "00000000000000001"}) {
        TraceOptions options;
        options.threads = {thread};
        EXPECT_THROW(TraceFilter{options}, Failure) << thread;
    }
}

TEST(TraceFilter, EveryConditionMustHold) {
    TraceOptions options;
    EXPECT_FALSE(TraceFilter(options).selects());
    options.threads = {"ABC", "F7A51740"};
    options.exclude = {"^t"};
    const TraceFilter filter(options);
    EXPECT_TRUE(filter.selects());
    EXPECT_TRUE(filter.passes(parsed(kFirst)));
    EXPECT_FALSE(filter.passes(parsed(kSecond)));
}

TEST(TraceFilter, AnEntryWithoutATimeIsInNoRangeOfTimes) {
    TraceOptions options;
    options.until = "2100-01-01";
    const TraceFilter filter(options);
    EXPECT_TRUE(filter.passes(parsed(kFirst)));
    EXPECT_FALSE(filter.passes(parsed("mmm dd hh:mm:ss host App[00000000F7A51740]: x")));
}

TEST(TraceDescription, EndsWithItsLastLineOrAtTheWorkCycle) {
    const auto line = [](const char* thread, const std::string& message) {
        return "Nov 14 22:13:20 host App[000000000000000" + std::string(thread) + "]: " + message;
    };
    TraceDescription description;
    const auto holds = [&](const char* thread, const std::string& message) {
        const std::string text = line(thread, message);
        return description.holds(parsed(text));
    };
    EXPECT_FALSE(holds("A", "before"));
    EXPECT_TRUE(holds("A", "Varnock Agent CIM_Provider Version=x"));
    EXPECT_TRUE(holds("A", "QX_OS=NotSet"));
    EXPECT_FALSE(holds("B", "of another thread"));
    EXPECT_TRUE(holds("A", "# End of header."));
    EXPECT_FALSE(holds("A", "after"));
    EXPECT_TRUE(holds("A", "Varnock Agent CIM_Provider Version=x"));
    EXPECT_FALSE(holds("A", "### Start of work cycle. (00000002) ###"));
    EXPECT_FALSE(holds("A", "after"));
}

}  // namespace
}  // namespace varnockctl
