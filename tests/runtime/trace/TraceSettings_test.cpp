// DebugSettings_test.cpp tests how settings are resolved. This file tests the rest, which the tools
// use.
#include "runtime/trace/TraceSettings.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace varnock {
namespace {

TEST(TraceSettings, NameTheVariableOfThisApplicationsWeight) {
    char name[48];
    makeOwnWeightVariable(name);
    EXPECT_STREQ(name, "QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER");
}

TEST(TraceSettings, StandInAKeyOfTheApplication) {
    char path[64];
    makeTraceKeyPath(path, "CIM_Provider");
    EXPECT_STREQ(path, "SOFTWARE\\Debug\\CIM_Provider");
    char cut[9];
    makeTraceKeyPath(cut, "CIM_Provider");
    EXPECT_STREQ(cut, "SOFTWARE");
}

TEST(TraceSettings, AreTakenFromTheRegistryByTheirNames) {
    const std::map<std::string, int> values{{"DebugLevel", 1},
                                            {"RingBufferSizeFactor", 2},
                                            {"RingBufferSizeWeight", 3},
                                            {"NoHeaderToStderr", 4},
                                            {"RingBufferPerProcess", 5}};
    StoredTraceSettings stored = kNothingStored;
    takeStoredNumbers(stored, [&](const std::string& name) { return values.at(name); });
    EXPECT_EQ(stored.level, 1);
    EXPECT_EQ(stored.factor, 2);
    EXPECT_EQ(stored.weight, 3);
    EXPECT_EQ(stored.noHeaderToStderr, 4);
    EXPECT_EQ(stored.perProcess, 5);
}

TEST(TraceSettings, AreAbsentFromARegistryThatHasNone) {
    const StoredTraceSettings stored = kNothingStored;
    EXPECT_EQ(stored.level, -1);
    EXPECT_EQ(stored.factor, -1);
    EXPECT_EQ(stored.weight, -1);
    EXPECT_EQ(stored.noHeaderToStderr, -1);
    EXPECT_EQ(stored.perProcess, -1);
    EXPECT_STREQ(stored.directory, "");
}

}  // namespace
}  // namespace varnock
