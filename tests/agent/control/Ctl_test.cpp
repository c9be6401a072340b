#include "agent/control/Ctl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <stdexcept>
#include <thread>

#include "agent/Listener.h"
#include "agent/control/Control.h"
#include "tests/agent/AgentFixture.h"
#include "tests/agent/Processes.h"

namespace varnock::agent::test {
namespace {

using testing::HasSubstr;

/// One connection on a control socket, with answers chosen by the test.
class ControlPeer {
  public:
    explicit ControlPeer(const std::string& path, std::string answer)
        : listener_(path, 0600), thread_([this, answer = std::move(answer)] {
              fcntl(listener_.fd(), F_SETFL, 0);  // waits for its client
              const FileDescriptor client(accept(listener_.fd(), nullptr, nullptr));
              char byte = 0;
              EXPECT_EQ(recv(client.get(), &byte, 1, 0), 1);
              EXPECT_EQ(send(client.get(), answer.data(), answer.size(), MSG_NOSIGNAL),
                        static_cast<ssize_t>(answer.size()));
          }) {}
    ~ControlPeer() { thread_.join(); }
    ControlPeer(const ControlPeer&) = delete;
    ControlPeer& operator=(const ControlPeer&) = delete;

  private:
    Listener listener_;
    std::thread thread_;
};

class AskAgent : public testing::Test {
  protected:
    std::string failureOf(const std::string& path, const std::string& request = "status ") {
        try {
            askAgent(path, request);
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return "";
    }
    varnock::test::TemporaryDirectory directory_;
    std::string path_ = directory_.file(kControlSocket);
};

TEST_F(AskAgent, SaysWhichAgentCannotBeReached) {
    EXPECT_EQ(failureOf(path_), path_ + ": cannot reach an agent: No such file or directory");
    EXPECT_THAT(failureOf(std::string(200, 'x')), HasSubstr("File name too long"));
    EXPECT_THAT(failureOf(path_, std::string(kFrameLimit, 'x')), HasSubstr("longer than a frame"));
}

TEST_F(AskAgent, SaysWhatTheAgentSays) {
    {
        const ControlPeer peer(path_, encodeFrame("all is well"));
        EXPECT_EQ(askAgent(path_, "status"), "all is well");
    }
}

TEST_F(AskAgent, AnIncompleteAnswerIsAFailure) {
    {
        const ControlPeer peer(path_, encodeFrame("ok all is well").substr(0, 8));
        EXPECT_EQ(failureOf(path_), path_ + ": the agent does not answer");
    }
    {
        const ControlPeer peer(path_, "");
        EXPECT_EQ(failureOf(path_), path_ + ": the agent does not answer");
    }
}

TEST_F(AskAgent, SlowBytesDoNotExtendTheTimeLimit) {
    const Listener listener(path_, 0600);
    fcntl(listener.fd(), F_SETFL, 0);
    std::thread peer([&] {
        const FileDescriptor client(accept(listener.fd(), nullptr, nullptr));
        // Each byte arrives long before the timeout, the last one never.
        const std::string answer = encodeFrame("ok " + std::string(1'000'000, 'x'));
        std::size_t sent = 0;
        while (sent < answer.size() - 1 && send(client.get(), &answer[sent], 1, MSG_NOSIGNAL) > 0) {
            ++sent;
        }
        char byte = 0;
        while (recv(client.get(), &byte, 1, 0) > 0) {
        }
    });
    std::string failure;
    try {
        askAgent(path_, "status ", std::chrono::milliseconds(50));
    } catch (const std::runtime_error& caught) {
        failure = caught.what();
    }
    peer.join();
    EXPECT_EQ(failure, path_ + ": the agent does not answer");
}

TEST_F(AskAgent, NoTimeIsTooShort) {
    const Listener listener(path_, 0600);
    EXPECT_THROW(askAgent(path_, "status ", std::chrono::milliseconds(0)), std::runtime_error);
}

TEST_F(AskAgent, SaysThatTheAgentHasHungUp) {
    const Listener listener(path_, 0600);
    fcntl(listener.fd(), F_SETFL, 0);
    std::thread peer([&] {
        // The request is larger than what the kernel keeps for a peer that does not read.
        const FileDescriptor client(accept(listener.fd(), nullptr, nullptr));
        char byte = 0;
        EXPECT_EQ(recv(client.get(), &byte, 1, 0), 1);
    });
    const std::string failure = failureOf(path_, std::string(1'000'000, 'x'));
    peer.join();
    EXPECT_THAT(failure,
                testing::AnyOf(path_ + ": Broken pipe", path_ + ": Connection reset by peer"));
}

TEST_F(AskAgent, AnAgentThatReadsNothingDoesNotAnswer) {
    const Listener listener(path_, 0600);
    std::string failure;
    try {
        askAgent(path_, std::string(1'000'000, 'x'), std::chrono::milliseconds(20));
    } catch (const std::runtime_error& caught) {
        failure = caught.what();
    }
    EXPECT_EQ(failure, path_ + ": the agent does not answer");
}

TEST(ShownAnswer, IsForPeopleOrJson) {
    const std::string answer = R"({"ok":true,"eventsPushed":1})";
    EXPECT_EQ(shownAnswer("/s", answer, false), "events pushed: 1\n");
    EXPECT_EQ(shownAnswer("/s", answer, true), answer + "\n");
}

TEST(ShownAnswer, OfARefusalIsAFailure) {
    const auto failureOf = [](const std::string& answer) -> std::string {
        try {
            return shownAnswer("/s", answer, false);
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
    };
    EXPECT_EQ(failureOf(R"({"ok":false,"error":"no such verb"})"), "/s: no such verb");
    EXPECT_EQ(failureOf(R"({"ok":false})"), "/s: refused");
    EXPECT_EQ(failureOf(R"({"ok":false,"error":5})"), "/s: refused");
    for (const std::string& garbage :
         {std::string(), std::string("ok"), std::string("[]"), std::string("{}"),
          std::string(R"({"ok":1})"), std::string(500'000, '['),
          R"({"ok":true,"x":)" + std::string(400'000, '[') + std::string(400'000, ']') + '}'}) {
        EXPECT_EQ(failureOf(garbage), "/s: the answer cannot be understood");
    }
}

TEST(CtlCommand, ControlsTheAgentOfItsEnvironment) {
    const auto process = varnock::test::runProcess(
        {VARNOCK_AGENT_PATH, "run", "--", "sh", "-c",
         "$0 ctl event systemMessageLog 7 && $0 ctl status --dir $QX_RAGD_SOCKET_DIR && "
         "$0 ctl --socket $QX_RAGD_SOCKET_DIR/ragdctl status --json",
         VARNOCK_AGENT_PATH});
    EXPECT_EQ(process.status, 0) << process.err;
    EXPECT_THAT(process.out, HasSubstr("listeners: 0\ndirectory: "));
    EXPECT_THAT(process.out, HasSubstr("events pushed: 1\n"));
    EXPECT_THAT(process.out, HasSubstr("\"eventsPushed\":1"));
}

TEST(CtlCommand, EndsOnASignalThoughTheAgentIsStuck) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const varnock::test::TemporaryDirectory directory;
        const Listener listener(directory.file(kControlSocket), 0600);
        fcntl(listener.fd(), F_SETFL, 0);
        varnock::test::Subprocess process(
            {VARNOCK_AGENT_PATH, "ctl", "--dir", directory.path(), "status"});
        const FileDescriptor client(accept(listener.fd(), nullptr, nullptr));
        process.signal(signal);
        EXPECT_EQ(process.wait().status, 128 + signal);
        EXPECT_EQ(process.wait().out, "");
    }
}

TEST(CtlCommand, LeavesASignalIgnoredThatWasIgnoredAtItsStart) {
    const varnock::test::TemporaryDirectory directory;
    const Listener listener(directory.file(kControlSocket), 0600);
    fcntl(listener.fd(), F_SETFL, 0);
    varnock::test::Subprocess process({"sh", "-c",
                                       "trap '' INT; exec \"$0\" ctl --dir \"$1\" status",
                                       VARNOCK_AGENT_PATH, directory.path()});
    const FileDescriptor client(accept(listener.fd(), nullptr, nullptr));
    process.signal(SIGINT);
    const std::string answer = encodeFrame(R"({"ok":true,"machine":"still here"})");
    ASSERT_EQ(send(client.get(), answer.data(), answer.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(answer.size()));
    EXPECT_EQ(process.wait().status, 0);
    EXPECT_THAT(process.wait().out, HasSubstr("still here"));
}

TEST(CtlCommand, SaysThatThereIsNoAgent) {
    const varnock::test::TemporaryDirectory directory;
    const auto process =
        varnock::test::runProcess({VARNOCK_AGENT_PATH, "ctl", "--dir", directory.path(), "status"});
    EXPECT_EQ(process.status, 1);
    EXPECT_EQ(untraced(process.err), "varnock-agent: " + directory.file(kControlSocket) +
                                         ": cannot reach an agent: No such file or directory\n");
}

}  // namespace
}  // namespace varnock::agent::test
