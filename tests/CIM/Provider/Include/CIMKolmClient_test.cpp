#include "CIM/Provider/Include/CIMKolmClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "CIM/Provider/Include/Exceptions.h"
#include "tests/support/FakeClock.h"
#include "tests/support/ForkedUse.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"
#include "tests/support/TraceCapture.h"
#include "transport/SipJson.h"

// The last detach ends the requests of a process permanently, so each test needs its own process,
// as with ctest.
namespace {

using testing::Contains;
using testing::ElementsAre;
using varnock::test::AgentReply;
using varnock::test::AgentRequest;
using varnock::test::FakeClock;
using varnock::test::numberData;
using varnock::test::PosixThread;
using varnock::test::ScriptedAgent;
using varnock::test::textData;
using varnock::test::TraceCapture;

const std::string kTag = "KRM_TBL             : ";

/// The messages of the provider layer, without those of the layers below.
std::vector<std::string> ownMessages(const TraceCapture& trace) {
    std::vector<std::string> own;
    for (const std::string& message : trace.messages()) {
        if (message.starts_with(kTag)) {
            own.push_back(message.substr(kTag.size()));
        }
    }
    return own;
}

/// The replies to the four start-up commands.
struct Settings {
    AgentReply cabinetNr = AgentReply::ok(numberData(7));
    AgentReply hostName = AgentReply::ok(textData("node"));
    AgentReply accountCheck = AgentReply::ok(numberData(0));
    AgentReply userGroup = AgentReply::ok(textData("admins"));
};

class CIMKolmClient : public testing::Test {
  protected:
    void expectStartUp(const Settings& settings = {}, unsigned int cabinet = 7) {
        agent.expect({.opcode = 0xE204, .reply = settings.cabinetNr});
        agent.expect(
            {.opcode = 0xE001, .ext = 0x0201, .cabinet = cabinet, .reply = settings.hostName});
        agent.expect(
            {.opcode = 0xE001, .ext = 0x3812, .cabinet = cabinet, .reply = settings.accountCheck});
        agent.expect(
            {.opcode = 0xE001, .ext = 0x3813, .cabinet = cabinet, .reply = settings.userGroup});
    }

