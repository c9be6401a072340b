// Every system call on the trace file fails once, transfers a part or takes long while a process
// opens it.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/EveryCall.h"

namespace varnock::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

enum class TraceBefore { missing, used };

class TraceFileFaults : public testing::TestWithParam<TraceBefore> {
  protected:
    TraceFileFaults() {
        files_.settings["QX_SYSTEM_DIR"] = registry_.path();
        writeFile(registry_.file("registry"), kSmallRegistry);
        files_.host({"load"});
        used_ = readFile(files_.traceFile());
    }
    void SetUp() override { SKIP_IF_NOTHING_CAN_BE_TRACED(); }

    /// Starts a process with the trace file of the parameter.
    TracedResult run(const Decision& decide) const {
        std::filesystem::remove(files_.traceFile());
        if (GetParam() == TraceBefore::used) {
            writeFile(files_.traceFile(), used_);
        }
        return runTraced({LIBRARY_HOST_STATIC, "load"}, files_.environment(), files_.path(),
                         decide);
    }
    /// Expects the next process to have a whole trace.
    void expectWholeTraceNextTime() const {
        const ProcessResult next = files_.host({"load"});
        EXPECT_EQ(next.status, 0);
        EXPECT_EQ(next.err, "");
        const std::string trace = readFile(files_.traceFile());
        EXPECT_THAT(trace, StartsWith("FilePath  "));
        EXPECT_THAT(trace, HasSubstr("### Start of work cycle. (0000000"));
        EXPECT_EQ(trace.size(), used_.size());
    }

    LibraryFiles files_;
    TemporaryDirectory registry_;
    std::string used_;
};

TEST_P(TraceFileFaults, CostNoProcessAndNoLaterTrace) {
    constexpr std::size_t kOfEachKind = 8;  // a new file is filled by many equal writes
    const std::size_t faults = forEveryFault(
        [this](const Fault&, const Decision& decide) {
            TracedResult result = run(decide);
            EXPECT_EQ(result.status, 0) << result.err;
            EXPECT_EQ(result.out, "loaded\n");
            expectWholeTraceNextTime();
            return result;
        },
        kOfEachKind);
    EXPECT_GT(faults, 20U);
}

INSTANTIATE_TEST_SUITE_P(Of, TraceFileFaults,
                         testing::Values(TraceBefore::missing, TraceBefore::used),
                         [](const auto& before) {
                             return before.param == TraceBefore::missing ? "ANewFile" : "AUsedFile";
                         });

}  // namespace
}  // namespace varnock::test
