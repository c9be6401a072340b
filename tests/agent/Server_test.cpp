#include "agent/Server.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "agent/DescriptorLimit.h"
#include "tests/agent/AgentFixture.h"

namespace varnock::agent::test {
namespace {

unsigned eventNumber(const std::string& text) {
    SipJson record;
    record.Import(text.c_str());
    return record.DataDWord();
}

TEST_F(AgentServer, ListensOnItsSocketsForItsOwnerAlone) {
    start();
    for (const std::string& path : {requests(), events(), controls()}) {
        struct stat found {};
        ASSERT_EQ(lstat(path.c_str(), &found), 0);
        EXPECT_EQ(found.st_mode, static_cast<mode_t>(S_IFSOCK | 0600));
        EXPECT_TRUE(Client(path).connected());
    }
    server_.reset();
    EXPECT_TRUE(std::filesystem::is_empty(directory_.path()));
}

TEST_F(AgentServer, TheControlSocketIsItsOwnersWhateverTheModeOfTheOthers) {
    const Server server(loop_.get(), machine_, {.directory = directory_.path(), .mode = 0666});
    struct stat found {};
    ASSERT_EQ(lstat(requests().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0666U);
    ASSERT_EQ(lstat(controls().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0600U);
}

TEST_F(AgentServer, LeavesNothingBehindWhenTheSecondSocketCannotBeMade) {
    std::filesystem::create_directory(events());
    EXPECT_THROW(start(), StartError);
    EXPECT_FALSE(std::filesystem::exists(requests()));
}

TEST_F(AgentServer, RefusesADirectoryThatAnotherServes) {
    start();
    Server* const first = server_.get();
    EXPECT_THROW(Server(loop_.get(), machine_, {.directory = directory_.path()}), StartError);
    Client client(requests());
    EXPECT_EQ(ask(client, FakeMachine::kNumber), kNumberReply);
    EXPECT_EQ(server_.get(), first);
}

TEST_F(AgentServer, RefusesAMissingDirectory) {
    EXPECT_THROW(Server(loop_.get(), machine_, {.directory = directory_.file("none")}), StartError);
}

TEST_F(AgentServer, ReplacesTheConnectionThatIsIdleLongest) {
    start({.connections = 512});
    std::vector<Client> clients;
    for (int i = 0; i < 512; ++i) {
        clients.emplace_back(requests());
        pump();
    }
    EXPECT_EQ(ask(clients[0], FakeMachine::kNumber), kNumberReply);
    Client next(requests());
    EXPECT_EQ(ask(next, FakeMachine::kNumber), kNumberReply);
    EXPECT_EQ(server_->connections(Channel::requests), 512U);
    EXPECT_TRUE(closed(clients[1]));
    EXPECT_FALSE(closed(clients[2]));
    EXPECT_EQ(ask(clients[0], FakeMachine::kNumber), kNumberReply);
    // Events have their own limit.
    Client listener(events());
    EXPECT_FALSE(closed(listener));
    EXPECT_FALSE(closed(clients[2]));
}

TEST_F(AgentServer, ClosesConnectionsAboveTheLimitWhileTheOthersAreBusy) {
    start({.connections = 2});
    std::vector<Client> clients;
    for (int i = 0; i < 3; ++i) {
        clients.emplace_back(requests());
        sendAll(clients.back(), requestFrame(FakeMachine::kNumber).substr(0, 5));
    }
    EXPECT_EQ(server_->connections(Channel::requests), 2U);
    EXPECT_TRUE(closed(clients[2]));
    sendAll(clients[0], requestFrame(FakeMachine::kNumber).substr(5));
    EXPECT_EQ(reply(clients[0]), kNumberReply);
}

TEST_F(AgentServer, ReplacesNeitherABusyConnectionNorOneOfAnotherChannel) {
    start({.connections = 2});
    Client listener(events());
    pump();
    Client busy(requests());
    sendAll(busy, requestFrame(FakeMachine::kNumber).substr(0, 5));
    Client idle(requests());
    pump();
    Client next(requests());
    EXPECT_EQ(ask(next, FakeMachine::kNumber), kNumberReply);
    EXPECT_TRUE(closed(idle));
    EXPECT_FALSE(closed(listener));
    sendAll(busy, requestFrame(FakeMachine::kNumber).substr(5));
    EXPECT_EQ(reply(busy), kNumberReply);
}

TEST_F(AgentServer, LetsTheOthersBeServedWhileAHundredClientsArrive) {
    start();
    std::vector<Client> clients;
    for (int i = 0; i < 100; ++i) {
        clients.emplace_back(requests());
    }
    checked(sd_event_run(loop_.get(), 0), "loop");
    EXPECT_LT(server_->connections(Channel::requests), 100U);
    pump();
    EXPECT_EQ(server_->connections(Channel::requests), 100U);
}

TEST_F(AgentServer, ServesHundredsOfClients) {
    start();
    std::vector<Client> clients;
    for (int i = 0; i < 300; ++i) {
        clients.emplace_back(requests());
        pump();
    }
    for (Client& client : clients) {
        EXPECT_EQ(ask(client, FakeMachine::kNumber), kNumberReply);
    }
}

/// Clients that send what a busy or hostile one would, one after the other.
TEST_F(AgentServer, AnswersAThousandClientsAtOnceAmongHostileOnes) {
    const MoreDescriptors descriptors;
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    if (limit.rlim_cur < 4000) {
        GTEST_SKIP() << "the limit of open descriptors is below 4,000: 1,200 clients need two "
                        "each, and some spare";
    }
    start();
    std::vector<Client> clients;
    std::vector<Client> hostile;
    for (int i = 0; i < 1000; ++i) {
        clients.emplace_back(requests()).send(requestFrame(FakeMachine::kNumber));
        if (i % 5 == 0) {
            constexpr std::string_view kPieces[] = {"", "ab", "\xff\xff\xff\xff", "\x09"};
            hostile.emplace_back(requests()).send(kPieces[(i / 5) % 4]);
        }
        pump();
    }
    for (Client& client : clients) {
        EXPECT_EQ(reply(client), kNumberReply);
    }
    // Those whose frame is too long have been dropped.
    EXPECT_EQ(server_->connections(Channel::requests), 1000U + 150U);
    EXPECT_EQ(machine_.calls, 1000);
}

TEST_F(AgentServer, LetsClientsInAgainAfterTheDescriptorsHadRunOut) {
    start();
    Client client(requests());
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit none{static_cast<rlim_t>(client.fd()), limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    pump();
    EXPECT_EQ(server_->connections(Channel::requests), 0U);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    pumpUntil([&] { return server_->connections(Channel::requests) == 1; });
    EXPECT_EQ(ask(client, FakeMachine::kNumber), kNumberReply);
}

TEST_F(AgentServer, PushesEventsToRegisteredClientsAlone) {
    start();
    Client registered(events());
    Client other(registered.connected() ? events() : "");
    sendAll(registered, encodeFrame(registrationText(0x1200, "listener")));
    ASSERT_TRUE(reply(registered));
    pump();
    SipJson event(0x0B11, 0, 0, 0, 0);
    event.SetDataDWord(77, 0);
    EXPECT_EQ(server_->listeners(), 1U);
    EXPECT_EQ(pushEvent(event), 1U);
    EXPECT_EQ(server_->eventsPushed(), 1U);
    EXPECT_EQ(reply(registered), event.Export());
    EXPECT_EQ(reply(other), std::nullopt);
    EXPECT_EQ(server_->connections(Channel::events), 2U);
}

TEST_F(AgentServer, RepeatsItselfInWhatItTellsAClientThatRegisters) {
    const auto startAnew = [&] {
        server_.reset();
        server_ = std::make_unique<Server>(
            loop_.get(), machine_,
            ServerOptions{.directory = directory_.path(), .clock = AgentClock::Kind::isVirtual});
    };
    startAnew();
    const auto registered = [&] {
        Client client(events());
        sendAll(client, encodeFrame(registrationText(0x1200, "listener")));
        return reply(client).value_or("");
    };
    const FileDescriptor other(open("/dev/null", O_RDONLY | O_CLOEXEC));
    std::vector<std::string> replies = {registered(), registered()};
    startAnew();
    const FileDescriptor more(open("/dev/null", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(registered(), replies[0]);
    EXPECT_EQ(registered(), replies[1]);
    EXPECT_NE(replies[0], replies[1]);
}

TEST_F(AgentServer, DropsAListenerThatDoesNotReadAndKeepsTheOthers) {
    start({.queuedEvents = 10'000});
    Client reader(events());
    Client stuck(events());
    for (Client* client : {&reader, &stuck}) {
        sendAll(*client, encodeFrame(registrationText(0x1200, "listener")));
        ASSERT_TRUE(reply(*client));
    }
    unsigned pushed = 0;
    unsigned seen = 0;
    while (server_->connections(Channel::events) == 2) {
        SipJson event(0x0B11, 0, 0, 0, 0);
        event.SetDataDWord(pushed++, 0);
        pushEvent(event);
        const auto text = reply(reader);
        ASSERT_TRUE(text);
        ASSERT_EQ(eventNumber(*text), seen++);
    }
    EXPECT_FALSE(stuck.receive());
    EXPECT_EQ(ask(reader, FakeMachine::kNumber), kNumberReply);
}

TEST_F(AgentServer, ByDefaultKeepsOneMebibyteOfEventsAndWaitsThirtySeconds) {
    EXPECT_EQ(ClientLimits().patience, std::chrono::seconds(30));
    start();
    Client stuck(events());
    sendAll(stuck, encodeFrame(registrationText(0x1200, "listener")));
    ASSERT_TRUE(reply(stuck));
    SipJson event(0x0B11, 0, 0, 0, 0);
    event.SetDataString(std::string(10'000, 'x').c_str(), 0);
    const std::size_t size = encodeFrame(event.Export()).size();
    std::size_t pushed = 0;
    while (pushEvent(event) == 1) {
        pushed += size;
        ASSERT_LT(pushed, std::size_t{16} << 20);
    }
    // The kernel keeps some, too.
    EXPECT_GT(pushed + size, std::size_t{1} << 20);
    EXPECT_EQ(server_->connections(Channel::events), 0U);
}

TEST_F(AgentServer, RefusesAnEventThatFitsNoFrame) {
    start();
    SipJson event(0x0B11, 0, 0, 0, 0);
    event.SetDataString(std::string(kFrameLimit, 'x').c_str(), 0);
    EXPECT_THROW(pushEvent(event), FrameTooLong);
}

}  // namespace
}  // namespace varnock::agent::test
