#include "agent/Listener.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <fstream>

#include "tests/agent/AgentFixture.h"

namespace varnock::agent::test {
namespace {

class AgentListener : public testing::Test {
  protected:
    std::string path() const { return directory_.file("ragdsj"); }
    mode_t permissions() const {
        struct stat found {};
        EXPECT_EQ(lstat(path().c_str(), &found), 0);
        return found.st_mode & 0777;
    }
    /// The socket left behind by a killed agent.
    void leaveStaleSocket() const {
        const pid_t child = fork();
        if (child == 0) {
            const Listener listener(path(), 0600);
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_EQ(status, 0);
        ASSERT_TRUE(std::filesystem::exists(path()));
    }
    std::string failure() const {
        try {
            const Listener listener(path(), 0600);
        } catch (const StartError& error) {
            return error.what();
        }
        return "";
    }

    varnock::test::TemporaryDirectory directory_;
};

TEST_F(AgentListener, GivesExactlyThePermissionsAskedForWhateverTheUmask) {
    umask(0);
    {
        const Listener listener(path(), 0600);
        EXPECT_EQ(permissions(), 0600U);
    }
    umask(0777);
    {
        const Listener listener(path(), 0660);
        EXPECT_EQ(permissions(), 0660U);
    }
}

TEST_F(AgentListener, RemovesItsSocket) {
    { const Listener listener(path(), 0600); }
    EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(AgentListener, ReplacesAStaleSocket) {
    leaveStaleSocket();
    const Listener listener(path(), 0600);
    EXPECT_TRUE(Client(path()).connected());
}

TEST_F(AgentListener, RefusesALiveSocketAndLeavesItAlone) {
    const Listener first(path(), 0600);
    EXPECT_EQ(failure(), path() + ": another agent is listening there");
    EXPECT_TRUE(Client(path()).connected());
}

TEST_F(AgentListener, RefusesAFileThatIsNotASocket) {
    std::ofstream(path()) << "precious";
    EXPECT_EQ(failure(), path() + ": exists and is not a socket");
    EXPECT_EQ(std::filesystem::file_size(path()), 8U);
}

TEST_F(AgentListener, RefusesAPathThatIsTooLong) {
    const std::string longPath = directory_.file(std::string(120, 'x'));
    EXPECT_THROW(Listener(longPath, 0600), StartError);
}

TEST_F(AgentListener, LeavesASuccessorsSocketAlone) {
    auto first = std::make_unique<Listener>(path(), 0600);
    std::filesystem::rename(path(), directory_.file("moved"));
    const Listener second(path(), 0600);
    first.reset();
    EXPECT_TRUE(Client(path()).connected());
}

TEST_F(AgentListener, TakesOverAnInheritedSocketAndDoesNotRemoveIt) {
    const Listener other(directory_.file("ragdaj"), 0600);
    const Listener made(path(), 0600);
    std::vector<FileDescriptor> inherited;
    inherited.emplace_back(dup(other.fd()));
    inherited.emplace_back(dup(made.fd()));
    EXPECT_FALSE(takeInherited(inherited, "dsj")) << "the whole name counts";
    FileDescriptor taken = takeInherited(inherited, "ragdsj");
    ASSERT_TRUE(taken);
    EXPECT_EQ(inherited.size(), 1U);
    { const Listener listener(path(), std::move(taken)); }
    EXPECT_TRUE(std::filesystem::exists(path()));
    EXPECT_FALSE(takeInherited(inherited, "ragdsj"));
}

TEST_F(AgentListener, LetsOneAgentAtATimeStartInADirectory) {
    FileDescriptor lock = lockDirectory(directory_.path());
    EXPECT_THROW(static_cast<void>(lockDirectory(directory_.path())), StartError);
    lock.reset();
    EXPECT_TRUE(lockDirectory(directory_.path()));
    EXPECT_THROW(static_cast<void>(lockDirectory(directory_.file("missing"))), StartError);
}

}  // namespace
}  // namespace varnock::agent::test
