// The example program event_watcher with a scenario, as the documents show it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/CodeBlocks.h"

namespace varnock::test {
namespace {

using testing::HasSubstr;

class EventWatcher : public testing::Test {
  protected:
    /// With the programs in the path.
    ProcessResult run(const std::vector<std::string>& command) const {
        Subprocess::Environment environment = files_.environment();
        environment["PATH"] = std::filesystem::path(EVENT_WATCHER).parent_path().string() +
                              ":/usr/local/bin:/usr/bin:/bin";
        environment["TMPDIR"] = files_.path();
        return runProcess(command, environment);
    }

    LibraryFiles files_;
};

TEST_F(EventWatcher, SeesTheEventsOfAScenarioInOrder) {
    const auto blocks = codeBlocks(pageFrom("agent.md", "## Expectations and scenarios"), "sh");
    ASSERT_GE(blocks.size(), 2U);
    const ProcessResult result = run({"sh", "-e", "-c", blocks[1]});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "systemMessageLog 3\nsystemMessageLog 4\n") << result.err;
}

TEST_F(EventWatcher, FailsIfTheEventsDoNotCome) {
    const ProcessResult result =
        run({VARNOCK_AGENT, "run", "--machine", "typical", "--", "event_watcher", "3", "0.01"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("event_watcher: 0 of 3 events came within 0.01 s\n"));
}

TEST_F(EventWatcher, SaysAtOnceThatThereIsNoAgent) {
    const ProcessResult result =
        runProcess({EVENT_WATCHER, "1"}, {{"QX_RAGD_SOCKET_DIR", files_.path()}});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("event_watcher: no agent at " + files_.file("ragdsj")));
}

TEST_F(EventWatcher, TakesCountsAndTimesOnly) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"x"}, {"0"}, {"1.5"}, {"-1"}, {"1", "x"}, {"1", "1", "1"}}) {
        std::vector<std::string> command{EVENT_WATCHER};
        command.insert(command.end(), words.begin(), words.end());
        const ProcessResult result = run(command);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.err, HasSubstr("usage: event_watcher [EVENTS [SECONDS]]"));
    }
}

}  // namespace
}  // namespace varnock::test
