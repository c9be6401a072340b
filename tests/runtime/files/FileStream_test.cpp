#include "runtime/files/FileStream.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

class FileStream : public testing::Test {
  protected:
    TemporaryDirectory directory_;
    std::string path_ = directory_.file("file");
};

TEST_F(FileStream, OpensAFileAsItsModeSays) {
    writeFile(path_, "text");
    const varnock::FileStream reading = openRegularFile(path_.c_str(), "re");
    ASSERT_TRUE(reading);
    EXPECT_EQ(fgetc(reading.get()), 't');
    EXPECT_EQ(fcntl(fileno(reading.get()), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_EQ(fcntl(fileno(reading.get()), F_GETFL) & O_ACCMODE, O_RDONLY);
    varnock::FileStream changing = openRegularFile(path_.c_str(), "r+e");
    ASSERT_TRUE(changing);
    EXPECT_EQ(fputc('T', changing.get()), 'T');
    EXPECT_TRUE(closeWritten(std::move(changing)));
    EXPECT_EQ(readFile(path_), "Text");
}

TEST_F(FileStream, OpensNothingElseAndWaitsForNobody) {
    EXPECT_EQ(openRegularFile(path_.c_str(), "re"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    for (const char* path : {path_.c_str(), directory_.path().c_str(), "/dev/zero"}) {
        EXPECT_EQ(openRegularFile(path, "re"), nullptr) << path;
        EXPECT_EQ(errno, EINVAL) << path;
        EXPECT_EQ(openRegularFile(path, "r+e"), nullptr) << path;
    }
}

TEST_F(FileStream, SyncsTheDirectoryOfAFile) {
    writeFile(path_, "");
    EXPECT_TRUE(syncDirectoryOf(path_.c_str()));
    EXPECT_TRUE(syncDirectoryOf(directory_.file("missing").c_str()));
    EXPECT_TRUE(syncDirectoryOf("/file"));
    EXPECT_TRUE(syncDirectoryOf("file"));
    EXPECT_FALSE(syncDirectoryOf(directory_.file("missing/file").c_str()));
    EXPECT_FALSE(syncDirectoryOf((path_ + "/file").c_str()));
}

TEST_F(FileStream, TellsWhenAFileCannotBeClosedWhole) {
    varnock::FileStream full(fopen("/dev/full", "w"));
    fputs("text", full.get());
    EXPECT_FALSE(closeWritten(std::move(full)));
}

TEST_F(FileStream, WritesAtItsPlace) {
    writeFile(path_, "0123456789");
    const varnock::FileStream file = openRegularFile(path_.c_str(), "r+e");
    EXPECT_TRUE(writeAt(fileno(file.get()), "abc", 3, 4));
    EXPECT_EQ(readFile(path_), "0123abc789");
    const varnock::FileStream full(fopen("/dev/full", "w"));
    EXPECT_FALSE(writeAt(fileno(full.get()), "abc", 3, 0));
    EXPECT_EQ(errno, ENOSPC);
}

}  // namespace
}  // namespace varnock::test
