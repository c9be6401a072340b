#include "cli/agent/AgentPresence.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/ScriptedAgent.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnockctl {
namespace {

/// Waits until the connection is readable.
void awaitWord(const AgentPresence& presence) {
    pollfd descriptor{presence.fd(), POLLIN, 0};
    EXPECT_EQ(poll(&descriptor, 1, -1), 1);
}

TEST(AgentPresence, IsNotThereWithoutAnAgent) {
    const varnock::test::TemporaryDirectory directory;
    AgentPresence presence(directory.file("ragdsj"));
    EXPECT_FALSE(presence.connect());
    EXPECT_EQ(presence.fd(), -1);
    EXPECT_FALSE(AgentPresence(std::string(200, 'x')).connect());
}

TEST(AgentPresence, TellsThatTheAgentHasGone) {
    varnock::test::ScriptedAgent agent;
    AgentPresence presence(agent.requestSocket());
    ASSERT_TRUE(presence.connect());
    agent.awaitOpenConnections(1);
    agent.stop();
    awaitWord(presence);
    EXPECT_TRUE(presence.hasGone());
    EXPECT_EQ(presence.fd(), -1);
    agent.start();
    EXPECT_TRUE(presence.connect());
}

TEST(AgentPresence, AnAgentThatHangsUpOnAnIdleClientIsStillThere) {
    varnock::test::ScriptedAgent agent;
    AgentPresence presence(agent.requestSocket());
    ASSERT_TRUE(presence.connect());
    agent.awaitOpenConnections(1);
    agent.closeConnections();
    awaitWord(presence);
    EXPECT_FALSE(presence.hasGone());
    EXPECT_GE(presence.fd(), 0);
    agent.awaitOpenConnections(1);
}

/// Replaces the agent, reports that, and runs until it is ended.
[[noreturn]] void takeOver(const sockaddr_un& address, int ready) {
    // A connection is closed only when no process has it open any more.
    close_range(3, static_cast<unsigned int>(ready) - 1, 0);
    close_range(static_cast<unsigned int>(ready) + 1, ~0U, 0);
    unlink(address.sun_path);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool listens =
        bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        listen(listener, 5) == 0;
    if (!listens || write(ready, "r", 1) != 1) {
        _exit(1);
    }
    for (;;) {
        pause();
    }
}

TEST(AgentPresence, AnotherProcessInItsPlaceIsAnotherAgent) {
    varnock::test::ScriptedAgent agent;
    AgentPresence presence(agent.requestSocket());
    ASSERT_TRUE(presence.connect());
    agent.awaitOpenConnections(1);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    agent.requestSocket().copy(address.sun_path, sizeof address.sun_path - 1);
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t other = fork();
    if (other == 0) {
        takeOver(address, ready[1]);
    }
    close(ready[1]);
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    close(ready[0]);
    agent.closeConnections();
    awaitWord(presence);
    EXPECT_TRUE(presence.hasGone());
    EXPECT_GE(presence.fd(), 0);
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
}

}  // namespace
}  // namespace varnockctl
