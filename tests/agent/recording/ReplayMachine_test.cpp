#include "agent/recording/ReplayMachine.h"

#include <gmock/gmock.h>

#include "agent/described/ModelClocks.h"
#include "agent/model/CallRows.h"
#include "catalogue/Bindings.h"
#include "tests/agent/recording/RecordingFixture.h"

namespace varnock::agent::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using Order = ReplayMachine::Order;

class Replay : public Recorded {
  protected:
    void replay(Order order) {
        replay_ = std::make_unique<ReplayMachine>(readRecording(file()), order, "recorded");
        server_ = serverIn("replay", *replay_);
    }
    /// Records what a client of the fake machine exchanges.
    void record(const std::vector<unsigned>& opcodes) {
        startAgent(machine_);
        startProxy();
        const Client client(socket("proxy"));
        for (const unsigned opcode : opcodes) {
            exchange(client, requestFrame(opcode));
        }
    }

    std::unique_ptr<ReplayMachine> replay_;
    std::unique_ptr<Server> server_;
};

/// A request for every command of the catalogue, with the first object.
std::vector<std::string> everyRequest() {
    std::vector<std::string> frames{encodeFrame(registrationText(0x1100, "every call"))};
    for (const catalogue::Binding& binding : catalogue::bindings(callRows())) {
        SipJson record(binding.opcode, binding.ext.value_or(0), binding.object.value_or(0), 0,
                       SipJson::noStatus);
        frames.push_back(encodeFrame(record.Export()));
    }
    return frames;
}

TEST_F(Replay, OfEveryCallIsTheSameByteForByte) {
    Document document;
    loadMachine(VARNOCK_SOURCE_DIR "/examples/machines/full.json", document);
    DescribedMachine machine(std::move(document), systemClock());
    startAgent(machine);
    startProxy();
    const auto requests = everyRequest();
    ASSERT_GT(requests.size(), 250U);
    std::string recorded;
    {
        const Client client(socket("proxy"));
        for (const std::string& request : requests) {
            recorded += exchange(client, request);
        }
    }
    for (const Order order : {Order::strict, Order::lenient}) {
        replay(order);
        const Client client(socket("replay"));
        std::string replayed;
        for (const std::string& request : requests) {
            replayed += exchange(client, request);
        }
        EXPECT_TRUE(replayed == recorded);
        server_.reset();
        std::filesystem::remove_all(directory_.file("replay"));
    }
    EXPECT_GT(recorded.size(), 20'000U);
    proxy_.reset();
    agent_.reset();
}

TEST_F(Replay, ClosesAClientThatAsksForSomethingElse) {
    record({1, 2});
    replay(Order::strict);
    Client client(socket("replay"));
    EXPECT_EQ(exchange(client, requestFrame(1)), encodeFrame(kNumberReply));
    testing::internal::CaptureStderr();
    EXPECT_EQ(exchange(client, requestFrame(1)), "");
    EXPECT_FALSE(client.receive());
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("requests connection 1 does not fit the recording: it has " +
                          requestText(2) + " instead of " + requestText(1)));
}

TEST_F(Replay, ClosesAClientThatGoesOnLonger) {
    record({1});
    replay(Order::strict);
    Client client(socket("replay"));
    exchange(client, requestFrame(1));
    testing::internal::CaptureStderr();
    exchange(client, requestFrame(1));
    EXPECT_FALSE(client.receive());
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("it ends before"));
}

TEST_F(Replay, GivesEachConnectionToOneClient) {
    record({1});
    replay(Order::strict);
    const Client first(socket("replay"));
    EXPECT_EQ(exchange(first, requestFrame(1)), encodeFrame(kNumberReply));
    Client second(socket("replay"));
    testing::internal::CaptureStderr();
    exchange(second, requestFrame(1));
    EXPECT_FALSE(second.receive());
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("no connection that is left begins with"));
}

TEST_F(Replay, TakesTheRegistrationOfAnyDescriptor) {
    startAgent(machine_);
    startProxy();
    std::string recorded;
    {
        const Client client(socket("proxy"));
        recorded = exchange(client, encodeFrame(registrationText(0x1100, "recorded")));
    }
    replay(Order::strict);
    const Client client(socket("replay"));
    EXPECT_EQ(exchange(client, encodeFrame(registrationText(0x1100, "another"))), recorded);
}

TEST_F(Replay, IsLenientAboutOrderAndNumber) {
    record({1, 2, FakeMachine::kBlock});
    replay(Order::lenient);
    const Client client(socket("replay"));
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(exchange(client, requestFrame(2)), HasSubstr(R"("DA":"text")"));
        EXPECT_EQ(exchange(client, requestFrame(1)), encodeFrame(kNumberReply));
    }
    EXPECT_THAT(exchange(client, requestFrame(77)), HasSubstr(R"("ST":19)"));
}

