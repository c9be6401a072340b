#include "transport/SwitchClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/EveryAllocation.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FakeClock.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"
#include "tests/support/TraceCapture.h"
#include "tests/support/VirtualSlot.h"
#include "tests/transport/TransportSupport.h"
#include "transport/AgentSocket.h"
#include "transport/record/ThreadMemory.h"

namespace varnock::test {
namespace {

using namespace std::chrono_literals;

class OpenClient : public CSwitchClient {
  public:
    using CSwitchClient::CSwitchClient;
    using CSwitchClient::EventFd;
    using CSwitchClient::StoredReplyWord;
};

class SwitchClient : public testing::Test {
  protected:
    ~SwitchClient() override { RagdClientDestroyTSD(); }

    unsigned int request(AgentReply reply) {
        agent.expect({.opcode = 0x1234, .ext = 5, .object = 6, .cabinet = 7, .reply = reply});
        command.SetCmd(0x1234, 5, 6, 7, SipJson::noStatus);
        return client.Request(command, 0, 0, 0);
    }

    FakeClock clock;
    ScriptedAgent agent{clock};
    TraceCapture trace;
    OpenClient client{"test"};
    SipJson command;
};

TEST_F(SwitchClient, GivesTheReplyInTheSameRecord) {
    EXPECT_EQ(request(AgentReply::ok("513")), 0u);
    EXPECT_EQ(command.Status(), 0u);
    EXPECT_EQ(command.DataWord(), 513u);
    EXPECT_TRUE(trace.contains(
        "CSwitchClient::Request: Receive response OC=0x1234, OE=0x0005, CB=0x00000007, "
        "OI=0x00000006, Status=0x0000, len="));
    EXPECT_EQ(trace.count("Got Unexpected Status"), 0u);
}

TEST_F(SwitchClient, TakesStatusTwelveForSuccess) {
    EXPECT_EQ(request(AgentReply::status(12, "1")), 0u);
    EXPECT_EQ(command.Export(),
              R"({"SIP":{"V":1,"CMD":[{"OC":4660,"OE":5,"OI":6,"CA":7,"ST":0,"DA":1}]}})");
    EXPECT_EQ(trace.count("Got Unexpected Status"), 0u);
}

TEST_F(SwitchClient, GivesEveryOtherStatusAsItIs) {
    // Includes 21 and 255, which the record treats as success.
    for (const unsigned int status : {1u, 19u, 21u, 25u, 255u, 0x00040009u, 0xFFFFFFFFu}) {
        EXPECT_EQ(request(AgentReply::status(status)), status);
        EXPECT_EQ(command.Status(), status);
        char expected[120];
        snprintf(expected, sizeof expected,
                 "CSwitchClient::Request: Got Unexpected Status of Command OC=0x1234, OE=0x0005 "
                 "(Status=0x%02X)",
                 status);
        EXPECT_TRUE(trace.contains(expected));
    }
    EXPECT_TRUE(command.CmdStatusSuccess(21));
}

TEST_F(SwitchClient, GivesTwentyTwoForRepliesWithoutStatus) {
    const std::string texts[] = {
        "",
        "no JSON",
        "5",
        "[]",
        "{}",
        R"({"SIP":5})",
        R"({"SIP":{"V":1,"CMD":[]}})",
        R"({"SIP":{"V":1,"CMD":[7]}})",
        R"({"SIP":{"V":1,"CMD":[{"OC":1,"CA":0}]}})",
        R"({"SIP":{"V":1,"CMD":[{"OC":1,"ST":"x"}]}})",
        R"({"SIP":{"V":1,"CMD":[{"OC":1,"ST":-1}]}})",
        std::string(500'000, '['),
        std::string(100'000, '{'),
        R"({"SIP":{"V":1,"CMD":[{"ST":0}]}} trailing)",
        std::string("{\0}", 3),
    };
    for (const std::string& text : texts) {
        EXPECT_EQ(request(AgentReply::json(text)), 22u) << text.substr(0, 80);
        EXPECT_EQ(command.Status(), 22u);
        EXPECT_FALSE(command.Success());
    }
    EXPECT_EQ(request(AgentReply::ok("1")), 0u);  // the record and the channel are usable
    EXPECT_EQ(agent.registrations().size(), 1u);
}

TEST_F(SwitchClient, NeverTakesTheRestOfTheRequestForTheReply) {
    // A short frame without NUL. The remaining bytes of the request would complete it to a
    // successful reply.
    agent.expect({.opcode = 1, .status = 0, .reply = AgentReply::json("").withLength(0).cutTo(4)});
    command.SetCmd(1, 0, 0, 0, 0);
    EXPECT_EQ(client.Request(command, 0, 0, 0), 22u);
}

TEST_F(SwitchClient, NegatesTheFailuresOfTheChannel) {
    EXPECT_EQ(request(AgentReply::none()), 15u);
    EXPECT_EQ(command.Status(), 15u);
    EXPECT_EQ(command.OpCode(), 0x1234u);
    EXPECT_TRUE(trace.contains("OI=0x00000006, Status=0x000F, len=" +
                               std::to_string(agent.requests().back().text.size() + 1)));
    EXPECT_EQ(request(AgentReply::none().thenClose(1ms)), 6u);
    EXPECT_EQ(request(AgentReply::ok().cutTo(20)), 9u);
    EXPECT_EQ(client.GetLastError(), 0u);
    EXPECT_EQ(request(AgentReply::ok()), 0u);
}

TEST_F(SwitchClient, FindsOutThatTheAgentIsAbsent) {
    agent.stop();
    command.SetCmd(1, 0, 0, 0, SipJson::noStatus);
    EXPECT_EQ(client.Request(command, 0, 0, 0), 3u);
    EXPECT_EQ(command.Status(), 3u);
    EXPECT_EQ(clock.elapsed(), 599s);
    EXPECT_TRUE(trace.contains("Status=0x0003, len="));
}

TEST_F(SwitchClient, AddsTheTwoTimeouts) {
    const auto waits = [this](unsigned short timeout, unsigned int extra) {
        agent.expect({.opcode = 1, .reply = AgentReply::none()});
        command.SetCmd(1, 0, 0, 0, SipJson::noStatus);
        const auto before = clock.elapsed();
        EXPECT_EQ(client.Request(command, timeout, 0, extra), 15u);
        return clock.elapsed() - before;
    };
    EXPECT_EQ(waits(0, 0), 30s);
    EXPECT_EQ(waits(40000, 5000), 45s);
    EXPECT_EQ(waits(65535, UINT_MAX), 180s);
}

/// A command whose text and NUL take `size` bytes.
void setCommandOfSize(SipJson& command, std::size_t size) {
    const auto setData = [&](std::size_t length) {
        command.SetCmd(1, 0, 0, 0, SipJson::noStatus);
        command.SetDataString(std::string(length, 'x').c_str(), 0);
        return command.Export().size() + 1;
    };
    setData(size - setData(0));
}

TEST_F(SwitchClient, SendsTheLargestTextThatIsAccepted) {
    setCommandOfSize(command, CSwitchClient::RAGD_BUFFER_MAX);
    const std::string text = command.Export();
    ASSERT_EQ(text.size() + 1, CSwitchClient::RAGD_BUFFER_MAX);
    agent.handle([](const AgentRequest&) { return AgentReply::ok("1"); });
    EXPECT_EQ(client.Request(command, 0, 0, 0), 0u);
    EXPECT_EQ(command.DataByte(), 1u);
    EXPECT_EQ(agent.requests().at(0).text, text);
}

TEST_F(SwitchClient, RefusesALongerTextWithoutSendingIt) {
    setCommandOfSize(command, CSwitchClient::RAGD_BUFFER_MAX + 1);
    EXPECT_EQ(client.Request(command, 0, 0, 0), 17u);
    EXPECT_EQ(command.Status(), 17u);
    EXPECT_TRUE(agent.transcript().empty());
    EXPECT_EQ(trace.count("CSwitchClient::Request: ERROR Json-String exceeds memmory buffer, "
                          "JsonStringLen=1048577, RAGD_BUFFER_MAX=1048576"),
              1u);
    EXPECT_EQ(trace.count("Receive response"), 0u);
}

TEST_F(SwitchClient, TakesRepliesOfAMegabyte) {
    const std::string record = toJson({.opcode = 1, .status = 0, .data = "\"\""});
    const auto reply = [&](std::size_t frameSize) {
        return AgentReply::ok(textData(std::string(frameSize - frame(record).size(), 'y')));
    };
    command.SetCmd(1, 0, 0, 0, SipJson::noStatus);
    agent.expect({.opcode = 1, .reply = reply(CSwitchClient::RAGD_BUFFER_MAX)});
    EXPECT_EQ(client.Request(command, 0, 0, 0), 0u);
    EXPECT_EQ(command.GetCmdDataSize(0), CSwitchClient::RAGD_BUFFER_MAX - frame(record).size() + 1);

    command.SetCmd(1, 0, 0, 0, SipJson::noStatus);
    agent.expect({.opcode = 1, .reply = reply(CSwitchClient::RAGD_BUFFER_MAX + 1)});
    EXPECT_EQ(client.Request(command, 0, 0, 0), 9u);
}

TEST_F(SwitchClient, ShowsTheLengthOfTheRequestAfterAFailure) {
    command.SetCmd(0x1234, 5, 6, 7, SipJson::noStatus);
    const std::string length = std::to_string(command.Export().size() + 1);
    EXPECT_EQ(request(AgentReply::raw("\xFF\xFF")), 9u);
    EXPECT_TRUE(trace.contains("Status=0x0009, len=" + length));
}

TEST_F(SwitchClient, GivesSeventeenWithoutMemory) {
    agent.handle([](const AgentRequest&) { return AgentReply::ok("1"); });
    unsigned int memoryFailures = 0;
    bool failed = true;
    for (std::size_t n = 1; failed; ++n) {
        command.SetCmd(0x1234, 5, 6, 7, SipJson::noStatus);
        unsigned int status = 99;
        {
            const FailingAllocation failure(n);
            status = client.Request(command, 0, 0, 0);
            failed = failure.happened();
        }
        EXPECT_THAT(status, testing::AnyOf(0u, 3u, 9u, 17u));
        EXPECT_EQ(command.Status(), status);
        memoryFailures += status == 17 ? 1 : 0;
        RagdClientDestroyTSD();
    }
    EXPECT_GT(memoryFailures, 1u);
    EXPECT_EQ(trace.count("CSwitchClient::Request: ERROR No memory available"), memoryFailures);
}

TEST(SwitchClientMemory, ARequestSurvivesTheLackOfAnyMemory) {
    SKIP_IF_MALLOC_IS_REPLACED();
    ScriptedAgent agent;
    const TraceCapture trace(0);
    agent.handle([](const AgentRequest&) { return AgentReply::ok(numberInDocument(513)); });
    for (const bool isConnected : {false, true}) {
        std::size_t memoryFailures = 0;
        OpenClient client("test");
        const std::size_t failures = forEveryAllocation([&](const FailingCallNumber& call) {
            std::optional<SipJson> command(std::in_place, 0x1234, 5, 6, 7, SipJson::noStatus);
            if (!isConnected) {
                RagdClientDestroyTSD();
            }
            FailingMalloc failure(call.n, call.times);
            const unsigned int status = client.Request(*command, 0, 0, 0);
            failure.end();
            // A result needs no memory; the record may lack the memory to show it.
            EXPECT_THAT(status, testing::AnyOf(0u, 3u, 9u, 17u));
            EXPECT_THAT(command->Status(), testing::AnyOf(status, SipJson::missingStatus));
            EXPECT_TRUE(status == 0 || failure.happened());
            memoryFailures += status == 17 ? 1 : 0;
            command->SetCmd(0x1234, 5, 6, 7, SipJson::noStatus);
            EXPECT_EQ(client.Request(*command, 0, 0, 0), 0u);
            EXPECT_EQ(command->DataWord(), 513u);
            command.reset();
            RagdClientDestroyTSD();
            EXPECT_EQ(failure.blocksLeft(), 0u);
            if (isConnected) {
                SipJson next(0x1234, 5, 6, 7, SipJson::noStatus);
                EXPECT_EQ(client.Request(next, 0, 0, 0), 0u);
            }
            return failure.happened();
        });
        EXPECT_GE(failures, memoryFailures);
        EXPECT_GT(memoryFailures, 5u);
    }
    RagdClientDestroyTSD();
}

TEST_F(SwitchClient, KeepsTheBufferOfASmallRequestOnly) {
    const auto sendWithReplyOf = [&](std::size_t size) {
        EXPECT_EQ(request(AgentReply::ok(textData(std::string(size, 'y')))), 0u);
        void* const spare = takeSpare(SpareBlock::frame);
        ::operator delete(spare);
        return spare != nullptr;
    };
    EXPECT_TRUE(sendWithReplyOf(100));
    EXPECT_FALSE(sendWithReplyOf(100'000));
    EXPECT_TRUE(sendWithReplyOf(60'000));
    EXPECT_EQ(request(AgentReply::raw("\xFF\xFF")), 9u);
    EXPECT_EQ(takeSpare(SpareBlock::frame), nullptr);
}

TEST(SwitchClientMemory, ASmallRequestAllocatesNothing) {
    SKIP_IF_MALLOC_IS_REPLACED();
    ScriptedAgent agent;
    agent.handle([](const AgentRequest&) { return AgentReply::ok(numberData(513)); });
    OpenClient client("test");
    const auto use = [&] {
        SipJson command(0x1234, 5, 6, 7, SipJson::noStatus);
        EXPECT_EQ(client.Request(command, 0, 0, 0), 0u);
        EXPECT_EQ(command.DataWord(), 513u);
    };
    use();  // connects
    {
        const FailingMalloc failure(1);
        use();
        EXPECT_FALSE(failure.happened());
    }
    RagdClientDestroyTSD();
}

TEST(SwitchClientMemory, RequestsOfAnyKindLeaveNothingBehind) {
    SKIP_IF_MALLOC_IS_REPLACED();
    ScriptedAgent agent;
    agent.handle([](const AgentRequest& request) {
        switch (request.object % 5) {
            case 0:
                return AgentReply::ok(numberInDocument(7));
            case 1:
                return AgentReply::ok(bytesData(std::vector<unsigned char>(1000, 7)));
            case 2:
                return AgentReply::ok(textData(std::string(100'000, 'y')));
            case 3:
                return AgentReply::status(19);
            default:
                return AgentReply::ok("[1,");
        }
    });
    const TraceCapture trace(0);
    OpenClient client("test");
    FailingMalloc counted(0);
    for (unsigned int i = 0; i < 500; ++i) {
        SipJson command(0x1234, 5, i, 7, SipJson::noStatus);
        client.Request(command, 0, 0, 0);
        std::vector<unsigned char> bytes;
        command.GetDataStream(bytes);
    }
    RagdClientDestroyTSD();
    counted.end();
    EXPECT_EQ(counted.blocksLeft(), 0u);
}

TEST(SwitchClientMemory, ConstructingAClientNeedsNone) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const FailingMalloc failure(1, FailingMalloc::Times::always);
    const OpenClient client("a name that does not fit into a short string");
    EXPECT_FALSE(failure.happened());
}

TEST_F(SwitchClient, IntroducesTheProcessByTheLibrarysName) {
    EXPECT_FALSE(client.IsAttached());
    EXPECT_EQ(client.Attach(), 1);
    EXPECT_TRUE(client.IsAttached());
    EXPECT_EQ(request(AgentReply::ok()), 0u);
    const auto block = agent.registrations().at(0).bytes();
    EXPECT_STREQ(reinterpret_cast<const char*>(block.data()), "CIM_Provider");
}

TEST_F(SwitchClient, EndsRequestsOnDetaching) {
    const pid_t child = fork();  // permanent, so in a separate process
    if (child == 0) {
        OpenClient own("child");
        own.Attach();
        const bool detached = own.Detach() == 1 && !own.IsAttached();
        const bool refused = own.Request(command, 0, 0, 0) == 3;
        _exit(detached && refused && trace.contains("RagdClientDestroyTSD: ") &&
                      trace.contains("RagdClientDestroyKEY: ")
                  ? 0
                  : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(SwitchClient, KeepsTheWordOfOneLegacyReply) {
    unsigned char word[] = {0x34, 0x12};
    CSwitchClient& base = client;
    base.Reply(0xE002, 1, 0, 0, 0, word, 2);
    base.Reply(0xE003, 0, 0, 0, 0, word, 2);
    base.Reply(0xE002, 0, 0, 0, 0, word, 1);
    base.Reply(0xE002, 0, 0, 0, 0, nullptr, 2);
    EXPECT_EQ(client.StoredReplyWord(), 0u);
    base.Reply(0xE002, 0, 0, 0, 0, word, 2);
    EXPECT_EQ(client.StoredReplyWord(), 0x1234u);
    base.Reply(command);
    base.Event(command);
    EXPECT_EQ(client.StoredReplyWord(), 0x1234u);
}

TEST_F(SwitchClient, TakesANameOfItsApplication) {
    EXPECT_FALSE(client.SetApplicationName(nullptr));
    EXPECT_TRUE(client.SetApplicationName(""));
    EXPECT_TRUE(client.SetApplicationName(std::string(300, 'n').c_str()));
    OpenClient unnamed(nullptr);
    EXPECT_FALSE(unnamed.IsAttached());
    EXPECT_EQ(unnamed.EventFd(), -1);
}

#ifdef VARNOCK_HAS_VIRTUAL_SLOTS
TEST_F(SwitchClient, HasItsVirtualOperationsInOrder) {
    using LegacyReply =
        void (CSwitchClient::*)(unsigned short, unsigned short, unsigned short, unsigned short,
                                unsigned char, unsigned char*, unsigned short);
    using Reply = void (CSwitchClient::*)(SipJson&);
    EXPECT_EQ(virtualSlot(static_cast<LegacyReply>(&CSwitchClient::Reply)), 2u);
    EXPECT_EQ(virtualSlot(static_cast<Reply>(&CSwitchClient::Reply)), 3u);
    EXPECT_EQ(virtualSlot(&CSwitchClient::Event), 4u);
    EXPECT_EQ(virtualSlot(&CSwitchClient::Attach), kNotVirtual);
}
#endif

}  // namespace
}  // namespace varnock::test
