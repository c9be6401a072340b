#include "agent/PrivateDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <memory>

#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent::test {
namespace {

namespace fs = std::filesystem;

TEST(PrivateDirectory, IsForThisUserAloneAndGoesWithItsContents) {
    const varnock::test::TemporaryDirectory parent;
    setenv("TMPDIR", parent.path().c_str(), 1);
    fs::path path;
    {
        const PrivateDirectory directory;
        path = directory.path();
        EXPECT_EQ(path.parent_path(), parent.path());
        struct stat found {};
        ASSERT_EQ(stat(path.c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 0777, 0700U);
        fs::create_directories(path / "a/b");
        std::ofstream(path / "a/b/file") << "x";
    }
    EXPECT_TRUE(fs::is_empty(parent.path()));
}

TEST(PrivateDirectory, StaysWhenKept) {
    const varnock::test::TemporaryDirectory parent;
    setenv("TMPDIR", parent.path().c_str(), 1);
    fs::path path;
    {
        PrivateDirectory directory;
        directory.keep();
        path = directory.path();
    }
    EXPECT_TRUE(fs::is_directory(path));
}

TEST(PrivateDirectory, HasAPathShortEnoughForSockets) {
    const varnock::test::TemporaryDirectory parent;
    const fs::path deep = parent.path() / std::string(90, 'd');
    fs::create_directory(deep);
    setenv("TMPDIR", deep.c_str(), 1);
    const PrivateDirectory directory;
    EXPECT_LT((directory.path() / "ragdsj").native().size(), 107U);
    EXPECT_EQ(directory.path().parent_path(), "/tmp");
}

}  // namespace
}  // namespace varnock::agent::test
