#include "agent/recording/Proxy.h"

#include <sys/resource.h>

#include "tests/agent/recording/RecordingFixture.h"

namespace varnock::agent::test {
namespace {

using Opcode = FakeMachine::Opcode;

class AgentProxy : public Recorded {
  protected:
    AgentProxy() { startAgent(machine_); }
};

TEST_F(AgentProxy, PassesEveryByteOnAndWritesItDown) {
    startProxy();
    const Client client(socket("proxy"));
    const std::string reply = exchange(client, requestFrame(Opcode::kNumber));
    EXPECT_EQ(reply, encodeFrame(kNumberReply));
    const std::string begin = R"({"time":0.000000,"connection":1,"channel":"requests",)";
    EXPECT_EQ(varnock::test::readFile(file()),
              begin + R"("direction":"in","record":)" + requestText(Opcode::kNumber) + "}\n" +
                  begin + R"("direction":"out","record":)" + kNumberReply + "}\n");
}

TEST_F(AgentProxy, ServesManyClientsAndForgetsThem) {
    startProxy();
    {
        std::vector<std::unique_ptr<Client>> clients;
        for (int i = 0; i < 50; ++i) {
            clients.push_back(std::make_unique<Client>(socket("proxy")));
            EXPECT_EQ(exchange(*clients.back(), requestFrame(Opcode::kNumber)),
                      encodeFrame(kNumberReply));
        }
        EXPECT_EQ(proxy_->clients(), 50U);
        EXPECT_EQ(agent_->connections(Channel::requests), 50U);
    }
    pump();
    EXPECT_EQ(proxy_->clients(), 0U);
    EXPECT_EQ(agent_->connections(Channel::requests), 0U);
}

TEST_F(AgentProxy, ClosesItsClientsWithoutAnAgent) {
    startProxy();
    agent_.reset();
    Client client(socket("proxy"));
    pump();
    EXPECT_FALSE(client.receive());
    EXPECT_EQ(proxy_->clients(), 0U);
}

TEST_F(AgentProxy, ClosesItsClientsIfTheAgentHasNoPlaceForASocket) {
    recording_.start(file());
    std::filesystem::create_directory(directory_.file("proxy"));
    const Proxy proxy(loop_.get(), {std::string(200, 'd'), directory_.file("proxy")}, recording_);
    Client client(socket("proxy"));
    pump();
    EXPECT_FALSE(client.receive());
}

TEST_F(AgentProxy, DoesNotTakeTheAgentsOwnSockets) {
    EXPECT_THROW(
        Proxy(loop_.get(), {directory_.file("agent"), directory_.file("agent")}, recording_),
        StartError);
    EXPECT_THROW(
        Proxy(loop_.get(), {directory_.file("agent"), directory_.file("none")}, recording_),
        StartError);
}

TEST_F(AgentProxy, LetsClientsInAgainAfterTheDescriptorsHadRunOut) {
    startProxy();
    auto first = std::make_unique<Client>(socket("proxy"));
    EXPECT_EQ(exchange(*first, requestFrame(Opcode::kNumber)), encodeFrame(kNumberReply));
    const Client second(socket("proxy"));
    second.send(requestFrame(Opcode::kNumber));
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{3, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    pump();
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(proxy_->clients(), 1U);
    first.reset();
    EXPECT_EQ(arrived(second), encodeFrame(kNumberReply));
}

}  // namespace
}  // namespace varnock::agent::test
