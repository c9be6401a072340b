#include "tests/support/ScriptedAgent.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace varnock::test {
namespace {

using namespace std::chrono_literals;

/// A bare client of the agent's sockets.
class Client {
  public:
    explicit Client(const std::string& path) : fd_(socket(AF_UNIX, SOCK_STREAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        connected_ = connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    ~Client() { close(fd_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    bool connected() const { return connected_; }
    int fd() const { return fd_; }
    void send(const std::string& bytes) const {
        ASSERT_EQ(write(fd_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    /// Reads until `count` bytes or the end.
    std::string receive(std::size_t count) const {
        std::string bytes(count, '\0');
        std::size_t have = 0;
        while (have < count) {
            const ssize_t got = read(fd_, bytes.data() + have, count - have);
            if (got <= 0) {
                break;
            }
            have += static_cast<std::size_t>(got);
        }
        return bytes.substr(0, have);
    }
    std::string call(const AgentRecord& record, std::size_t replySize) const {
        send(frame(record));
        return receive(replySize);
    }

  private:
    int fd_;
    bool connected_ = false;
};

std::string okFrame(AgentRecord record, const std::string& data) {
    record.status = 0;
    record.data = data;
    return frame(record);
}

TEST(ScriptedAgent, WritesRecordsAsTheWireHasThem) {
    EXPECT_EQ(toJson({.opcode = 0x1234}), R"({"SIP":{"V":1,"CMD":[{"OC":4660,"CA":0}]}})");
    EXPECT_EQ(toJson({1, 2, 3, 4, 0, bytesData({5, 6})}),
              R"({"SIP":{"V":1,"CMD":[{"OC":1,"OE":2,"OI":3,"CA":4,"ST":0,"DA":{"RAW":[5,6]}}]}})");
    EXPECT_EQ(textData("a\"b"), R"("a\"b")");
    EXPECT_EQ(frame("{}"), std::string("\3\0\0\0{}\0", 7));
}

TEST(ScriptedAgent, AnswersWhatIsExpectedInOrder) {
    ScriptedAgent agent;
    agent.expect({.opcode = 1, .ext = 2, .reply = AgentReply::ok("513")});
    agent.expect({.opcode = 3, .data = bytesData({9}), .reply = AgentReply::status(19)});
    const Client client(agent.requestSocket());
    const std::string first = okFrame({.opcode = 1, .ext = 2}, "513");
    EXPECT_EQ(client.call({.opcode = 1, .ext = 2}, first.size()), first);
    const std::string second = frame({.opcode = 3, .status = 19});
    EXPECT_EQ(client.call({.opcode = 3, .data = bytesData({9})}, second.size()), second);
    agent.verify();
    ASSERT_EQ(agent.requests().size(), 2u);
    EXPECT_EQ(agent.requests()[1].bytes(), std::vector<unsigned char>{9});
    EXPECT_EQ(agent.bytesReceived(0).substr(4, 7), "{\"SIP\":");
}

TEST(ScriptedAgent, FailsTheTestForWhatDidNotCome) {
    EXPECT_NONFATAL_FAILURE(
        {
            ScriptedAgent agent;
            agent.expect({.opcode = 7});
        },
        "expected but not sent");
}

TEST(ScriptedAgent, FailsTheTestForWhatWasNotExpected) {
    ScriptedAgent agent;
    agent.expect({.opcode = 7, .status = 0});
    const Client client(agent.requestSocket());
    const std::string reply = frame({.opcode = 7, .status = 0});
    client.call({.opcode = 7}, reply.size());
    EXPECT_NONFATAL_FAILURE(agent.verify(), "expected: {");
    client.call({.opcode = 8}, reply.size());
    EXPECT_NONFATAL_FAILURE(agent.verify(), "not expected");
}

TEST(ScriptedAgent, FailsTheTestForFramesWithoutRecord) {
    ScriptedAgent agent;
    agent.handle([](const AgentRequest&) { return AgentReply::ok(); });
    const Client client(agent.requestSocket());
    client.send(frame("[]"));
    client.call({.opcode = 8}, frame({.opcode = 8, .status = 0}).size());
    EXPECT_NONFATAL_FAILURE(agent.verify(), "no command record");
}

TEST(ScriptedAgent, AsksTheHandlerWhenNothingIsScripted) {
    ScriptedAgent agent;
    agent.handle(
        [](const AgentRequest& request) { return AgentReply::ok(numberData(request.object * 2)); });
    const Client client(agent.requestSocket());
    const std::string reply = okFrame({.opcode = 1, .object = 21}, "42");
    EXPECT_EQ(client.call({.opcode = 1, .object = 21}, reply.size()), reply);
}

TEST(ScriptedAgent, AnswersRegistrationsByItself) {
    ScriptedAgent agent;
    const Client client(agent.requestSocket());
    std::vector<unsigned char> options(224);
    const AgentRecord registration{.opcode = 0xFFA0, .ext = 0x1100, .data = bytesData(options)};
    client.send(frame(registration));
    const std::string reply = client.receive(4);
    ASSERT_EQ(reply.size(), 4u);
    std::uint32_t length = 0;
    memcpy(&length, reply.data(), sizeof length);
    EXPECT_NE(client.receive(length).find("\"ST\":0,\"DA\":{\"RAW\":[0,0,"), std::string::npos);
    EXPECT_EQ(agent.registrations().size(), 1u);
    EXPECT_TRUE(agent.requests().empty());
}

TEST(ScriptedAgent, DamagesRepliesAsTold) {
    ScriptedAgent agent;
    const std::string whole = frame("abc");
    agent.expect({.opcode = 1, .reply = AgentReply::json("abc").withLength(99)});
    agent.expect({.opcode = 1, .reply = AgentReply::json("abc").withoutNul()});
    agent.expect({.opcode = 1, .reply = AgentReply::json("abc").with("xyz").cutTo(10)});
    agent.expect({.opcode = 1, .reply = AgentReply::json("abc").cutTo(3).thenClose()});
    const Client client(agent.requestSocket());
    EXPECT_EQ(client.call({.opcode = 1}, 8), std::string("\x63\0\0\0abc\0", 8));
    EXPECT_EQ(client.call({.opcode = 1}, 7), std::string("\3\0\0\0abc", 7));
    EXPECT_EQ(client.call({.opcode = 1}, 10), whole + "xy");
    EXPECT_EQ(client.call({.opcode = 1}, 8), whole.substr(0, 3));
    agent.awaitOpenConnections(0);
}

TEST(ScriptedAgent, DribblesInVirtualTime) {
    FakeClock clock;
    ScriptedAgent agent(clock);
    agent.expect({.opcode = 1, .reply = AgentReply::json("ab").after(5s).inPieces(3, 2s)});
    const Client client(agent.requestSocket());
    client.send(frame({.opcode = 1}));
    pollfd readable{client.fd(), POLLIN, 0};
    EXPECT_EQ(clock.poll(&readable, 1, 4999), 0);
    EXPECT_EQ(clock.poll(&readable, 1, 1), 1);
    EXPECT_EQ(client.receive(3), std::string("\3\0\0", 3));
    EXPECT_EQ(clock.poll(&readable, 1, 1999), 0);
    EXPECT_EQ(clock.poll(&readable, 1, 2000), 1);
    EXPECT_EQ(clock.elapsed(), 7s);
    EXPECT_EQ(client.receive(3), std::string("\0ab", 3));
    clock.sleepFor(10s);
    EXPECT_EQ(client.receive(1), std::string(1, '\0'));
}

TEST(ScriptedAgent, StaysSilentForEver) {
    FakeClock clock;
    ScriptedAgent agent(clock);
    agent.expect({.opcode = 1, .reply = AgentReply::none()});
    const Client client(agent.requestSocket());
    client.send(frame({.opcode = 1}));
    pollfd readable{client.fd(), POLLIN, 0};
    EXPECT_EQ(clock.poll(&readable, 1, 30000), 0);
    EXPECT_EQ(clock.elapsed(), 30s);
}

TEST(ScriptedAgent, HoldsRepliesUntilReleased) {
    FakeClock clock;
    ScriptedAgent agent(clock);
    agent.expect({.opcode = 1, .reply = AgentReply::ok().held()});
    const Client client(agent.requestSocket());
    client.send(frame({.opcode = 1}));
    std::thread test([&] {
        agent.awaitRequests(1);
        agent.release();
    });
    pollfd readable{client.fd(), POLLIN, 0};
    EXPECT_EQ(clock.poll(&readable, 1, 1), 1);
    EXPECT_EQ(clock.elapsed(), 0s);
    test.join();
}

TEST(ScriptedAgent, StopsReading) {
    FakeClock clock;
    ScriptedAgent agent(clock);
    agent.expect({.opcode = 1, .reply = AgentReply::ok().thenIgnoresInput()});
    const Client client(agent.requestSocket());
    client.call({.opcode = 1}, 4);
    std::string flood(1 << 20, 'x');
    ASSERT_GT(::send(client.fd(), flood.data(), flood.size(), MSG_DONTWAIT), 0);
    pollfd writable{client.fd(), POLLOUT, 0};
    EXPECT_EQ(clock.poll(&writable, 1, 1000), 0);
}

TEST(ScriptedAgent, PushesEventsOnTheRegisteredConnection) {
    ScriptedAgent agent;
    agent.pushEvent({.opcode = 0x0B11, .status = 0, .data = "1"});
    const Client client(agent.eventSocket());
    const std::string reply = [&] {
        std::vector<unsigned char> options(224);
        client.send(frame({.opcode = 0xFFA0, .ext = 0x1200, .data = bytesData(options)}));
        std::uint32_t length = 0;
        memcpy(&length, client.receive(4).data(), sizeof length);
        return client.receive(length);
    }();
    EXPECT_NE(reply.find("\"ST\":0"), std::string::npos);
    const std::string early = frame({.opcode = 0x0B11, .status = 0, .data = "1"});
    EXPECT_EQ(client.receive(early.size()), early);
    agent.push(AgentReply::json("late"));
    EXPECT_EQ(client.receive(9), frame("late"));
}

TEST(ScriptedAgent, GoesAwayAndComesBack) {
    FakeClock clock;
    ScriptedAgent agent(clock);
    const Client client(agent.requestSocket());
    agent.awaitOpenConnections(1);
    agent.stop();
    EXPECT_EQ(client.receive(1), "");
    EXPECT_FALSE(Client(agent.requestSocket()).connected());
    agent.later(30s, [&] { agent.start(); });
    clock.sleepFor(29s);
    EXPECT_FALSE(Client(agent.requestSocket()).connected());
    clock.sleepFor(1s);
    EXPECT_TRUE(Client(agent.requestSocket()).connected());
}

TEST(ScriptedAgent, NamesItsDirectoryInTheEnvironment) {
    {
        ScriptedAgent agent;
        EXPECT_EQ(agent.directory(), getenv("QX_RAGD_SOCKET_DIR"));
    }
    EXPECT_EQ(getenv("QX_RAGD_SOCKET_DIR"), nullptr);
}

}  // namespace
}  // namespace varnock::test
