#include "tests/support/TraceCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>
#include <vector>

namespace varnock::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

TEST(TraceCapture, GivesMessagesWithoutHeaderAndLinesWithIt) {
    TraceCapture trace;
    Debug.Print(5, "\nEnter %s", "here");
    EXPECT_THAT(trace.messages(), ElementsAre("Enter here"));
    ASSERT_THAT(trace.lines(), ElementsAre(EndsWith("]: Enter here")));
    EXPECT_TRUE(trace.contains("ter he"));
    EXPECT_FALSE(trace.contains("CIM_Provider"));
}

TEST(TraceCapture, HoldsTheLevelItWasGiven) {
    TraceCapture trace(2);
    Debug.Print(2, "two");
    Debug.Print(3, "three");
    EXPECT_THAT(trace.messages(), ElementsAre("two"));
    EXPECT_TRUE(Debug.IsOn(2));
    EXPECT_FALSE(Debug.IsOn(3));
}

TEST(TraceCapture, CountsMessagesAndForgetsThem) {
    TraceCapture trace;
    Debug.Print(0, "one");
    Debug.Print(0, "one and two");
    EXPECT_EQ(trace.count("one"), 2U);
    trace.clear();
    EXPECT_THAT(trace.messages(), IsEmpty());
    Debug.Print(0, "three");
    EXPECT_THAT(trace.messages(), ElementsAre("three"));
}

TEST(TraceCapture, RestoresTraceAndStandardError) {
    TraceCapture outer(1);
    const auto before = DebugTestAccess::switches(Debug);
    {
        TraceCapture inner(4);
        Debug.Print(4, "inner");
        dprintf(STDERR_FILENO, "not a trace\n");
        EXPECT_THAT(inner.messages(), ElementsAre("inner", "not a trace"));
    }
    const auto after = DebugTestAccess::switches(Debug);
    EXPECT_EQ(after.level, before.level);
    EXPECT_EQ(after.target, before.target);
    EXPECT_EQ(after.active, before.active);
    Debug.Print(1, "outer");
    EXPECT_THAT(outer.messages(), ElementsAre("outer"));
}

TEST(TraceCapture, KeepsEveryEntryOfSeveralThreads) {
    TraceCapture trace;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            for (int n = 0; n < 500; ++n) {
                Debug.Print(5, "thread %d entry %d end", i, n);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(trace.messages().size(), 2000U);
    EXPECT_EQ(trace.count("end"), 2000U);
}

}  // namespace
}  // namespace varnock::test
