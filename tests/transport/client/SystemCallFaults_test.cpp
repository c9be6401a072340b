// Every system call of a request, and of events from their start to their end, fails, takes a part
// or takes long, one at a time.
#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>

#include "tests/support/EveryCall.h"
#include "tests/support/PauselessClock.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"
#include "tests/support/TraceCapture.h"
#include "tests/transport/TransportSupport.h"
#include "transport/SwitchClient.h"

namespace varnock::test {
namespace {

TEST(SystemCallFaults, ARequestSucceedsOrSaysWhatFailedAndTheNextOneWorks) {
    SKIP_IF_NOTHING_CAN_BE_TRACED();
    SKIP_IF_MEMORY_IS_ASKED_FOR_BY_SYSTEM_CALLS();
    const std::size_t faults = forEveryFaultOf([](const TracedPart& part, const Fault& fault) {
        const PauselessClock clock;
        ScriptedAgent agent;
        agent.handle([](const AgentRequest&) { return AgentReply::ok(numberData(513)); });
        CSwitchClient client("test");
        SipJson record(0x1234, 5, 6, 7, SipJson::noStatus);
        const auto before = openDescriptors();

        part.begin();
        const unsigned int status = client.Request(record, 0, 0, 0);
        part.end();

        // A connection that cannot be made is tried again.
        const bool isTransfer = fault.call.transfers || fault.call.name == "poll";
        if (fault.isHarmless() || fault.isInterruption() || !isTransfer) {
            EXPECT_EQ(status, 0u);
            EXPECT_EQ(record.DataWord(), 513u);
        } else {
            // 3: the registration of the connection has failed.
            EXPECT_TRUE(status == 3 || status == 6 || status == 9) << status;
        }
        record.SetCmd(0x1234, 5, 6, 7, SipJson::noStatus);
        EXPECT_EQ(client.Request(record, 0, 0, 0), 0u);
        RagdClientDestroyTSD();
        agent.awaitOpenConnections(0);
        EXPECT_EQ(openDescriptors(), before);
    });
    EXPECT_GT(faults, 25u);
}

/// Counts its events.
class CountingClient : public CSwitchClient {
  public:
    CountingClient() : CSwitchClient("Watcher") {}
    ~CountingClient() override { StopEventThread(); }
    void Event(SipJson&) override { ++count; }
    std::atomic<int> count = 0;
};

/// Sends events until one arrives. False if the event thread has ended instead.
bool isServed(ScriptedAgent& agent, const CountingClient& client, const TraceCapture& trace) {
    const int before = client.count;
    while (client.count == before) {
        if (trace.contains("Event thread exited")) {
            return false;
        }
        agent.pushEvent({.opcode = 0x0B11, .ext = 1, .cabinet = 2, .status = 0});
        ::poll(nullptr, 0, 1);
    }
    return true;
}

TEST(SystemCallFaults, EventsArriveOrEndAndCanBeEnabledAgain) {
    SKIP_IF_NOTHING_CAN_BE_TRACED();
    SKIP_IF_MEMORY_IS_ASKED_FOR_BY_SYSTEM_CALLS();
    const std::size_t faults = forEveryFaultOf([](const TracedPart& part, const Fault& fault) {
        const PauselessClock clock;
        ScriptedAgent agent;
        TraceCapture trace;
        const auto before = openDescriptors();
        {
            CountingClient client;
            part.begin();
            const bool isEnabled = client.EnableEvents(1, 0);
            part.end();
            EXPECT_TRUE(isEnabled || !fault.isHarmless());
            if (isEnabled) {
                EXPECT_TRUE(isServed(agent, client, trace) || !fault.isHarmless());
            }
            part.begin();
            EXPECT_TRUE(client.EnableEvents(0, 0));
            part.end();
            // It has not taken the five seconds for a thread that does not end.
            EXPECT_TRUE(!isEnabled || trace.contains("Event thread exited")) << trace.text();
            trace.clear();
            EXPECT_TRUE(client.EnableEvents(1, 0));
            EXPECT_TRUE(isServed(agent, client, trace)) << trace.text();
            EXPECT_TRUE(client.EnableEvents(0, 0));
        }
        agent.awaitOpenConnections(0);
        EXPECT_EQ(openDescriptors(), before);
    });
    EXPECT_GT(faults, 30u);
}

}  // namespace
}  // namespace varnock::test
