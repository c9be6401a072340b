#include "agent/Serve.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <optional>

#include "tests/agent/AgentFixture.h"
#include "tests/agent/Processes.h"

namespace varnock::agent::test {
namespace {

using varnock::test::ProcessResult;
using varnock::test::runProcess;
using varnock::test::Subprocess;

class Serve : public testing::Test {
  protected:
    Serve() { std::filesystem::create_directory(sockets()); }

    std::string sockets() const { return directory_.file("s"); }
    std::string requests() const { return sockets() + "/ragdsj"; }

    /// Starts an agent and waits until it reports that it is ready.
    std::unique_ptr<Subprocess> serve(std::vector<std::string> options) {
        options.insert(options.begin(), {VARNOCK_AGENT_PATH, "serve"});
        auto agent = std::make_unique<Subprocess>(
            options, Subprocess::Environment{{"NOTIFY_SOCKET", manager_.path()}});
        EXPECT_EQ(manager_.message(), "READY=1\nSTATUS=listening in " + sockets());
        return agent;
    }

    varnock::test::TemporaryDirectory directory_;
    Manager manager_{directory_};
};

TEST_F(Serve, EndsOnEachSignalWithTheSocketsGone) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        const auto agent = serve({"--host", "--dir", sockets()});
        EXPECT_TRUE(Client(requests()).connected());
        agent->signal(signal);
        EXPECT_EQ(manager_.message(), "STOPPING=1");
        EXPECT_EQ(agent->wait().status, 0);
        EXPECT_TRUE(std::filesystem::is_empty(sockets()));
        EXPECT_EQ(untraced(agent->wait().err), "");
    }
}

TEST_F(Serve, EndsThoughClientsAreStuck) {
    const auto agent = serve({"--dir", sockets()});
    Client half(requests());
    half.send("ab");
    Client deaf(requests());
    for (int i = 0; i < 1000; ++i) {
        deaf.send(requestFrame(0x0600));
    }
    agent->signal(SIGTERM);
    EXPECT_EQ(agent->wait().status, 0);
    EXPECT_TRUE(std::filesystem::is_empty(sockets()));
}

TEST_F(Serve, RefusesToStartBesideALiveAgent) {
    const auto agent = serve({"--dir", sockets()});
    const ProcessResult second = runProcess({VARNOCK_AGENT_PATH, "serve", "--dir", sockets()});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(untraced(second.err),
              "varnock-agent: " + requests() + ": another agent is listening there\n");
    EXPECT_TRUE(Client(requests()).connected());
}

TEST_F(Serve, ReplacesTheSocketsOfAKilledAgent) {
    auto agent = serve({"--dir", sockets()});
    agent.reset();
    EXPECT_TRUE(std::filesystem::exists(requests()));
    agent = serve({"--dir", sockets()});
    EXPECT_TRUE(Client(requests()).connected());
}