    ScriptedAgent agent;
    CCIMKolmClient client;
};

TEST_F(CIMKolmClient, StartsDetachedWithDefaults) {
    EXPECT_FALSE(client.IsAttached());
    EXPECT_EQ(client.CabinetNr(), 0u);
    EXPECT_EQ(client.HostName(), "");
    EXPECT_EQ(client.UserGroup(), "");
    EXPECT_TRUE(client.AccountCheck());
}

TEST_F(CIMKolmClient, FirstAttachReadsTheSettingsInOrder) {
    expectStartUp();
    const TraceCapture trace(4);
    EXPECT_EQ(client.Attach("application", 1), 0u);
    EXPECT_TRUE(client.IsAttached());
    EXPECT_EQ(client.CabinetNr(), 7u);
    EXPECT_EQ(client.HostName(), "node");
    EXPECT_FALSE(client.AccountCheck());
    EXPECT_EQ(client.UserGroup(), "admins");
    EXPECT_THAT(ownMessages(trace),
                ElementsAre("Attach application to SWITCH", "  attach succeeded", "Init()",
                            "CabinetNr = 7", "Host Name = node", "Account Check disabled",
                            "Configured user group (KOLM): \"admins\""));
}

TEST_F(CIMKolmClient, EverySettingMayBeMissing) {
    const std::vector<AgentReply> missing = {AgentReply::ok(), AgentReply::status(5),
                                             AgentReply::status(5, numberData(1))};
    for (const AgentReply& nothing : missing) {
        for (unsigned int known = 0; known < 16; ++known) {
            SCOPED_TRACE(known);
            CCIMKolmClient fresh;
            Settings settings;
            if ((known & 1) == 0) {
                settings.cabinetNr = nothing;
            }
            if ((known & 2) == 0) {
                settings.hostName = nothing;
            }
            if ((known & 4) == 0) {
                settings.accountCheck = nothing;
            }
            if ((known & 8) == 0) {
                settings.userGroup = nothing;
            }
            expectStartUp(settings, (known & 1) != 0 ? 7 : 0);

            const TraceCapture trace(4);
            fresh.Init();
            EXPECT_EQ(fresh.CabinetNr(), (known & 1) != 0 ? 7u : 0u);
            EXPECT_EQ(fresh.HostName(), (known & 2) != 0 ? "node" : "");
            EXPECT_EQ(fresh.AccountCheck(), (known & 4) == 0);
            EXPECT_EQ(fresh.UserGroup(), (known & 8) != 0 ? "admins" : "");
            std::vector<std::string> expected{"Init()"};
            if ((known & 1) != 0) {
                expected.push_back("CabinetNr = 7");
            }
            if ((known & 2) != 0) {
                expected.push_back("Host Name = node");
            }
            expected.push_back((known & 4) != 0
                                   ? "Account Check disabled"
                                   : "Account Check cannot be read, use TRUE as default");
            expected.push_back((known & 8) != 0 ? "Configured user group (KOLM): \"admins\""
                                                : "No configured user group ");
            EXPECT_EQ(ownMessages(trace), expected);
            agent.verify();
        }
    }
}

TEST_F(CIMKolmClient, MissingSettingsKeepTheirValuesExceptTheAccountCheck) {
    expectStartUp();
    client.Init();
    const AgentReply nothing = AgentReply::ok();
    expectStartUp({nothing, nothing, nothing, nothing});
    client.Init();
    EXPECT_EQ(client.CabinetNr(), 7u);
    EXPECT_EQ(client.HostName(), "node");
    EXPECT_TRUE(client.AccountCheck());
    EXPECT_EQ(client.UserGroup(), "admins");
}

TEST_F(CIMKolmClient, NumbersAreCutToTheirWidth) {
    expectStartUp({.cabinetNr = AgentReply::ok(numberData(0xABCD1234)),
                   .accountCheck = AgentReply::ok(numberData(0x100))},
                  0x1234);
    client.Init();
    EXPECT_EQ(client.CabinetNr(), 0x1234u);
    EXPECT_FALSE(client.AccountCheck());
}

TEST_F(CIMKolmClient, AnyNonZeroByteMeansThatAccountsAreChecked) {
    expectStartUp({.accountCheck = AgentReply::ok(numberData(0x80))});
    const TraceCapture trace(4);
    client.Init();
    EXPECT_TRUE(client.AccountCheck());
    EXPECT_THAT(ownMessages(trace), Contains("Account Check enabled"));
}

TEST_F(CIMKolmClient, TextsThatCannotBeReadKeepTheOldOnesAndAreTraced) {
    expectStartUp();
    client.Init();
    expectStartUp(
        {.hostName = AgentReply::ok(numberData(5)), .userGroup = AgentReply::ok(numberData(6))});
    const TraceCapture trace(4);
    client.Init();
    EXPECT_EQ(client.HostName(), "node");
    EXPECT_EQ(client.UserGroup(), "admins");
    EXPECT_THAT(ownMessages(trace), Contains("Host Name = node"));
    EXPECT_THAT(ownMessages(trace), Contains("Configured user group (KOLM): \"admins\""));
}

TEST_F(CIMKolmClient, SettingsOfEverySuccessStatusCount) {
    expectStartUp({AgentReply::status(12, numberData(7)), AgentReply::status(21, textData("x")),
                   AgentReply::status(255, numberData(0)), AgentReply::status(0, textData("y"))});
    client.Init();
    EXPECT_EQ(client.CabinetNr(), 7u);
    EXPECT_EQ(client.HostName(), "x");
    EXPECT_FALSE(client.AccountCheck());
    EXPECT_EQ(client.UserGroup(), "y");
}

TEST_F(CIMKolmClient, SecondAttachOnlyCounts) {
    expectStartUp();
    EXPECT_EQ(client.Attach("first", 1), 0u);
    agent.verify();
    const TraceCapture trace(4);
    EXPECT_EQ(client.Attach("second", 1), 0x00040001u);
    EXPECT_THAT(ownMessages(trace),
                ElementsAre("Attach second to SWITCH", "## WARNING! Already attached"));
    EXPECT_EQ(client.Detach(), 0u);
    EXPECT_TRUE(client.IsAttached());
    EXPECT_EQ(client.Detach(), 0u);
    EXPECT_FALSE(client.IsAttached());
    EXPECT_THAT(ownMessages(trace), testing::IsSupersetOf({"Detach from SWITCH"}));
    EXPECT_EQ(trace.count(kTag + "Detach from SWITCH"), 2u);
}

TEST_F(CIMKolmClient, AttachThatIsNotAllowedSendsNothingAndDoesNotCount) {
    client.AllowAttach(false);
    const TraceCapture trace(4);
    EXPECT_EQ(client.Attach("name", 0), 0x00040001u);
    EXPECT_THAT(ownMessages(trace),
                ElementsAre("Attach name to SWITCH",
                            "## WARNING! Currently it's not safe to attach - ignore attach()"));
    EXPECT_FALSE(client.IsAttached());

    client.AllowAttach(true);
    expectStartUp();
    EXPECT_EQ(client.Attach("name", 0), 0u);
    EXPECT_EQ(client.Detach(), 0u);
    EXPECT_FALSE(client.IsAttached());
}

TEST_F(CIMKolmClient, AttachedClientIsCountedEvenWhenAttachingIsNotAllowed) {
    expectStartUp();
    client.Attach("name", 1);
    client.AllowAttach(false);
    EXPECT_EQ(client.Attach("name", 1), 0x00040001u);
    client.Detach();
    EXPECT_TRUE(client.IsAttached());
}

TEST_F(CIMKolmClient, DetachWithoutAttachDetachesTheConnectionAllTheSame) {
    client.CSwitchClient::Attach();
    ASSERT_TRUE(client.IsAttached());
    EXPECT_EQ(client.Detach(), 0u);
    EXPECT_FALSE(client.IsAttached());
    EXPECT_EQ(client.Detach(), 0u);
}

TEST_F(CIMKolmClient, RequestGivesTheStatusUnchanged) {
    for (const unsigned int status : {0u, 5u, 19u, 24u, 0x00040009u}) {
        agent.expect({.opcode = 0x0300, .cabinet = 1, .reply = AgentReply::status(status)});
        SipJson record(0x0300, 0, 0, 1, SipJson::noStatus);
        EXPECT_EQ(client.KolmRequest(record, 1), status);
        EXPECT_EQ(record.Status(), status);
    }
}

TEST_F(CIMKolmClient, ThreadsThatAttachTogetherAreAllCounted) {
    agent.handle([](const AgentRequest&) { return AgentReply::ok(numberData(3)); });
    constexpr int count = 8;
    std::vector<std::thread> threads;
    std::atomic<int> newAttaches = 0;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&] {
            if (client.Attach("name", 1) == 0) {
                ++newAttaches;
            }
            client.HostName();
            client.UserGroup();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(newAttaches, 1);
    EXPECT_EQ(agent.requests().size(), 4u);
    for (int i = 1; i < count; ++i) {
        client.Detach();
        EXPECT_TRUE(client.IsAttached());
    }
    client.Detach();
    EXPECT_FALSE(client.IsAttached());
}

TEST_F(CIMKolmClient, AttachingAndEnablingEventsMayMeet) {
    agent.handle([](const AgentRequest&) { return AgentReply::ok(); });
    std::thread other([this] { client.Attach("a name that replaces the first", 1); });
    EXPECT_TRUE(client.enableEvents());
    other.join();
    EXPECT_TRUE(client.disableEvents());
}

TEST_F(CIMKolmClient, AttachCancelledDuringTheStartUpReadsStaysAttached) {
    SKIP_IF_THREAD_EXIT_IS_MISREAD();
    agent.handle([](const AgentRequest&) { return AgentReply::none(); });
    PosixThread thread([this] { client.Attach("name", 1); });
    agent.awaitRequests(1);
    thread.cancel();
    EXPECT_TRUE(thread.join());
    EXPECT_TRUE(client.IsAttached());
    EXPECT_EQ(client.Attach("name", 1), 0x00040001u);
}

TEST(CCIMKolmClient, AttachesWhileTheAgentIsAbsent) {
    FakeClock clock;
    ScriptedAgent agent(clock);
    agent.stop();
    CCIMKolmClient client;
    const TraceCapture trace(4);
    EXPECT_EQ(client.Attach("name", 1), 0u);
    EXPECT_TRUE(client.IsAttached());
    EXPECT_EQ(client.CabinetNr(), 0u);
    EXPECT_TRUE(client.AccountCheck());
    EXPECT_THAT(ownMessages(trace), Contains("Account Check cannot be read, use TRUE as default"));
}

TEST(CCIMKolmClient, ResultCodesOfCommandStatuses) {
    const auto result = [](unsigned int status) {
        return CCIMKolmClient::cmdStatus2hResult(status);
    };
    EXPECT_EQ(result(0), 0u);
    EXPECT_EQ(result(1), 0x80041016u);
    EXPECT_EQ(result(2), 0x80041008u);
    EXPECT_EQ(result(4), 0x8004100Fu);
    EXPECT_EQ(result(5), 0x80041045u);
    EXPECT_EQ(result(7), 0x80041023u);
    EXPECT_EQ(result(8), 0x80041023u);
    EXPECT_EQ(result(13), 0x80041023u);
    EXPECT_EQ(result(17), 0x80041006u);
    EXPECT_EQ(result(19), 0x80041002u);
    EXPECT_EQ(result(24), 0x00040009u);
    for (const unsigned int other : {3u, 6u, 9u, 12u, 21u, 22u, 25u, 255u, 0xFFFFFFFFu}) {
        EXPECT_EQ(result(other), 0x80004005u) << other;
    }
}

/// Records the calls on the event thread and lets the test wait for them.
class Mailbox final : public provider::KOLMEventsListener {
  public:
    void onSystemMessageLogEntry(unsigned int sequenceNumber) override {
        if (sequenceNumber == kThrowsAt) {
            throw sequenceNumber;
        }
        if (sequenceNumber == kRaisesAt) {
            throw provider::BaseException("f", 1, "m");
        }
        put("system " + std::to_string(sequenceNumber));
    }
    void onDriverMonitorLogEntry(unsigned int sequenceNumber) override {
        put("driver " + std::to_string(sequenceNumber));
    }
    std::string take() {
        std::unique_lock lock(mutex_);
        filled_.wait(lock, [this] { return !entries_.empty(); });
        std::string entry = entries_.front();
        entries_.pop_front();
        return entry;
    }

