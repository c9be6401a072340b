#include "cli/output/ExitStatus.h"

#include <gtest/gtest.h>

namespace varnockctl {
namespace {

TEST(ExitStatus, HasAMeaning) {
    EXPECT_EQ(meaningOf(ExitStatus::done), "done");
    EXPECT_EQ(meaningOf(ExitStatus::terminated), "terminated");
    EXPECT_EQ(meaningOf(static_cast<ExitStatus>(99)), "failed");
}

}  // namespace
}  // namespace varnockctl
