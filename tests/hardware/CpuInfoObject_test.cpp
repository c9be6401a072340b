#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

/// A program that links the library's objects, and one that loads the shared library.
class CpuInfoObject : public testing::TestWithParam<const char*> {
  protected:
    ProcessResult run(const std::string& cpuInfo) {
        return runProcess({GetParam()}, {{"QX_SYSTEM_DIR", directory_.file("missing")},
                                         {"QX_LOG_RINGBUF_DIR", directory_.path().string()},
                                         {"QX_CPUINFO_FILE", cpuInfo}});
    }

    TemporaryDirectory directory_;
};

TEST_P(CpuInfoObject, ReadsTheFileAtLoadAndNeverAgain) {
    const ProcessResult result = run(VARNOCK_TEST_DATA_DIR "/cpuinfo/intel-xeon");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "static-begin 8\nmain 8\nlater 8\nstatic-end 8\n");
}

TEST_P(CpuInfoObject, LoadsWhateverTheFileLooksLike) {
    writeFile(directory_.file("garbage"), std::string(100000, ':'));
    writeFile(directory_.file("processors"), "processor:\nprocessor: x\n");
    for (const std::string& path :
         {directory_.file("missing"), directory_.file("garbage"), directory_.path().string(),
          std::string("/dev/zero"), std::string()}) {
        const ProcessResult result = run(path);
        EXPECT_EQ(result.status, 0) << path << result.err;
        EXPECT_EQ(result.out, "static-begin 0\nmain 0\nlater 0\nstatic-end 0\n") << path;
    }
    EXPECT_EQ(run(directory_.file("processors")).out,
              "static-begin 1\nmain 1\nlater 1\nstatic-end 1\n");
}

INSTANTIATE_TEST_SUITE_P(Linked, CpuInfoObject,
                         testing::Values(CPU_INFO_AT_LOAD_STATIC, CPU_INFO_AT_LOAD_SHARED),
                         [](const auto& linkage) {
                             return linkage.index == 0 ? "Static" : "Shared";
                         });

}  // namespace
}  // namespace varnock::test
