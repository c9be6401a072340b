#include "agent/PrivateDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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

TEST(PrivateDirectory, IsLeftAloneByAForkedChild) {
    std::optional<PrivateDirectory> directory(std::in_place);
    const pid_t child = fork();
    if (child == 0) {
        directory.reset();
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    EXPECT_TRUE(fs::is_directory(directory->path()));
}

/// In a process without the standard streams in `closed`: true if the guardian keeps waiting.
bool isGuardedWithout(const std::vector<int>& closed) {
    const pid_t process = fork();
    if (process == 0) {
        for (const int descriptor : closed) {
            close(descriptor);
        }
        const PrivateDirectory directory;
        siginfo_t ended{};
        std::string call;
        // The first number is the system call, read() being 0.
        while (!call.starts_with("0 ")) {
            ended.si_pid = 0;
            waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT);
            if (ended.si_pid != 0) {
                _exit(1);
            }
            std::string child;
            std::getline(std::ifstream("/proc/thread-self/children"), child, ' ');
            std::getline(std::ifstream("/proc/" + child + "/syscall"), call);
        }
        _exit(fs::is_directory(directory.path()) ? 0 : 1);
    }
    int status = 0;
    waitpid(process, &status, 0);
    return status == 0;
}

TEST(PrivateDirectory, IsGuardedWithAnyStandardStreamsClosed) {
    const varnock::test::TemporaryDirectory parent;
    setenv("TMPDIR", parent.path().c_str(), 1);
    for (int set = 0; set < 8; ++set) {
        std::vector<int> closed;
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            if ((set >> descriptor & 1) != 0) {
                closed.push_back(descriptor);
            }
        }
        EXPECT_TRUE(isGuardedWithout(closed)) << testing::PrintToString(closed);
    }
}

TEST(PrivateDirectory, IsMadeElsewhereIfTheDirectoryForTemporaryFilesIsMissing) {
    const varnock::test::TemporaryDirectory parent;
    setenv("TMPDIR", parent.file("missing").c_str(), 1);
    const PrivateDirectory directory;
    EXPECT_EQ(directory.path().parent_path(), "/tmp");
    EXPECT_TRUE(fs::is_empty(parent.path()));
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