    static constexpr unsigned int kThrowsAt = 1001;
    static constexpr unsigned int kRaisesAt = 1002;

  private:
    void put(std::string entry) {
        const std::lock_guard lock(mutex_);
        entries_.push_back(std::move(entry));
        filled_.notify_one();
    }

    std::mutex mutex_;
    std::condition_variable filled_;
    std::deque<std::string> entries_;
};

TEST_F(CIMKolmClient, EventsOfTheAgentReachTheListener) {
    Mailbox mailbox;
    client.setListener(&mailbox);
    const TraceCapture trace(5);
    EXPECT_TRUE(client.enableEvents());
    agent.pushEvent({.opcode = 0x0B11, .status = 0, .data = numberData(41)});
    EXPECT_EQ(mailbox.take(), "system 41");
    agent.pushEvent({.opcode = 0x9999, .status = 0, .data = numberData(1)});
    agent.pushEvent({.opcode = 0x181B, .status = 0});
    agent.pushEvent({.opcode = 0x181B, .status = 0, .data = numberData(42)});
    EXPECT_EQ(mailbox.take(), "driver 42");
    EXPECT_TRUE(client.disableEvents());
    EXPECT_TRUE(trace.contains(kTag + "CCIMKolmClient::enableEvents(): EnableEvents()=TRUE"));
    EXPECT_TRUE(
        trace.contains(kTag + "CCIMKolmClient::disableEvents(): EnableEvents(FALSE, FALSE)=TRUE"));
    EXPECT_TRUE(trace.contains(kTag + "CCIMKolmClient::Event(): unknown OpCode=9999"));
    EXPECT_TRUE(trace.contains(kTag + "CCIMKolmClient::Event(): !Sip.HasReplyData()"));
}

TEST_F(CIMKolmClient, ListenerThatThrowsGetsTheNextEvent) {
    Mailbox mailbox;
    client.setListener(&mailbox);
    ASSERT_TRUE(client.enableEvents());
    for (const unsigned int number : {Mailbox::kThrowsAt, Mailbox::kRaisesAt, 3u}) {
        agent.pushEvent({.opcode = 0x0B11, .status = 0, .data = numberData(number)});
    }
    EXPECT_EQ(mailbox.take(), "system 3");
    EXPECT_TRUE(client.disableEvents());
}

TEST_F(CIMKolmClient, ListenerMayBeReplacedWhileEventsArrive) {
    Mailbox first;
    Mailbox second;
    client.setListener(&first);
    ASSERT_TRUE(client.enableEvents());
    for (unsigned int number = 0; number < 50; ++number) {
        agent.pushEvent({.opcode = 0x0B11, .status = 0, .data = numberData(number)});
        client.setListener(number % 2 == 0 ? &second : &first);
    }
    client.setListener(&second);
    agent.pushEvent({.opcode = 0x181B, .status = 0, .data = numberData(99)});
    while (second.take() != "driver 99") {
    }
    EXPECT_TRUE(client.disableEvents());
}

TEST(CCIMKolmClient, WorksInForkedChildrenWhileThreadsUseIt) {
    SKIP_IF_FORKED_THREADS_ARE_LOST();
    ScriptedAgent agent;
    agent.handle([](const AgentRequest&) { return AgentReply::ok(); });
    CCIMKolmClient client;
    Debug.ForceMaxDebug(0);
    varnock::test::expectToWorkInChildren([&] {
        SipJson command(1, 0, 0, 0, 0);
        return client.SetApplicationName("name") && client.HostName().empty() &&
               client.KolmRequest(command, 0) == 0;
    });
}

TEST(CCIMKolmClient, EnablingEventsFailsWithoutAnAgent) {
    FakeClock clock;
    ScriptedAgent agent(clock);
    agent.stop();
    CCIMKolmClient client;
    const TraceCapture trace(5);
    EXPECT_FALSE(client.enableEvents());
    EXPECT_TRUE(trace.contains(kTag + "CCIMKolmClient::enableEvents(): EnableEvents()=FALSE"));
}

TEST(CCIMKolmClient, DestructionEndsTheEventThread) {
    ScriptedAgent agent;
    Mailbox mailbox;
    const TraceCapture trace(1);
    {
        CCIMKolmClient client;
        client.setListener(&mailbox);
        ASSERT_TRUE(client.enableEvents());
        agent.pushEvent({.opcode = 0x0B11, .status = 0, .data = numberData(1)});
        EXPECT_EQ(mailbox.take(), "system 1");
    }
    EXPECT_TRUE(trace.contains("Thread_EventMain: Event thread exited"));
}

}  // namespace
