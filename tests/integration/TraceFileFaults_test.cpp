// Every system call on the trace file fails once while a process opens it.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/TracedProcess.h"

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
    const std::size_t count =
        run([](std::size_t, const SystemCall&) { return Fate{}; }).calls.size();
    ASSERT_GT(count, 3U);
    for (std::size_t place = 0; place < count && !HasFailure(); ++place) {
        for (const int error : {EIO, ENOSPC}) {
            std::string name;
            const TracedResult result = run([&](std::size_t n, const SystemCall& call) {
                if (n != place) {
                    return Fate{};
                }
                name = call.name;
                return Fate{Fate::Kind::failing, error, 0};
            });
            SCOPED_TRACE(std::to_string(place) + ": " + name);
            EXPECT_EQ(result.status, 0) << result.err;
            EXPECT_EQ(result.out, "loaded\n");
            expectWholeTraceNextTime();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, TraceFileFaults,
                         testing::Values(TraceBefore::missing, TraceBefore::used),
                         [](const auto& before) {
                             return before.param == TraceBefore::missing ? "ANewFile" : "AUsedFile";
                         });

}  // namespace
}  // namespace varnock::test
