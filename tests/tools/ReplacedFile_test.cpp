#include "tools/ReplacedFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <string>
#include <system_error>

#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock {
namespace {

using test::readFile;
using test::TemporaryDirectory;
using test::writeFile;

constexpr mode_t kMode = 0644;

std::size_t filesIn(const TemporaryDirectory& directory) {
    const std::filesystem::directory_iterator files(directory.path());
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

TEST(ReplacedFile, CreatesAFileWithItsPermissions) {
    const TemporaryDirectory directory;
    const mode_t before = umask(077);
    replaceFile(directory.file("varnock.prom"), "a\n", kMode);
    umask(before);
    EXPECT_EQ(readFile(directory.file("varnock.prom")), "a\n");
    struct stat status {};
    ASSERT_EQ(stat(directory.file("varnock.prom").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0644U);
    EXPECT_EQ(filesIn(directory), 1U);
}

TEST(ReplacedFile, ReplacesTheFileInsteadOfChangingIt) {
    const TemporaryDirectory directory;
    writeFile(directory.file("varnock.prom"), "old");
    std::filesystem::create_hard_link(directory.file("varnock.prom"), directory.file("reader"));
    replaceFile(directory.file("varnock.prom"), "new", kMode);
    EXPECT_EQ(readFile(directory.file("reader")), "old");
    EXPECT_EQ(readFile(directory.file("varnock.prom")), "new");
}

TEST(ReplacedFile, FollowsALink) {
    const TemporaryDirectory directory;
    writeFile(directory.file("varnock.prom"), "old");
    std::filesystem::create_symlink("varnock.prom", directory.file("link"));
    replaceFile(directory.file("link"), "new", kMode);
    EXPECT_TRUE(std::filesystem::is_symlink(directory.file("link")));
    EXPECT_EQ(readFile(directory.file("varnock.prom")), "new");
}

int errorOf(const std::string& path) {
    try {
        replaceFile(path, "a", kMode);
        return 0;
    } catch (const std::system_error& failure) {
        EXPECT_EQ(std::string(failure.what()).rfind(path, 0), 0U) << failure.what();
        return failure.code().value();
    }
}

TEST(ReplacedFile, NamesTheFileThatCannotBeWritten) {
    const TemporaryDirectory directory;
    EXPECT_EQ(errorOf(directory.file("missing/varnock.prom")), ENOENT);
}

TEST(ReplacedFile, TakesNoNameFromADirectoryOrDevice) {
    const TemporaryDirectory directory;
    const std::string fifo = directory.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::filesystem::create_symlink(fifo, directory.file("link"));
    EXPECT_EQ(errorOf(directory.path()), EISDIR);
    EXPECT_EQ(errorOf(fifo), EINVAL);
    EXPECT_EQ(errorOf(directory.file("link")), EINVAL);
    EXPECT_TRUE(std::filesystem::is_fifo(fifo));
    EXPECT_EQ(filesIn(directory), 2U);
}

}  // namespace
}  // namespace varnock
