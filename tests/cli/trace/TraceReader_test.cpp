#include "cli/trace/TraceReader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "cli/output/Failure.h"
#include "runtime/Debug.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnockctl {
namespace {

using varnock::test::TemporaryDirectory;
using varnock::test::writeFile;

class TraceFileReader : public testing::Test {
  protected:
    TraceFileReader() {
        Debug.InitRingBuffer(path_.c_str(), 64 * 1024);
        Debug.PrintIt(2, "one");
    }
    static std::string newestOf(const TraceLog& log) {
        return std::string(log.entries().back().message);
    }

    TemporaryDirectory directory_;
    std::string path_ = directory_.file("log");
    TraceReader reader_{path_};
};

TEST_F(TraceFileReader, ReadsAgainWhatHasChanged) {
    EXPECT_EQ(newestOf(*reader_.read()), "one");
    EXPECT_EQ(reader_.readChanged(), nullptr);
    Debug.PrintIt(2, "two");
    const auto log = reader_.readChanged();
    ASSERT_NE(log, nullptr);
    EXPECT_EQ(newestOf(*log), "two");
    EXPECT_FALSE(reader_.isReplaced());
}

/// Longer than any trace file, and larger than the memory.
constexpr off_t kHuge = off_t{8} << 40;

TEST_F(TraceFileReader, ReadsAHugeFileAsFarAsItIsUsed) {
    if (truncate(path_.c_str(), kHuge) != 0) {
        GTEST_SKIP() << "this file system does not allow a sparse file of 8 TiB";
    }
    EXPECT_EQ(newestOf(*reader_.read()), "one");
}

TEST_F(TraceFileReader, RefusesAHugeFileThatIsNotATraceFile) {
    const std::string other = directory_.file("other");
    writeFile(other, "");
    if (truncate(other.c_str(), kHuge) != 0) {
        GTEST_SKIP() << "this file system does not allow a sparse file of 8 TiB";
    }
    EXPECT_THROW(TraceReader(other).read(), Failure);
}

}  // namespace
}  // namespace varnockctl
