#include "tests/support/Subprocess.h"

#include <gtest/gtest.h>
#include <signal.h>

namespace varnock::test {
namespace {

TEST(Subprocess, CapturesOutputErrorAndStatus) {
    const ProcessResult result = runProcess({"sh", "-c", "echo out; echo err >&2; exit 3"});
    EXPECT_EQ(result.out, "out\n");
    EXPECT_EQ(result.err, "err\n");
    EXPECT_EQ(result.status, 3);
}

TEST(Subprocess, AddsToTheEnvironment) {
    EXPECT_EQ(runProcess({"sh", "-c", "echo $VT_ADDED"}, {{"VT_ADDED", "yes"}}).out, "yes\n");
}

TEST(Subprocess, ReportsTheSignalThatEndedIt) {
    Subprocess process({"sh", "-c", "echo ready; exec sleep 100"});
    ASSERT_TRUE(process.waitForOutput("ready"));
    process.signal(SIGTERM);
    EXPECT_EQ(process.wait().status, 128 + SIGTERM);
}

TEST(Subprocess, ReportsACommandThatDoesNotExist) {
    EXPECT_EQ(runProcess({"vt-no-such-command"}).status, 127);
}

TEST(Subprocess, TakesMoreOutputThanAPipeHolds) {
    EXPECT_EQ(runProcess({"sh", "-c", "head -c 1000000 /dev/zero; head -c 300000 /dev/zero >&2"})
                  .out.size(),
              1'000'000U);
}

}  // namespace
}  // namespace varnock::test
