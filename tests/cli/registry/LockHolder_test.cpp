#include "cli/registry/LockHolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnockctl {
namespace {

using varnock::test::TemporaryDirectory;
using varnock::test::writeFile;

class LockHolder : public testing::Test {
  protected:
    LockHolder() { writeFile(locked_, ""); }

    /// A line of the table of locks for the locked file.
    std::string line(const std::string& before) const {
        struct stat status {};
        stat(locked_.c_str(), &status);
        char text[200];
        snprintf(text, sizeof text, "%s %02x:%02x:%lu 0 EOF\n", before.c_str(),
                 major(status.st_dev), minor(status.st_dev),
                 static_cast<unsigned long>(status.st_ino));
        return text;
    }
    std::string holder(const std::string& locks) const {
        writeFile(directory_.file("locks"), locks);
        return holderText(locked_, directory_.path());
    }

    const TemporaryDirectory directory_;
    const std::string locked_ = directory_.file("locked");
};

TEST_F(LockHolder, IsNamed) {
    std::filesystem::create_directory(directory_.file("17"));
    writeFile(directory_.file("17/comm"), "saver\n");
    EXPECT_EQ(holder("1: POSIX  ADVISORY  WRITE 9 01:02:3 0 EOF\n" +
                     line("2: FLOCK  ADVISORY  WRITE 17")),
              "process 17 (saver)");
    EXPECT_EQ(holder(line("2: FLOCK  ADVISORY  WRITE 18")), "process 18");
}

TEST_F(LockHolder, IsNotGuessed) {
    EXPECT_EQ(holder(""), "another process");
    EXPECT_EQ(holder(line("2: -> FLOCK  ADVISORY  WRITE 17")), "another process");
    EXPECT_EQ(holder(line("2: OFDLCK ADVISORY  WRITE -1")), "another process");
    EXPECT_EQ(holder(line("2: FLOCK  ADVISORY  WRITE 0")), "another process");
    EXPECT_EQ(holder("2: FLOCK  ADVISORY  WRITE 17 01:02:3 0 EOF\n"), "another process");
    EXPECT_EQ(holderText(directory_.file("none")), "another process");
}

TEST_F(LockHolder, OfARealLockIsThisProcess) {
    const int file = open(locked_.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(file, LOCK_EX), 0);
    const std::string text = holderText(locked_);
    close(file);
    EXPECT_EQ(text.substr(0, text.find(" (")), "process " + std::to_string(getpid()));
}

}  // namespace
}  // namespace varnockctl