TEST_F(Replay, GivesTheRepliesToOneRequestOneAfterTheOther) {
    const std::string in = R"({"time":0,"connection":1,"channel":"requests","direction":"in",)"
                           R"("record":)" +
                           requestText(1) + "}\n";
    const auto out = [](int number) {
        return R"({"time":0,"connection":1,"channel":"requests","direction":"out","record":)" +
               std::to_string(number) + "}\n";
    };
    varnock::test::writeFile(file(), in + out(7) + in + out(8));
    replay(Order::lenient);
    const Client client(socket("replay"));
    EXPECT_EQ(exchange(client, requestFrame(1)), encodeFrame("7"));
    EXPECT_EQ(exchange(client, requestFrame(1)), encodeFrame("8"));
    EXPECT_EQ(exchange(client, requestFrame(1)), encodeFrame("8"));
}

TEST_F(Replay, SendsEventsByTheAgentsClock) {
    startAgent(machine_);
    startProxy();
    std::string event;
    {
        const Client client(socket("proxy", "ragdaj"));
        exchange(client, encodeFrame(registrationText(0x1200, "listener")));
        clock_.advance(2s);
        agent_->events().raise(SipJson(0x0B11, 0, 0, 0, 0));
        event = arrived(client);
        EXPECT_FALSE(event.empty());
    }
    replay(Order::strict);
    const Client client(socket("replay", "ragdaj"));
    exchange(client, encodeFrame(registrationText(0x1200, "listener")));
    EXPECT_EQ(server_->listeners(), 1U);
    server_->clock().advance(1s);
    EXPECT_EQ(arrived(client), "");
    server_->clock().advance(1s);
    EXPECT_EQ(arrived(client), event);
}

TEST_F(Replay, ObeysTheRulesOfFaults) {
    record({1});
    replay(Order::lenient);
    EXPECT_EQ(replay_->name(), "recorded");
    server_->faults().add("all: status 25");
    const Client client(socket("replay"));
    EXPECT_THAT(exchange(client, requestFrame(1)), HasSubstr(R"("ST":25)"));
}

TEST_F(Replay, SpoilsTheRecordedReplyByTheRule) {
    record({1});
    replay(Order::lenient);
    server_->faults().add("all times=1: delay 1s");
    server_->faults().add("all times=1: null ST");
    const Client client(socket("replay"));
    EXPECT_EQ(exchange(client, requestFrame(1)), "");
    server_->clock().advance(1s);
    EXPECT_EQ(arrived(client), encodeFrame(kNumberReply));
    EXPECT_THAT(exchange(client, requestFrame(1)), HasSubstr(R"("ST":null,"DA":42)"));
    EXPECT_EQ(exchange(client, requestFrame(1)), encodeFrame(kNumberReply));
}

TEST_F(Replay, LeavesWhatIsNoRecordToItsOtherFaults) {
    varnock::test::writeFile(
        file(),
        R"({"time":0,"connection":1,"channel":"requests","direction":"in","record":[1]})"
        "\n"
        R"({"time":0,"connection":1,"channel":"requests","direction":"out","record":{"SIP":[2]}})"
        "\n"
        R"({"time":0,"connection":2,"channel":"requests","direction":"in","record":[3]})"
        "\n"
        R"({"time":0,"connection":2,"channel":"requests","direction":"out","bytes":"0102"})"
        "\n");
    replay(Order::lenient);
    for (const char* rule : {"all: null ST", "all: utf8", "all: types", "all: missing"}) {
        server_->faults().clear();
        server_->faults().add(rule);
        const Client client(socket("replay"));
        EXPECT_EQ(exchange(client, encodeFrame("[1]")), encodeFrame(R"({"SIP":[2]})")) << rule;
        EXPECT_EQ(exchange(client, encodeFrame("[3]")), "\1\2") << rule;
    }
}

TEST_F(Replay, ClosesWhereTheAgentHadClosed) {
    startAgent(machine_);
    agent_->faults().add("all: close inside");
    startProxy();
    std::string part;
    {
        const Client client(socket("proxy"));
        part = exchange(client, requestFrame(1));
        EXPECT_LT(part.size(), encodeFrame(kNumberReply).size());
    }
    replay(Order::strict);
    Client client(socket("replay"));
    EXPECT_EQ(exchange(client, requestFrame(1)), part);
    EXPECT_FALSE(client.receive());
}

}  // namespace
}  // namespace varnock::agent::test
