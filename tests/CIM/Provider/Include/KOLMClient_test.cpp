#include "CIM/Provider/Include/KOLMClient.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "CIM/Provider/Include/CIMKolmClient.h"
#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMCalls.h"
#include "tests/support/EveryAllocation.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"
#include "tests/support/TraceCapture.h"
#include "transport/SipJson.h"

// The last detach ends the requests of a process permanently, so each test needs its own process,
// as with ctest.
namespace provider {
namespace {

using varnock::test::AgentReply;
using varnock::test::AgentRequest;
using varnock::test::FailingCallNumber;
using varnock::test::FailingMalloc;
using varnock::test::forEveryAllocation;
using varnock::test::numberData;
using varnock::test::ScriptedAgent;
using varnock::test::TraceCapture;

constexpr unsigned int kOpcodeNumberFans = 0x0300;

class ClientOverAgent : public testing::Test {
  protected:
    ClientOverAgent() {
        agent.handle([this](const AgentRequest& request) {
            return request.opcode == kOpcodeNumberFans
                       ? AgentReply::status(fanStatus, numberData(4))
                       : AgentReply::ok();
        });
    }

    static int askFans(KOLMClient& client) {
        SipJson record(kOpcodeNumberFans, 0, 0, 1, SipJson::noStatus);
        return client.request(record);
    }
    static int askFans(IVirtualKOLM& client) {
        SipJson record(kOpcodeNumberFans, 0, 0, 1, SipJson::noStatus);
        return client.KolmRequest(record);
    }

