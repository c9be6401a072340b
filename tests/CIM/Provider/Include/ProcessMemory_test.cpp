#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/EveryAllocation.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::test {
namespace {

/// A whole process, from its load to its end, without one of its allocations. The parameter is the
/// program.
class ProcessMemory : public testing::TestWithParam<std::string> {
  protected:
    ProcessMemory() {
        agent.handle([](const AgentRequest& request) {
            return request.opcode == 0x0300 ? AgentReply::ok(numberData(4))
                                            : AgentReply::status(19);
        });
    }

    /// Runs the program. True if an allocation failed.
    bool run(const std::string& n, const char* times) {
        std::filesystem::remove(report);
        const ProcessResult result =
            runProcess({GetParam()}, {{"LD_PRELOAD", VARNOCK_FAILING_MALLOC_SO},
                                      {"VARNOCK_FAILING_MALLOC", n},
                                      {"VARNOCK_FAILING_MALLOC_TIMES", times},
                                      {"VARNOCK_FAILING_MALLOC_REPORT", report}});
        const bool happened = std::filesystem::exists(report);
        EXPECT_LT(result.status, 128) << times << " " << n << ": " << result.err;
        EXPECT_TRUE(result.status == 0 || happened) << result.status << result.err;
        return happened;
    }
    unsigned int runAll(const char* times, unsigned int first) {
        unsigned int n = first;
        while (n < 10'000 && run(std::to_string(n), times)) {
            ++n;
        }
        return n;
    }

    ScriptedAgent agent;
    TemporaryDirectory directory;
    const std::string report = directory.file("report");
};

TEST_P(ProcessMemory, TheLackOfOneBlockEndsNoProcess) {
    SKIP_IF_MALLOC_IS_REPLACED();
    EXPECT_GT(runAll("once", 1), 50u);
}

TEST_P(ProcessMemory, TheLackOfAllMemoryEndsNoProcess) {
    SKIP_IF_MALLOC_IS_REPLACED();
    // The first block is the reserve of the C++ runtime, without which it can throw no exception.
    EXPECT_GT(runAll("always", 2), 50u);
}

INSTANTIATE_TEST_SUITE_P(Programs, ProcessMemory,
                         testing::Values(FANS_AND_EVENTS_STATIC, FANS_AND_EVENTS_SHARED),
                         [](const auto& program) {
                             return program.param == FANS_AND_EVENTS_STATIC ? "Static" : "Shared";
                         });

}  // namespace
}  // namespace varnock::test
