#include "tests/support/PrivateStart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::test {
namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* kDirectories[] = {"QX_SYSTEM_DIR", "QX_LOG_RINGBUF_DIR", "QX_RAGD_SOCKET_DIR",
                                        "HOME", "TMPDIR"};

std::string valueOf(const char* name) {
    const char* value = getenv(name);
    return value != nullptr ? value : "";
}

/// The command as started by a user, with the machine's directories in the environment.
ProcessResult byHand(std::vector<std::string> command, const std::string& temporary = "/tmp") {
    command.insert(command.begin(), {"env", "-u", VARNOCK_PRIVATE_DIRECTORY});
    return runProcess(command, {{"QX_SYSTEM_DIR", "/etc/qxmond"},
                                {"QX_LOG_RINGBUF_DIR", "/var/log/qxmond"},
                                {"QX_LOG_DEBUG_LEVEL", "7"},
                                {"QX_RAGD_SOCKET_DIR", "/dev"},
                                {"HOME", "/root"},
                                {"TMPDIR", temporary}});
}

std::string thisProgram() {
    return fs::read_symlink("/proc/self/exe");
}

TEST(PrivateStart, GivesATestProgramDirectoriesOfItsOwn) {
    const std::string root = valueOf(VARNOCK_PRIVATE_DIRECTORY);
    ASSERT_THAT(root, Not(IsEmpty()));
    for (const char* name : kDirectories) {
        EXPECT_THAT(valueOf(name), StartsWith(root)) << name;
        EXPECT_TRUE(fs::is_directory(valueOf(name))) << name;
    }
    EXPECT_EQ(getenv("QX_LOG_DEBUG_LEVEL"), nullptr);
}

TEST(PrivateStart, HoldsForAProgramStartedByHand) {
    const ProcessResult result =
        byHand({thisProgram(), "--gtest_filter=PrivateStart.GivesATestProgramDirectoriesOfItsOwn"});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
}

TEST(PrivateStart, RemovesTheDirectoriesAtTheEnd) {
    const TemporaryDirectory temporary;
    const ProcessResult result = byHand({thisProgram(), "--gtest_list_tests"}, temporary.path());
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(fs::is_empty(temporary.path()));
}

TEST(PrivateStart, PassesTheStatusOn) {
    const std::string starter = fs::path(thisProgram()).replace_filename("private_start");
    EXPECT_EQ(byHand({starter, "/bin/sh", "-c", "exit 3"}).status, 3);
    EXPECT_EQ(byHand({starter, "/bin/sh", "-c", "kill -9 $$"}).status, 128 + SIGKILL);
    EXPECT_EQ(byHand({starter, "/nonexistent"}).status, 125);
}

TEST(PrivateStart, DoesNotStartAProgramWithoutDirectories) {
    const ProcessResult result = byHand({thisProgram(), "--gtest_list_tests"}, "/nonexistent");
    EXPECT_EQ(result.status, 125);
    EXPECT_THAT(result.out, IsEmpty());
    EXPECT_THAT(result.err, StartsWith("private_start: "));
}

}  // namespace
}  // namespace varnock::test
