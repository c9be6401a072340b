#include "agent/Listener.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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

TEST_F(AgentListener, RefusesASocketThatAcceptsNobodyNow) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path().copy(address.sun_path, sizeof address.sun_path - 1);
    const FileDescriptor full(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(full.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(full.get(), 0), 0);
    std::vector<Client> waiting;
    do {
        waiting.emplace_back(path());
    } while (waiting.back().connected());
    EXPECT_EQ(failure(), path() + ": another agent is listening there");
    EXPECT_TRUE(std::filesystem::exists(path()));
}

TEST_F(AgentListener, LeavesASocketOfAnotherKindAlone) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path().copy(address.sun_path, sizeof address.sun_path - 1);
    const FileDescriptor datagrams(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(datagrams.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(failure(), path() +
                             ": cannot tell whether another agent is listening: "
                             "Protocol wrong type for socket");
    EXPECT_TRUE(std::filesystem::exists(path()));
}

TEST_F(AgentListener, NeedsADescriptorToTakeOver) {
    EXPECT_THROW(Listener(path(), FileDescriptor()), StartError);
}

TEST_F(AgentListener, TakesListeningSocketsAloneFromTheServiceManager) {
    const Listener made(path(), 0600);
    const int read = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const pid_t child = fork();
    if (child == 0) {
        // The numbers that the service manager gives to descriptors begin with 3.
        const int listening = fcntl(made.fd(), F_DUPFD, 10);
        dup2(read, 3);
        dup2(listening, 4);
        setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
        setenv("LISTEN_FDS", "2", 1);
        const std::vector<FileDescriptor> sockets = inheritedSockets();
        _exit(sockets.size() == 1 && sockets[0].get() == 4 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    close(read);
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
