#include "transport/channel/EventChannel.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <future>
#include <optional>

#include "tests/support/EveryAllocation.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FailingCall.h"
#include "tests/support/FakeClock.h"
#include "tests/support/PauselessClock.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"
#include "tests/support/TraceCapture.h"
#include "tests/transport/TransportSupport.h"
#include "transport/AgentSocket.h"
#include "transport/channel/AgentDevice.h"
#include "transport/record/ThreadMemory.h"

namespace varnock::test {
namespace {

using namespace std::chrono_literals;

class EventChannel : public testing::Test {
  protected:
    ~EventChannel() override { UnRegisterForEvents(); }

    void enable() {
        fd = RegisterForEvents(nullptr);
        ASSERT_GE(fd, 0);
        name = std::to_string(fd);
        trace.clear();
    }
    /// Waits for the descriptor and reads one event.
    int read() {
        pollfd readable{fd, POLLIN, 0};
        EXPECT_EQ(clock.poll(&readable, 1, -1), 1);
        return GetEventJson(fd, event);
    }

    FakeClock clock;
    ScriptedAgent agent{clock};
    TraceCapture trace;
    SipJson event;
    int fd = -1;
    std::string name;
};

const AgentRecord kEvent{.opcode = 0x0B11, .cabinet = 2, .status = 0, .data = "7"};

TEST_F(EventChannel, RegistersWithItsNameAndDescriptor) {
    SetClientName("watcher");
    fd = RegisterForEvents(nullptr);
    SetClientName(nullptr);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(agent.transcript().size(), 1u);
    const AgentRequest registration = agent.transcript()[0];
    EXPECT_TRUE(registration.onEvents);
    EXPECT_EQ(registration.opcode, 0xFFA0u);
    EXPECT_EQ(registration.ext, 0x1200u);
    EXPECT_EQ(registration.status, std::nullopt);
    std::vector<unsigned char> options(224);
    memcpy(options.data(), "watcher", 7);
    memcpy(options.data() + 68, &fd, sizeof fd);
    EXPECT_EQ(registration.bytes(), options);
    name = std::to_string(fd);
    EXPECT_TRUE(trace.contains("OpenEventChannel: Event Channel to " + agent.eventSocket() +
                               " (fd=" + name + ") opened"));
    EXPECT_TRUE(trace.contains(
        "InitEventChannel: Event Channel (type=JSON) opened and initialized (fd=" + name +
        ", ragdfd="));
    EXPECT_TRUE(trace.contains("RegisterForEvents: client registered for events on fd=" + name));
}

TEST_F(EventChannel, ClosesOnUnregistering) {
    enable();
    UnRegisterForEvents();
    agent.awaitOpenConnections(0);
    EXPECT_EQ(trace.messages(),
              (std::vector<std::string>{"CloseEventChannel: Event Channel to " +
                                            agent.eventSocket() + " (fd=" + name + ") closed",
                                        "UnRegisterForEvents: client unregistered for events"}));
    trace.clear();
    trace.setLevel(0);
    UnRegisterForEvents();
    EXPECT_EQ(trace.messages(), std::vector<std::string>{"CloseEventChannel: Event Channel to " +
                                                         agent.eventSocket() + " (fd=-1) closed"});
}

TEST_F(EventChannel, RemainsOnTheChannelWhenRegisteredAgain) {
    enable();
    EXPECT_EQ(RegisterForEvents(nullptr), fd);
    EXPECT_TRUE(trace.contains("OpenEventChannel: WARNING: Event channel already exists on fd=" +
                               name + " --> remain on it!"));
    EXPECT_EQ(agent.openConnections(), 1);
    EXPECT_EQ(agent.registrations().size(), 2u);
}

TEST_F(EventChannel, TriesForTenMinutesToConnect) {
    agent.stop();
    EXPECT_EQ(RegisterForEvents(nullptr), -1);
    EXPECT_EQ(clock.sleeps(), std::vector<std::chrono::milliseconds>(599, 1s));
    const std::string to = "OpenEventChannel: Connect to " + agent.eventSocket() + " failed";
    EXPECT_EQ(trace.count(to + ": errno=2 No such file or directory --> retry ("), 60u);
    EXPECT_TRUE(trace.contains(to + ": errno=2 No such file or directory --> retry (590)"));
    EXPECT_TRUE(trace.contains(to + " after 600 retries --> bail out"));
}

TEST_F(EventChannel, IsClosedWhenTheRegistrationFails) {
    agent.handleRegistration([](const AgentRequest&) { return AgentReply::none(); });
    EXPECT_EQ(RegisterForEvents(nullptr), -1);
    EXPECT_EQ(clock.elapsed(), 30s);
    EXPECT_TRUE(trace.contains("InitEventChannel: Can't initialize Event Channel on fd="));
    EXPECT_TRUE(trace.contains("CloseEventChannel: Event Channel to "));
    agent.awaitOpenConnections(0);
    agent.handleRegistration(nullptr);
    enable();
}

TEST_F(EventChannel, IsRefusedByANegativeDescriptorOfTheAgent) {
    agent.handleRegistration([](const AgentRequest&) {
        return AgentReply::ok(bytesData(std::vector<unsigned char>(224, 0xFF)));
    });
    EXPECT_EQ(RegisterForEvents(nullptr), -1);
    EXPECT_TRUE(trace.contains("ragdfd=-1)"));
    agent.awaitOpenConnections(0);
}

TEST_F(EventChannel, NeedsOptionsAndMemoryToRegister) {
    EXPECT_LT(initEventChannel(5, nullptr, nullptr), 0);
    EXPECT_TRUE(trace.contains(
        "InitEventChannel: ERROR: called with bad parameter pClientOptions = NULL on fd=5"));
    const ClientOptions options(5);
    const FailingAllocation failure(1);
    EXPECT_LT(initEventChannel(5, &options, nullptr), 0);
    EXPECT_TRUE(trace.contains("InitEventChannel: ERROR No memory available"));
}

TEST_F(EventChannel, DeliversEvents) {
    enable();
    agent.pushEvent(kEvent);
    EXPECT_EQ(read(), fd);
    EXPECT_EQ(event.Export(), toJson(kEvent));
    EXPECT_TRUE(trace.contains("GetEventJson: processing event on fd=" + name +
                               " (inLength=" + std::to_string(frame(kEvent).size()) + ")"));
    EXPECT_EQ(clock.elapsed(), 0s);
}

TEST_F(EventChannel, DeliversAnEventRightBehindTheRegistration) {
    agent.handleRegistration(
        [](const AgentRequest&) { return AgentReply::registration().with(frame(kEvent)); });
    enable();
    EXPECT_EQ(read(), fd);
    EXPECT_EQ(event.DataDWord(), 7u);
}

TEST_F(EventChannel, ReadsFrameByFrame) {
    enable();
    AgentRecord second = kEvent;
    second.data = "8";
    agent.push(
        AgentReply::raw(frame(kEvent) + frame(second) + std::string(4, '\0') + frame(kEvent)));
    EXPECT_EQ(read(), fd);
    EXPECT_EQ(event.DataDWord(), 7u);
    EXPECT_EQ(read(), fd);
    EXPECT_EQ(event.DataDWord(), 8u);
    EXPECT_EQ(read(), fd);  // a frame without text
    EXPECT_EQ(event.Export(), R"({"SIP":{"V":1,"CMD":[]}})");
    EXPECT_EQ(read(), fd);
    EXPECT_EQ(event.DataDWord(), 7u);
}

TEST_F(EventChannel, TakesEventsThatComeInPieces) {
    enable();
    agent.push(AgentReply::raw(frame(kEvent)).inPieces(3, 10ms));
    EXPECT_EQ(read(), fd);
    EXPECT_EQ(event.DataDWord(), 7u);
    EXPECT_EQ(trace.count("GetEventJson: Event receiving on fd=" + name +
                          " incomplete (inLength=3, InMax=4, RetryCnt=0) --> continue"),
              1u);
}

TEST_F(EventChannel, TakesTextsWithoutNulAndTextsThatAreNoRecord) {
    enable();
    agent.push(AgentReply::raw(frame(kEvent)).withoutNul());
    EXPECT_EQ(read(), fd);
    EXPECT_EQ(event.DataDWord(), 7u);
    agent.push(AgentReply::json(std::string(100'000, '[')));
    EXPECT_EQ(read(), fd);
    EXPECT_EQ(event.Status(), 22u);
}

TEST_F(EventChannel, RefusesOtherDescriptors) {
    trace.setLevel(0);
    for (const int wrong : {-1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(GetEventJson(wrong, event), -1);
        EXPECT_TRUE(trace.contains(
            "GetEventJson: ERROR: called with wrong clientfd=" + std::to_string(wrong) +
            " (s_FdEventChannel=-1) --> ignore this event"));
    }
    enable();
    agent.pushEvent(kEvent);
    EXPECT_EQ(GetEventJson(fd + 1, event), -1);
    EXPECT_TRUE(trace.contains("GetEventJson called with wrong fd=" + std::to_string(fd + 1) +
                               " (s_FdEventChannel=" + name + ") --> ignore this event"));
    EXPECT_EQ(read(), fd);
    EXPECT_EQ(event.DataDWord(), 7u);
}

TEST_F(EventChannel, ReportsThatTheAgentClosedIt) {
    enable();
    agent.closeConnections();
    EXPECT_EQ(read(), -1);
    EXPECT_TRUE(trace.contains("GetEventJson: Event receiving on fd=" + name +
                               " failed EOF (inLength=0, InMax=4) --> ignore this event!"));
    EXPECT_EQ(clock.elapsed(), 0s);
    EXPECT_EQ(readEvent(fd, event, nullptr).kind, EventRead::Kind::endOfFile);
}

TEST_F(EventChannel, ReopensWhenAFrameNeverArrives) {
    enable();
    agent.push(AgentReply::raw(frame(kEvent)).cutTo(10));
    EXPECT_GE(fd = read(), 0);
    EXPECT_EQ(clock.elapsed(), 11s);  // ten attempts and the pause before reopening
    EXPECT_EQ(trace.count("incomplete (inLength=10, InMax="), 10u);
    EXPECT_TRUE(trace.contains("GetEventJson: ERROR: Event receiving on fd=" + name +
                               " failed: inLength invalid (inLength=10, InMax=" +
                               std::to_string(frame(kEvent).size()) + ") --> reopen"));
    EXPECT_TRUE(trace.contains("ReOpenEventChannel: Event Channel to " + agent.eventSocket() +
                               " reopened (fd=" + std::to_string(fd) + ")"));
    EXPECT_TRUE(trace.contains("GetEventJson: Event Channel reopened on " + agent.eventSocket() +
                               ", new fd=" + std::to_string(fd)));
    EXPECT_EQ(agent.registrations().size(), 2u);
    agent.pushEvent(kEvent);
    EXPECT_EQ(read(), fd);
}

TEST_F(EventChannel, ReopensWhenTheAgentClosesInMidFrame) {
    for (const std::size_t bytes : {2u, 4u, 10u}) {
        enable();
        agent.push(AgentReply::raw(frame(kEvent)).cutTo(bytes).thenClose(1ms));
        const auto before = clock.elapsed();
        EXPECT_GE(fd = read(), 0);
        EXPECT_EQ(clock.elapsed() - before, 11s + 1ms);
        EXPECT_EQ(trace.count("failed EOF"), 0u);
    }
}

TEST_F(EventChannel, ReopensWhenTheLengthIsNonsense) {
    enable();
    for (const std::uint32_t length : {kLongestEvent + 1, 0xFFFFFFECu, 0xFFFFFFFFu}) {
        name = std::to_string(fd);
        agent.push(AgentReply::raw(frame(kEvent)).withLength(length));
        EXPECT_GE(fd = read(), 0);
        EXPECT_TRUE(trace.contains("GetEventJson: ERROR: No Memory: Event receiving on fd=" + name +
                                   " failed --> reopen"));
        trace.clear();
    }
    EXPECT_EQ(clock.elapsed(), 3s);
    agent.pushEvent(kEvent);
    EXPECT_EQ(read(), fd);
}

TEST_F(EventChannel, TakesEventsUpToSixteenMegabytes) {
    enable();
    agent.push(AgentReply::json(std::string(kLongestEvent - 1, ' ')));
    EXPECT_EQ(read(), fd);
}

TEST_F(EventChannel, ReopensWhenReadingFails) {
    enable();
    agent.pushEvent(kEvent);
    {
        const FailingCall failure(PlatformCall::Receive, EIO, 2);
        EXPECT_GE(fd = read(), 0);
    }
    EXPECT_TRUE(trace.contains(
        "GetEventJson: ERROR: Event receiving on fd=" + name +
        " failed (inLength=4, InMax=" + std::to_string(frame(kEvent).size()) + ") --> reopen"));
}

TEST_F(EventChannel, GoesOnAfterASignal) {
    enable();
    agent.pushEvent(kEvent);
    const FailingCall failure(PlatformCall::Receive, EINTR);
    EXPECT_EQ(read(), fd);
    EXPECT_EQ(event.DataDWord(), 7u);
    EXPECT_TRUE(trace.contains("GetEventJson: Event receiving on fd=" + name +
                               " interrupted (errno=EINTR, inLength=0, InMax=4) --> retry=0"));
}

TEST_F(EventChannel, TakesAReadableDescriptorForGranted) {
    enable();
    EXPECT_GE(fd = GetEventJson(fd, event), 0);  // no data: ten attempts, then a new channel
    EXPECT_EQ(clock.elapsed(), 11s);
    EXPECT_EQ(trace.count("incomplete (inLength=0, InMax=4"), 10u);
}

TEST_F(EventChannel, IsLostWhenItCannotBeReopened) {
    enable();
    agent.push(AgentReply::raw(frame(kEvent)).withLength(0xFFFFFFFF).thenClose(1ms));
    agent.later(500ms, [this] { agent.stop(); });
    clock.sleepFor(1s);
    EXPECT_EQ(GetEventJson(fd, event), -1);
    EXPECT_TRUE(trace.contains("ReOpenEventChannel: ERROR: Can't reopen Event Channel to " +
                               agent.eventSocket()));
    EXPECT_TRUE(trace.contains("GetEventJson: ERROR: Can't reopen Event Channel on " +
                               agent.eventSocket() + " --> ignore this event!"));
}

TEST_F(EventChannel, SurvivesTheLackOfAnyMemory) {
    bool failed = true;
    for (std::size_t n = 1; failed; ++n) {
        int result = 0;
        {
            const FailingAllocation failure(n);
            result = RegisterForEvents(nullptr);
            failed = failure.happened();
        }
        EXPECT_TRUE(result >= 0 || failed);
        UnRegisterForEvents();
        agent.awaitOpenConnections(0);
    }
    enable();
    failed = true;
    for (std::size_t n = 1; failed; ++n) {
        agent.pushEvent(kEvent);
        pollfd readable{fd, POLLIN, 0};
        ASSERT_EQ(clock.poll(&readable, 1, -1), 1);
        int result = 0;
        {
            const FailingAllocation failure(n);
            result = GetEventJson(fd, event);
            failed = failure.happened();
        }
        EXPECT_TRUE(result >= 0 || result == kTransferFailed);
        fd = result >= 0 ? result : fd;
    }
}

TEST(EventChannelMemory, RegisteringSurvivesTheLackOfAnyMemory) {
    SKIP_IF_MALLOC_IS_REPLACED();
    ScriptedAgent agent;
    const TraceCapture trace(0);
    ASSERT_GE(RegisterForEvents(nullptr), 0);
    const std::size_t failures = forEveryAllocation([&](const FailingCallNumber& call) {
        UnRegisterForEvents();
        agent.awaitOpenConnections(0);
        FailingMalloc failure(call.n, call.times);
        const int result = RegisterForEvents(nullptr);
        failure.end();
        EXPECT_TRUE(result >= 0 || failure.happened());
        EXPECT_GE(RegisterForEvents(nullptr), 0);
        UnRegisterForEvents();
        EXPECT_EQ(failure.blocksLeft(), 0u);
        return failure.happened();
    });
    EXPECT_GT(failures, 10u);
}

TEST(EventChannelMemory, ReadingSurvivesTheLackOfAnyMemory) {
    SKIP_IF_MALLOC_IS_REPLACED();
    ScriptedAgent agent;
    const TraceCapture trace(0);
    int fd = RegisterForEvents(nullptr);
    ASSERT_GE(fd, 0);
    const PauselessClock clock;
    const auto awaitEvent = [&] {
        agent.pushEvent({.opcode = 0x0B11, .cabinet = 2, .status = 0, .data = numberInDocument(7)});
        pollfd readable{fd, POLLIN, 0};
        ASSERT_EQ(::poll(&readable, 1, -1), 1);
    };
    const std::size_t failures = forEveryAllocation([&](const FailingCallNumber& call) {
        awaitEvent();
        std::optional<SipJson> event(std::in_place);
        FailingMalloc failure(call.n, call.times);
        const int result = GetEventJson(fd, *event);
        failure.end();
        EXPECT_TRUE(result >= 0 || (failure.happened() && result == kTransferFailed)) << result;
        // Lost or read: the next one arrives, on this channel or on one that replaces it.
        fd = RegisterForEvents(nullptr);
        awaitEvent();
        EXPECT_EQ(GetEventJson(fd, *event), fd);
        EXPECT_EQ(event->DataDWord(), 7u);
        event.reset();
        freeSpares();
        EXPECT_EQ(failure.blocksLeft(), 0u);
        return failure.happened();
    });
    EXPECT_GT(failures, 5u);
    UnRegisterForEvents();
}

TEST_F(EventChannel, IsNotSharedWithAForkedChild) {
    enable();
    const pid_t child = fork();
    if (child == 0) {
        Clock::replace(nullptr);                // the child does not have the agent's thread
        const auto before = openDescriptors();  // the child's own channel replaces the parent's
        const bool refused = GetEventJson(fd, event) == -1;
        const int own = RegisterForEvents(nullptr);
        _exit(refused && own >= 0 && openDescriptors() == before ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(agent.registrations().size(), 2u);
    agent.awaitOpenConnections(1);
    agent.pushEvent(kEvent);
    EXPECT_EQ(read(), fd);
}

TEST_F(EventChannel, EndsItsWaitsOnAStop) {
    SocketPair wake;
    StopSignal stop(wake.ours());
    enable();
    agent.push(AgentReply::raw(frame(kEvent)).cutTo(10));
    pollfd readable{fd, POLLIN, 0};
    ASSERT_EQ(clock.poll(&readable, 1, -1), 1);
    wake.peerSends("WAKE");
    stop.request();
    EXPECT_EQ(readEvent(fd, event, &stop).kind, EventRead::Kind::failed);
    EXPECT_LT(reOpenEventChannel(&stop), 0);
    EXPECT_EQ(clock.elapsed(), 0s);
    EXPECT_EQ(trace.count("bail out"), 0u);
}

TEST_F(EventChannel, TracesTheRegistrationAtItsLevels) {
    const auto scenario = [this] {
        UnRegisterForEvents();
        fd = RegisterForEvents(nullptr);
        EXPECT_EQ(RegisterForEvents(nullptr), fd);
    };
    expectLevels(trace, scenario,
                 {{"UnRegisterForEvents: client unregistered for events", 2},
                  {"CloseEventChannel: Event Channel to ", 0},
                  {"OpenEventChannel: Event Channel to ", 2},
                  {"InitEventChannel: Event Channel (type=JSON) opened and initialized", 0},
                  {"RegisterForEvents: client registered for events on fd=", 2},
                  {"OpenEventChannel: WARNING: Event channel already exists on fd=", 0}});
}

TEST_F(EventChannel, TracesRegistrationsThatFailAtTheirLevels) {
    const auto scenario = [this] {
        agent.handleRegistration([](const AgentRequest&) { return AgentReply::none(); });
        EXPECT_EQ(RegisterForEvents(nullptr), -1);
        EXPECT_LT(initEventChannel(5, nullptr, nullptr), 0);
        const ClientOptions options(5);
        {
            const FailingAllocation failure(1);
            EXPECT_LT(initEventChannel(5, &options, nullptr), 0);
        }
        agent.stop();
        EXPECT_EQ(RegisterForEvents(nullptr), -1);
        EXPECT_LT(reOpenEventChannel(nullptr), 0);
        agent.start();
    };
    expectLevels(trace, scenario,
                 {{"InitEventChannel: Can't initialize Event Channel on fd=", 0},
                  {"InitEventChannel: ERROR: called with bad parameter", 0},
                  {"InitEventChannel: ERROR No memory available", 1},
                  {"No such file or directory --> retry (0)", 0},
                  {" failed after 600 retries --> bail out", 0},
                  {"ReOpenEventChannel: ERROR: Can't reopen Event Channel to ", 0}});
}

TEST_F(EventChannel, TracesReadingAtItsLevels) {
    const auto scenario = [this] {
        UnRegisterForEvents();
        ASSERT_GE(fd = RegisterForEvents(nullptr), 0);
        agent.pushEvent(kEvent);
        {
            const FailingCall failure(PlatformCall::Receive, EINTR);
            EXPECT_EQ(read(), fd);
        }
        agent.pushEvent(kEvent);
        {
            const FailingCall failure(PlatformCall::Receive, EIO, 2);
            EXPECT_GE(fd = read(), 0);
        }
        agent.push(AgentReply::raw(frame(kEvent)).cutTo(10));
        EXPECT_GE(fd = read(), 0);
        agent.push(AgentReply::raw(frame(kEvent)).withLength(0xFFFFFFFF));
        EXPECT_GE(fd = read(), 0);
        agent.closeConnections();
        EXPECT_EQ(read(), -1);
    };
    expectLevels(trace, scenario,
                 {{"GetEventJson: processing event on fd=", 2},
                  {" interrupted (errno=EINTR, inLength=0, ", 1},
                  {" failed (inLength=4, ", 1},
                  {" incomplete (inLength=10, ", 1},
                  {" failed: inLength invalid (inLength=10, ", 1},
                  {"GetEventJson: ERROR: No Memory: Event receiving on fd=", 1},
                  {" failed EOF (inLength=0, ", 1},
                  {"ReOpenEventChannel: Event Channel to ", 0},
                  {"GetEventJson: Event Channel reopened on ", 0}});
}

TEST_F(EventChannel, PrintsThatItIsLostWhateverTheLevel) {
    enable();
    trace.setLevel(0);
    agent.push(AgentReply::raw(frame(kEvent)).withLength(0xFFFFFFFF).thenClose(1ms));
    agent.later(500ms, [this] { agent.stop(); });
    clock.sleepFor(1s);
    EXPECT_EQ(GetEventJson(fd, event), -1);
    EXPECT_TRUE(trace.contains("GetEventJson: ERROR: Can't reopen Event Channel on "));
}

TEST_F(EventChannel, IsClosedWhenTheThreadThatRegistersIsCancelled) {
    SKIP_IF_THREAD_EXIT_IS_MISREAD();
    SKIP_IF_CANCELLATION_IS_MISREAD();
    const auto before = openDescriptors();
    std::promise<void> arrived;
    agent.handleRegistration([&](const AgentRequest&) {
        arrived.set_value();
        return AgentReply::registration().held();
    });
    PosixThread cancelled([] { static_cast<void>(RegisterForEvents(nullptr)); });
    arrived.get_future().wait();
    cancelled.cancel();
    EXPECT_TRUE(cancelled.join());
    agent.awaitOpenConnections(0);
    EXPECT_EQ(openDescriptors(), before);
    agent.handleRegistration(nullptr);
    enable();
    agent.pushEvent(kEvent);
    EXPECT_EQ(read(), fd);
    EXPECT_EQ(event.DataDWord(), 7u);
}

}  // namespace
}  // namespace varnock::test
