// Every allocation of a process that only loads the library fails once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

using testing::HasSubstr;

class OutOfMemoryAtStart : public testing::TestWithParam<const char*> {
  protected:
    /// Starts the host with the n-th allocation failing.
    ProcessResult start(int n) const {
        auto environment = files_.environment();
        environment["LD_PRELOAD"] = VARNOCK_FAILING_MALLOC_SO;
        environment["VARNOCK_FAILING_MALLOC"] = std::to_string(n);
        environment["VARNOCK_FAILING_MALLOC_REPORT"] = report_.file("report");
        return runProcess({GetParam(), "load"}, environment);
    }
    bool hasFailed() const { return std::filesystem::remove(report_.file("report").c_str()); }

    LibraryFiles files_;
    TemporaryDirectory report_;
};

TEST_P(OutOfMemoryAtStart, TheHostLivesOnAndTheNextStartIsWhole) {
    SKIP_IF_MALLOC_IS_REPLACED();
    int n = 1;
    for (; n < 2000 && !HasFailure(); ++n) {
        SCOPED_TRACE("allocation " + std::to_string(n));
        writeFile(files_.file("registry"), kSmallRegistry);
        unlink(files_.traceFile().c_str());
        const ProcessResult result = start(n);
        const bool failed = hasFailed();
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, "loaded\n");
        EXPECT_FALSE(std::filesystem::exists(files_.file("registry.new")));
        if (!failed) {
            break;
        }
        const std::string registry = readFile(files_.file("registry"));
        EXPECT_TRUE(registry == kSmallRegistry || registry.find("[CIM_Provider]") != registry.npos)
            << registry;
        if (n % 20 != 1) {
            continue;
        }
        EXPECT_EQ(runProcess({GetParam(), "load"}, files_.environment()).status, 0);
        EXPECT_THAT(readFile(files_.file("registry")), HasSubstr("[CIM_Provider]"));
        EXPECT_TRUE(std::filesystem::exists(files_.traceFile()));
    }
    EXPECT_GT(n, 30);
}

INSTANTIATE_TEST_SUITE_P(Linkage, OutOfMemoryAtStart,
                         testing::Values(LIBRARY_HOST_STATIC, LIBRARY_HOST_SHARED),
                         [](const auto& host) {
                             return host.param == std::string(LIBRARY_HOST_STATIC) ? "Static"
                                                                                   : "Shared";
                         });

}  // namespace
}  // namespace varnock::test
