#include "runtime/EventLog.h"

#include <gtest/gtest.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/TraceCapture.h"

namespace {

using varnock::test::FailingAllocation;
using varnock::test::TraceCapture;

TEST(EventLog, GivesNoHandle) {
    CEventLog log;
    EXPECT_EQ(log.RegisterSource("provider", nullptr), 0);
    EXPECT_EQ(log.RegisterSource("another", nullptr), 0);
    EXPECT_EQ(log.RegisterSource(nullptr, nullptr), 0);
}

TEST(EventLog, ReportsNothing) {
    const TraceCapture trace;
    CEventLog log("server", "provider");
    const char* strings[] = {"one", "two"};
    EXPECT_EQ(log.Report("text", 1), 0);
    EXPECT_EQ(log.Report(nullptr, 1), 0);
    EXPECT_EQ(log.Report(7, 1, strings, 2, nullptr, 0, 0), 0);
    EXPECT_EQ(log.Report(7, 1, nullptr, 0, strings, sizeof strings, 3), 0);
    EXPECT_EQ(trace.text(), "");
}

TEST(EventLog, DoesNotThrowWithoutMemory) {
    CEventLog log;
    const FailingAllocation failure(1);
    EXPECT_EQ(log.RegisterSource("provider", nullptr), 0);
    EXPECT_TRUE(failure.happened());
}

}  // namespace