TEST_F(Serve, TellsADescriptorThatItIsReady) {
    const auto result = runProcess({"sh", "-c",
                                    "mkfifo \"$2\"; exec 9<>\"$2\"; \"$0\" serve --dir \"$1\" "
                                    "--ready-fd 9 & read -r line <&9; "
                                    "\"$0\" ctl --dir \"$1\" status && kill $! && wait $!",
                                    VARNOCK_AGENT_PATH, sockets(), directory_.file("ready")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, testing::HasSubstr("machine: "));
}

TEST_F(Serve, RefusesARuleThatIsWrong) {
    const ProcessResult result =
        runProcess({VARNOCK_AGENT_PATH, "serve", "--dir", sockets(), "--fault", "all: dance"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(untraced(result.err), testing::HasSubstr("there is no fault \"dance\""));
    EXPECT_TRUE(std::filesystem::is_empty(sockets()));
}

TEST_F(Serve, GivesTheSocketsTheModeAskedFor) {
    const auto agent = serve({"--dir", sockets(), "--mode", "660"});
    struct stat found {};
    ASSERT_EQ(stat(requests().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0660U);
}

TEST_F(Serve, TakesTheDirectoryFromTheEnvironment) {
    setenv("QX_RAGD_SOCKET_DIR", sockets().c_str(), 1);
    const auto agent = serve({});
    EXPECT_TRUE(Client(requests()).connected());
}

/// Runs a script with a private /dev without sockets. Nothing if that is not permitted.
std::optional<ProcessResult> whereDevIsPrivate(const std::string& script,
                                               const Subprocess::Environment& environment) {
    const std::vector<std::string> shell{"unshare", "-rm", "sh", "-c"};
    // The shell redirects the input of background commands from /dev/null, which must exist.
    const std::string mount = "mount -t tmpfs none /dev 2>/dev/null || exit 77; : >/dev/null; ";
    const auto run = [&](const std::string& text) {
        std::vector<std::string> command = shell;
        command.insert(command.end(), {mount + text, VARNOCK_AGENT_PATH});
        return runProcess(command, environment);
    };
    if (run("exit 0").status != 0) {
        return std::nullopt;
    }
    return run(script);
}

TEST_F(Serve, TakesTheProductionPlaceWhenAskedAndNeverFromALiveAgent) {
    // The option takes precedence over the environment.
    const auto result = whereDevIsPrivate(
        "\"$0\" serve --production & first=$!; "
        "until \"$0\" ctl --production status 2>/dev/null; do :; done; ls /dev/ragd*; "
        "\"$0\" serve --production; echo \"second $?\"; "
        "kill -9 $first; wait $first; "
        "\"$0\" serve --production & third=$!; "
        "until \"$0\" ctl --production status 2>/dev/null | grep \"^process: $third\"; do :; "
        "done; kill $third; wait $third; echo \"third $?\"; ls /dev/ragd*",
        {{"QX_RAGD_SOCKET_DIR", sockets()}});
    if (!result) {
        GTEST_SKIP() << "a private /dev needs a mount namespace, which this user may not create";
    }
    EXPECT_THAT(result->out, testing::HasSubstr("directory: /dev\n"));
    EXPECT_THAT(result->out,
                testing::HasSubstr("\n/dev/ragdaj\n/dev/ragdctl\n/dev/ragdsj\nsecond 1\n"));
    EXPECT_THAT(result->err, testing::HasSubstr("/dev/ragdsj: another agent is listening there"));
    EXPECT_THAT(result->out, testing::EndsWith("third 0\n"));
    EXPECT_TRUE(std::filesystem::is_empty(sockets()));
}

TEST_F(Serve, ServesTheSocketsOfTheServiceManager) {
    FileDescriptor door(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    requests().copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(door.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(door.get(), 10), 0);
    Client early(requests());
    early.send(requestFrame(0xE204));

    // As passed by the service manager: descriptor 3, open across exec, announced for this process.
    ASSERT_EQ(dup2(door.get(), 9), 9);
    Subprocess agent({"sh", "-c", "LISTEN_PID=$$ LISTEN_FDS=1 exec \"$0\" \"$@\" 3<&9 9<&-",
                      VARNOCK_AGENT_PATH, "serve", "--dir", sockets()},
                     {{"NOTIFY_SOCKET", manager_.path()}});
    EXPECT_NE(manager_.message().find("READY=1"), std::string::npos);
    FileDescriptor blocking(dup(early.fd()));
    fcntl(blocking.get(), F_SETFL, 0);
    char byte = 0;
    EXPECT_EQ(recv(blocking.get(), &byte, 1, MSG_PEEK), 1) << "the early client is answered";
    agent.signal(SIGTERM);
    EXPECT_EQ(agent.wait().status, 0);
    EXPECT_TRUE(std::filesystem::exists(requests())) << "the manager's socket is not removed";
    EXPECT_FALSE(std::filesystem::exists(sockets() + "/ragdaj"));
}

}  // namespace
}  // namespace varnock::agent::test
