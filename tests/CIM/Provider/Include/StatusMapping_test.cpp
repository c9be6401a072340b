#include "CIM/Provider/Include/StatusMapping.h"

#include <cimple/Provider.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "tests/support/TraceCapture.h"

namespace provider {
namespace {

using varnock::test::TraceCapture;

struct Expected {
    int error;
    unsigned int status;
    bool traced;
};

struct Operation {
    const char* name;
    cimple::uint32 (*map)(CimError);
    std::vector<Expected> rows;
};

const Operation kOperations[] = {
    {"toGetInstanceStatus",
     toGetInstanceStatus,
     {{0, 0, false},
      {1, 64, false},
      {2, 63, false},
      {4, 62, false},
      {6, 60, false},
      {7, 61, false},
      {3, 64, true},
      {5, 64, true},
      {-1, 64, true},
      {INT_MAX, 64, true},
      {INT_MIN, 64, true}}},
    {"toModifyInstanceStatus",
     toModifyInstanceStatus,
     {{0, 0, false},
      {1, 104, false},
      {2, 103, false},
      {4, 102, false},
      {6, 100, false},
      {7, 101, false},
      {3, 104, true},
      {8, 104, true},
      {-1, 104, true}}},
    {"toEnumInstancesStatus",
     toEnumInstancesStatus,
     {{0, 0, false},
      {1, 70, false},
      {2, 71, false},
      {4, 70, true},
      {6, 70, true},
      {7, 70, true},
      {-1, 70, true}}},
    {"toInvokeMethodStatus",
     toInvokeMethodStatus,
     {{0, 0, false},
      {1, 130, false},
      {2, 132, false},
      {7, 131, false},
      {4, 130, true},
      {6, 130, true},
      {17, 130, true}}},
    {"toEnableIndicationsStatus",
     toEnableIndicationsStatus,
     {{0, 0, false},
      {1, 140, false},
      {2, 140, true},
      {4, 140, true},
      {6, 140, true},
      {7, 140, true},
      {99, 140, true}}},
    {"toDisableIndicationsStatus",
     toDisableIndicationsStatus,
     {{0, 0, false},
      {1, 150, false},
      {2, 150, true},
      {4, 150, true},
      {6, 150, true},
      {7, 150, true},
      {99, 150, true}}},
};

TEST(StatusMapping, EveryErrorHasItsStatus) {
    for (const Operation& operation : kOperations) {
        for (const Expected& row : operation.rows) {
            EXPECT_EQ(operation.map(static_cast<CimError>(row.error)), row.status)
                << operation.name << '(' << row.error << ')';
        }
    }
}

TEST(StatusMapping, UnknownErrorsAreTracedAtLevelOne) {
    for (const Operation& operation : kOperations) {
        for (const Expected& row : operation.rows) {
            const TraceCapture trace(1);
            operation.map(static_cast<CimError>(row.error));
            std::vector<std::string> expected;
            if (row.traced) {
                expected.push_back("KRM_TBL             : " + std::string(operation.name) +
                                   "(): unknown CimError code: " + std::to_string(row.error));
            }
            EXPECT_EQ(trace.messages(), expected) << operation.name << '(' << row.error << ')';
        }
    }
}

TEST(StatusMapping, TracesNothingBelowLevelOne) {
    const TraceCapture trace(0);
    for (const Operation& operation : kOperations) {
        for (const Expected& row : operation.rows) {
            EXPECT_EQ(operation.map(static_cast<CimError>(row.error)), row.status);
        }
    }
    EXPECT_TRUE(trace.messages().empty());
}

}  // namespace
}  // namespace provider