    std::atomic<unsigned int> fanStatus = 0;
    ScriptedAgent agent;
};

TEST_F(ClientOverAgent, TwoClientsAttachOnceAndDetachWithTheLast) {
    {
        const ShPtr<KOLMClient> first = getKOLMClient("first");
        EXPECT_TRUE(KOLMSwitch.IsAttached());
        EXPECT_EQ(agent.requests().size(), 4u);
        {
            const ShPtr<KOLMClient> second = getKOLMClient("second");
            EXPECT_EQ(agent.requests().size(), 4u);
            const ShPtr<KOLMClient> shared = second;
        }
        EXPECT_TRUE(KOLMSwitch.IsAttached());
        EXPECT_EQ(askFans(*first), 0);
    }
    EXPECT_FALSE(KOLMSwitch.IsAttached());
}

TEST_F(ClientOverAgent, ASmallTypedCallAllocatesNothing) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const ShPtr<KOLMClient> client = getKOLMClient("name");
    const ShPtr<KOLMCalls> calls = newKOLMCalls(client.get());
    EXPECT_EQ(calls->getNumberFans(1), 4);
    const FailingMalloc failure(1);
    EXPECT_EQ(calls->getNumberFans(1), 4);
    EXPECT_FALSE(failure.happened());
}

TEST_F(ClientOverAgent, RequestBecomesTheReply) {
    const ShPtr<KOLMClient> client = getKOLMClient("name");
    SipJson record(kOpcodeNumberFans, 0, 0, 1, SipJson::noStatus);
    EXPECT_EQ(client->request(record), 0);
    EXPECT_TRUE(record.HasReplyData());
    EXPECT_EQ(record.DataByte(), 4u);
}

TEST_F(ClientOverAgent, NameOfTheClientIsTraced) {
    const TraceCapture trace(4);
    const ShPtr<KOLMClient> client = getKOLMClient("Fan_Provider");
    EXPECT_TRUE(trace.contains("KRM_TBL             : Attach Fan_Provider to SWITCH"));
}

TEST_F(ClientOverAgent, FailedRequestIsReturnedWithItsStatus) {
    const ShPtr<KOLMClient> client = getKOLMClient("name");
    for (const unsigned int status : {1u, 19u, 21u, 24u, 25u, 255u}) {
        fanStatus = status;
        SipJson record(kOpcodeNumberFans, 0, 0, 1, SipJson::noStatus);
        EXPECT_EQ(client->request(record), 2) << status;
        EXPECT_EQ(record.Status(), status);
    }
    fanStatus = 12;
    EXPECT_EQ(askFans(*client), 0);
}

TEST_F(ClientOverAgent, AccessRefusedIsRaised) {
    const ShPtr<KOLMClient> client = getKOLMClient("name");
    fanStatus = 262153;
    try {
        askFans(*client);
        FAIL() << "no exception";
    } catch (const CimErrorException& denied) {
        EXPECT_EQ(denied.getCimError(), CIM_ERR_ACCESS_DENIED);
        const std::string text = denied.toString().c_str();
        EXPECT_NE(text.find("message=\"KOLMClientImpl(): KolmRequest() failed\" cimErr=2"),
                  std::string::npos)
            << text;
    }
    fanStatus = 0;
    EXPECT_EQ(askFans(*client), 0);
}

TEST_F(ClientOverAgent, RequestsAfterTheLastDetachFail) {
    { const ShPtr<KOLMClient> client = getKOLMClient("name"); }
    const ShPtr<KOLMClient> later = getKOLMClient("later");
    SipJson record(kOpcodeNumberFans, 0, 0, 1, SipJson::noStatus);
    EXPECT_EQ(later->request(record), 2);
    EXPECT_EQ(record.Status(), 3u);
}

TEST_F(ClientOverAgent, ManyThreadsShareOneClient) {
    const ShPtr<KOLMClient> client = getKOLMClient("name");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([client] {
            for (int turn = 0; turn < 20; ++turn) {
                EXPECT_EQ(askFans(*client), 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(ClientOverAgent, ClientsMayComeAndGoInManyThreads) {
    const ShPtr<KOLMClient> kept = getKOLMClient("kept");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int turn = 0; turn < 10; ++turn) {
                EXPECT_EQ(askFans(*getKOLMClient("passing")), 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(KOLMSwitch.IsAttached());
    EXPECT_EQ(askFans(*kept), 0);
}

TEST_F(ClientOverAgent, EventsAreThoseOfTheSwitch) {
    const ShPtr<KOLMClient> client = getKOLMClient("name");
    EXPECT_EQ(client->events(), static_cast<KOLMEvents*>(&KOLMSwitch));
    EXPECT_EQ(LocalKolmClient.kolmEvents(), client->events());
}

TEST_F(ClientOverAgent, LocalClientCountsRefusedAttachesAsSuccess) {
    KOLMSwitch.AllowAttach(false);
    EXPECT_EQ(LocalKolmClient.Attach("name", 1), 0);
    EXPECT_FALSE(KOLMSwitch.IsAttached());
    EXPECT_TRUE(agent.requests().empty());

    const ShPtr<KOLMClient> client = getKOLMClient("name");
    EXPECT_EQ(askFans(*client), 0);
}

TEST_F(ClientOverAgent, LocalClientAttachesAndDetachesTheSwitch) {
    EXPECT_EQ(LocalKolmClient.Attach("name", 0), 0);
    EXPECT_EQ(LocalKolmClient.Attach("name", 0), 0);
    EXPECT_EQ(LocalKolmClient.Detach(), 0);
    EXPECT_TRUE(KOLMSwitch.IsAttached());
    EXPECT_EQ(LocalKolmClient.Detach(), 0);
    EXPECT_FALSE(KOLMSwitch.IsAttached());
}

TEST_F(ClientOverAgent, LocalClientTellsRefusalFromFailure) {
    EXPECT_EQ(askFans(LocalKolmClient), 0);
    fanStatus = 0x00040009;
    EXPECT_EQ(askFans(LocalKolmClient), 1);
    fanStatus = 24;
    EXPECT_EQ(askFans(LocalKolmClient), 2);
    fanStatus = 0x00040001;
    EXPECT_EQ(askFans(LocalKolmClient), 2);
}

TEST_F(ClientOverAgent, LackOfMemoryKeepsTheCountRight) {
    ShPtr<KOLMClient> kept = getKOLMClient("kept");
    const cimple::String name("a name that does not fit into a short string");
    std::size_t failures = 0;
    for (bool failed = true; failed;) {
        const varnock::test::FailingAllocation failure(failures + 1);
        try {
            getKOLMClient(name);
        } catch (const std::bad_alloc&) {
        }
        failed = failure.happened();
        failures += failed ? 1 : 0;
    }
    EXPECT_GE(failures, 4u);  // the name, its copies, the client, the reference count
    EXPECT_TRUE(KOLMSwitch.IsAttached());
    EXPECT_EQ(askFans(*kept), 0);
    kept = ShPtr<KOLMClient>();
    EXPECT_FALSE(KOLMSwitch.IsAttached());
}

/// Creates a client in a process of its own, whose first client it is, without one of the
/// allocations. True if one failed.
bool createFirstClient(ScriptedAgent& agent, const FailingCallNumber& call) {
    constexpr int kNoFailure = 0;
    constexpr int kFailure = 1;
    constexpr int kDefect = 2;
    const pid_t child = fork();
    if (child == 0) {
        const cimple::String name("a name that does not fit into a short string");
        ShPtr<KOLMClient> client;
        FailingMalloc failure(call.n, call.times);
        bool thrown = false;
        try {
            client = getKOLMClient(name);
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
        failure.end();
        bool isSound = thrown || client;
        if (thrown) {
            isSound = failure.happened() && failure.blocksLeft() == 0 && !KOLMSwitch.IsAttached();
            client = getKOLMClient(name);
        }
        SipJson record(kOpcodeNumberFans, 0, 0, 1, SipJson::noStatus);
        isSound = isSound && client->request(record) == 0 && KOLMSwitch.AccountCheck();
        client = ShPtr<KOLMClient>();
        isSound = isSound && !KOLMSwitch.IsAttached();
        _exit(!isSound ? kDefect : failure.happened() ? kFailure : kNoFailure);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    EXPECT_NE(WEXITSTATUS(status), kDefect);
    agent.awaitOpenConnections(0);
    return !WIFEXITED(status) || WEXITSTATUS(status) != kNoFailure;
}

TEST_F(ClientOverAgent, CreatingTheFirstClientSurvivesTheLackOfAnyMemory) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const std::size_t failures = forEveryAllocation(
        [&](const FailingCallNumber& call) { return createFirstClient(agent, call); });
    EXPECT_GT(failures, 20u);
}

}  // namespace
}  // namespace provider
