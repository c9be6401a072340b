#include "transport/client/EventThread.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

#include "tests/support/EveryAllocation.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FailingCall.h"
#include "tests/support/FakeClock.h"
#include "tests/support/PauselessClock.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"
#include "tests/support/TraceCapture.h"
#include "tests/transport/ClosedStream.h"
#include "tests/transport/TransportSupport.h"
#include "transport/SwitchClient.h"

namespace varnock::test {
namespace {

using namespace std::chrono_literals;

/// A client that records its events and runs a function for each.
class Client : public CSwitchClient {
  public:
    Client() : CSwitchClient("Watcher") { numbers_.reserve(1000); }
    ~Client() override { StopEventThread(); }

    void Event(SipJson& event) override {
        const std::function<void()> doing = note(event);
        if (doing) {
            doing();
        }
    }
    /// Sets the function, which runs from the next event on.
    void onEvent(std::function<void()> action) {
        const std::lock_guard lock(mutex_);
        action_ = std::move(action);
    }
    /// Waits for `count` events and returns the numbers of all.
    std::vector<unsigned int> events(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, 60s, [&] { return numbers_.size() >= count; });
        return numbers_;
    }
    bool hasSeen(unsigned int number) {
        const std::lock_guard lock(mutex_);
        return std::find(numbers_.begin(), numbers_.end(), number) != numbers_.end();
    }
    pthread_t thread() const { return thread_; }
    using CSwitchClient::EventFd;

  private:
    std::function<void()> note(const SipJson& event) {
        const std::lock_guard lock(mutex_);
        thread_ = pthread_self();
        numbers_.push_back(event.DataDWord());
        changed_.notify_all();
        return action_;
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<unsigned int> numbers_;
    std::function<void()> action_;
    pthread_t thread_{};
};

/// A one-time gate: open() releases all waiting threads.
class Gate {
  public:
    void open() {
        const std::lock_guard lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }
    void wait() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return open_; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = false;
};

/// Keeps waits from timing out until it is destroyed.
class StandStill final : FakeClock::Participant {
  public:
    explicit StandStill(FakeClock& clock) : clock_(clock) { clock_.join(*this); }
    ~StandStill() override { clock_.leave(*this); }

  private:
    Standing standing() override { return {State::Held, {}}; }
    void reach(std::chrono::nanoseconds) override {}
    FakeClock& clock_;
};

class EventThread : public testing::Test {
  protected:
    ~EventThread() override {
        client.reset();
        UnRegisterForEvents();
    }

    static std::string event(unsigned int number) {
        return frame(AgentRecord{
            .opcode = 0x0B11, .ext = 0x1, .cabinet = 2, .status = 0, .data = numberData(number)});
    }
    void push(unsigned int number) { agent.push(AgentReply::raw(event(number))); }
    /// Sends both in one write, so that the second follows the first whatever the first causes.
    void pushTogether(unsigned int first, unsigned int second) {
        agent.push(AgentReply::raw(event(first) + event(second)));
    }
    /// Waits for a trace text of the event thread.
    void await(const std::string& text) const {
        for (int i = 0; i < 60'000 && !trace.contains(text); ++i) {
            ::poll(nullptr, 0, 1);
        }
        EXPECT_TRUE(trace.contains(text)) << text << "\n" << trace.text();
    }
    void awaitExit() const { await("Thread_EventMain: Event thread exited"); }

    FakeClock clock;
    ScriptedAgent agent{clock};
    TraceCapture trace;
    std::unique_ptr<Client> client = std::make_unique<Client>();
};

using Numbers = std::vector<unsigned int>;

TEST_F(EventThread, DeliversEventsOnAThreadOfItsOwn) {
    ASSERT_TRUE(client->EnableEvents(1, 0));
    push(1);
    push(2);
    push(3);
    EXPECT_EQ(client->events(3), (Numbers{1, 2, 3}));
    EXPECT_FALSE(pthread_equal(client->thread(), pthread_self()));
    EXPECT_TRUE(client->EnableEvents(0, 0));
    agent.awaitOpenConnections(0);
    EXPECT_EQ(trace.count("EVENT OC=0B11, OE=0001, Cab=02, OId=0000, Status=0000, HasReplyData=1"),
              3u);
}

TEST_F(EventThread, TracesHowItIsEnabledAndDisabled) {
    ASSERT_TRUE(client->EnableEvents(1, 0));
    const std::string fd = std::to_string(client->EventFd());
    await("Thread_EventMain: Event thread started");
    const std::string enabled = trace.text();
    EXPECT_THAT(enabled,
                testing::ContainsRegex(
                    "EnableEvents: we are going to enable events for this process \\.\\.\\."
                    "(.|\n)*EnableEvents: pipe \\[[0-9]+,[0-9]+\\] for termination-thread "
                    "created"
                    "(.|\n)*EnableEvents: thread for events registered on "
                    "m_EventKolmFd=" +
                    fd +
                    "(.|\n)*CThread::SetThreadName: ThreadId = 0x[0-9A-F]+, DebugName = "
                    "Watcher, Qualifier = \\(Thread_EventMain\\)"
                    "(.|\n)*EnableEvents: thread for events \\(Modulename=Watcher, "
                    "Details=Thread_EventMain started"
                    "(.|\n)*EnableEvents: events enabled for this process \\.\\.\\."));
    trace.clear();
    EXPECT_TRUE(client->EnableEvents(0, 0));
    EXPECT_THAT(trace.text(),
                testing::ContainsRegex(
                    "EnableEvents: we are going to disable events for this process \\.\\.\\."
                    "(.|\n)*WakeupThread_EventMain: wakeup WakeupThread_EventMain for termination "
                    "on pipe\\[[0-9]+,[0-9]+\\]"
                    "(.|\n)*UnRegisterForEvents: client unregistered for events"
                    "(.|\n)*EnableEvents: events disabled for this process \\.\\.\\."));
    EXPECT_EQ(trace.count("Thread_EventMain: somebody signaled terminate -> bail out"), 1u);
    EXPECT_EQ(trace.count("Thread_EventMain: Event thread exited"), 1u);
    EXPECT_EQ(client->EventFd(), -1);
    EXPECT_EQ(clock.elapsed(), 30ms);  // the thread ended within the first step
}

TEST_F(EventThread, TakesASecondEnablingOrDisablingForDone) {
    EXPECT_TRUE(client->EnableEvents(0, 0));
    EXPECT_TRUE(trace.contains(
        "EnableEvents: WARNING: Events (and the corresponding infrastructure) for this process has "
        "been already disabled -> we rely on this and do nothing!"));
    EXPECT_TRUE(client->EnableEvents(1, 0));
    EXPECT_TRUE(client->EnableEvents(-7, 0));
    EXPECT_TRUE(trace.contains(
        "EnableEvents: WARNING: Events (and the corresponding infrastructure) for this process has "
        "been already enabled and started -> we rely on this and do nothing!"));
    EXPECT_EQ(agent.registrations().size(), 1u);
    EXPECT_TRUE(client->EnableEvents(0, 0));
    EXPECT_TRUE(client->EnableEvents(0, 0));
    EXPECT_EQ(trace.count("has been already disabled"), 2u);
}

TEST_F(EventThread, CanBeEnabledAgainAndAgain) {
    const auto before = openDescriptors();
    for (unsigned int round = 1; round <= 5; ++round) {
        ASSERT_TRUE(client->EnableEvents(1, 0));
        push(round);
        EXPECT_EQ(client->events(round).back(), round);
        ASSERT_TRUE(client->EnableEvents(0, 0));
        agent.awaitOpenConnections(0);
        EXPECT_EQ(openDescriptors(), before);
    }
}

TEST_F(EventThread, IsStoppedByDisablingRightAfterEnabling) {
    for (int round = 0; round < 20; ++round) {
        ASSERT_TRUE(client->EnableEvents(1, 0));
        ASSERT_TRUE(client->EnableEvents(0, 0));
    }
    EXPECT_EQ(trace.count("Thread_EventMain: Event thread exited"), 20u);
    agent.awaitOpenConnections(0);
    EXPECT_EQ(clock.elapsed(), 600ms);
}

TEST_F(EventThread, EndsWithTheClient) {
    const auto before = openDescriptors();
    ASSERT_TRUE(client->EnableEvents(1, 0));
    push(1);
    client->events(1);
    client.reset();
    EXPECT_EQ(trace.count("Thread_EventMain: Event thread exited"), 1u);
    UnRegisterForEvents();  // the registration was still there
    agent.awaitOpenConnections(0);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(EventThread, NeedsAPipe) {
    const FailingCall failure(PlatformCall::Pipe, EMFILE);
    EXPECT_FALSE(client->EnableEvents(1, 0));
    EXPECT_TRUE(trace.contains("EnableEvents: WARNING: cannot create pipe for termination-thread"));
    EXPECT_TRUE(agent.transcript().empty());
    EXPECT_TRUE(client->EnableEvents(1, 0));
}

TEST_F(EventThread, KeepsItsPipeAwayFromTheStandardStreams) {
    agent.stop();  // otherwise accept() could get the free descriptor number
    {
        const ClosedStream input(STDIN_FILENO);
        EXPECT_FALSE(client->EnableEvents(1, 0));
    }
    EXPECT_EQ(trace.count("EnableEvents: pipe ["), 1u);
    EXPECT_EQ(trace.count("EnableEvents: pipe [0,"), 0u);
}

TEST_F(EventThread, NeedsARegistration) {
    const auto before = openDescriptors();
    agent.handleRegistration([](const AgentRequest&) { return AgentReply::none().thenClose(1ms); });
    EXPECT_FALSE(client->EnableEvents(1, 0));
    EXPECT_TRUE(trace.contains("EnableEvents: WARNING: cannot register thread for events"));
    EXPECT_EQ(client->EventFd(), -1);
    agent.awaitOpenConnections(0);
    EXPECT_EQ(openDescriptors(), before);
    agent.handleRegistration(nullptr);
    EXPECT_TRUE(client->EnableEvents(1, 0));
}

TEST_F(EventThread, NeedsAThread) {
    const auto before = openDescriptors();
    {
        const FailingCall failure(PlatformCall::ThreadCreate, EAGAIN);
        EXPECT_FALSE(client->EnableEvents(1, 0));
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_TRUE(
        trace.contains("EnableEvents: WARNING: cannot start thread for events "
                       "(Modulename=Watcher, Details=Thread_EventMain started"));
    EXPECT_EQ(client->EventFd(), -1);
    agent.awaitOpenConnections(0);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_TRUE(client->EnableEvents(1, 0));
    push(1);
    EXPECT_EQ(client->events(1), Numbers{1});
}

TEST_F(EventThread, FollowsAnAgentThatRestarts) {
    ASSERT_TRUE(client->EnableEvents(1, 0));
    push(1);
    client->events(1);
    agent.stop();
    agent.start();
    push(2);
    EXPECT_EQ(client->events(2), (Numbers{1, 2}));
    EXPECT_TRUE(trace.contains("failed EOF (inLength=0, InMax=4) --> ignore this event!"));
    EXPECT_THAT(trace.text(),
                testing::ContainsRegex("Thread_EventMain: ## WARNING ##: Event channel has been "
                                       "reopened FdOld=[0-9]+, FdNew=[0-9]+ --> accept it"));
    EXPECT_EQ(trace.count("EVENT OC="), 2u);
    EXPECT_EQ(agent.registrations().size(), 2u);
}

TEST_F(EventThread, WaitsForAnAgentThatIsAway) {
    ASSERT_TRUE(client->EnableEvents(1, 0));
    {
        // The thread tries to reconnect as soon as the agent stops, and each try moves the time.
        const StandStill held(clock);
        agent.stop();
        agent.later(60s, [this] { agent.start(); });
    }
    push(1);
    EXPECT_EQ(client->events(1), Numbers{1});
    EXPECT_GE(clock.elapsed(), 60s);
}

TEST_F(EventThread, FollowsAChannelThatHadToBeReopened) {
    ASSERT_TRUE(client->EnableEvents(1, 0));
    agent.push(AgentReply::json("never arrives").cutTo(6));
    await("Event channel has been reopened");
    push(1);
    EXPECT_EQ(client->events(1), Numbers{1});
    EXPECT_EQ(clock.elapsed(), 11s);
}

TEST_F(EventThread, EndsWhenTheAgentDoesNotComeBack) {
    ASSERT_TRUE(client->EnableEvents(1, 0));
    agent.stop();
    awaitExit();
    EXPECT_TRUE(trace.contains("Thread_EventMain: ## ERROR ##: GetEventJson failed --> bail out"));
    const auto before = clock.elapsed();
    EXPECT_EQ(before, 600s);
    EXPECT_TRUE(client->EnableEvents(0, 0));
    EXPECT_EQ(clock.elapsed() - before, 30ms);
    agent.start();
    EXPECT_TRUE(client->EnableEvents(1, 0));
    push(1);
    EXPECT_EQ(client->events(1), Numbers{1});
}

TEST_F(EventThread, EndsWhenItsChannelIsTakenAway) {
    ASSERT_TRUE(client->EnableEvents(1, 0));
    UnRegisterForEvents();
    push(1);
    // The new channel may get the old descriptor number. The thread may then read the reply to the
    // registration as an event. In both cases disabling must end the thread.
    static_cast<void>(RegisterForEvents(nullptr));
    EXPECT_TRUE(client->EnableEvents(0, 0));
    awaitExit();
}

TEST_F(EventThread, CanBeDisabledWhileItReconnects) {
    const StandStill time(clock);
    ASSERT_TRUE(client->EnableEvents(1, 0));
    agent.stop();
    await("CloseEventChannel: Event Channel to ");
    EXPECT_TRUE(client->EnableEvents(0, 0));
    EXPECT_EQ(trace.count("Thread_EventMain: Event thread exited"), 1u);
    EXPECT_EQ(clock.elapsed(), 30ms);
}

TEST_F(EventThread, CanBeDisabledWhileItRegistersAgain) {
    ASSERT_TRUE(client->EnableEvents(1, 0));
    agent.handleRegistration([](const AgentRequest&) { return AgentReply::registration().held(); });
    agent.closeConnections();
    await("OpenEventChannel: Event Channel to ");
    while (agent.registrations().size() < 2) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(client->EnableEvents(0, 0));
    EXPECT_EQ(trace.count("Thread_EventMain: Event thread exited"), 1u);
    agent.awaitOpenConnections(0);
}

TEST_F(EventThread, CanBeDisabledInTheMiddleOfAFrame) {
    const StandStill time(clock);
    ASSERT_TRUE(client->EnableEvents(1, 0));
    agent.push(AgentReply::json("never arrives").cutTo(6));
    await("incomplete (inLength=6");
    EXPECT_TRUE(client->EnableEvents(0, 0));
    EXPECT_EQ(trace.count("Thread_EventMain: Event thread exited"), 1u);
    EXPECT_EQ(agent.registrations().size(), 1u);
}

TEST_F(EventThread, RatherEndsThanWaitsAgainAfterASignal) {
    ASSERT_TRUE(client->EnableEvents(1, 0));
    client->onEvent([this] { clock.failNextPoll(EINTR); });
    push(1);
    awaitExit();
    EXPECT_TRUE(trace.contains("Thread_EventMain: somebody signaled terminate -> bail out"));
}

TEST_F(EventThread, GoesOnAfterAWaitThatFoundNothing) {
    ASSERT_TRUE(client->EnableEvents(1, 0));
    client->onEvent([this] { clock.failNextPoll(0); });
    push(1);
    await("Thread_EventMain: ## WARNING ##: select returned 0 (maybe timeout) --> continue");
    client->onEvent(nullptr);
    push(2);
    EXPECT_EQ(client->events(2), (Numbers{1, 2}));
}

TEST_F(EventThread, OutlivesAListenerThatThrows) {
    ASSERT_TRUE(client->EnableEvents(1, 0));
    client->onEvent([] { throw std::runtime_error("no more paper"); });
    push(1);
    client->events(1);
    await("has thrown (no more paper) --> ignore it");
    client->onEvent([] { throw 42; });
    push(2);
    client->events(2);
    await("has thrown (no standard exception) --> ignore it");
    client->onEvent(nullptr);
    push(3);
    EXPECT_EQ(client->events(3), (Numbers{1, 2, 3}));
}

TEST_F(EventThread, OutlivesAListenerThatEndsTheThread) {
    SKIP_IF_THREAD_EXIT_IS_MISREAD();
    ASSERT_TRUE(client->EnableEvents(1, 0));
    client->onEvent([] { pthread_exit(nullptr); });
    push(1);
    awaitExit();
    EXPECT_TRUE(client->EnableEvents(0, 0));
    EXPECT_EQ(clock.elapsed(), 30ms);
    client->onEvent(nullptr);
    EXPECT_TRUE(client->EnableEvents(1, 0));
    push(2);
    EXPECT_EQ(client->events(2), (Numbers{1, 2}));
}

TEST(EventThreadWithoutMemory, GoesOnWithTheNextEvent) {
    ScriptedAgent agent;
    TraceCapture trace;
    Client client;
    ASSERT_TRUE(client.EnableEvents(1, 0));
    std::optional<FakeClock> clock;  // created when the agent needs no time any more
    std::optional<FailingAllocation> failure;
    client.onEvent([&] {
        clock.emplace();
        failure.emplace(2);  // the next allocation of this thread but one: the frame has memory
    });
    agent.pushEvent({.opcode = 1, .status = 0, .data = "1"});
    client.events(1);
    client.onEvent(nullptr);
    agent.pushEvent({.opcode = 1, .status = 0, .data = numberInDocument(2)});
    while (!trace.contains("has thrown (std::bad_alloc) --> ignore it")) {
        ::poll(nullptr, 0, 1);
    }
    agent.pushEvent({.opcode = 1, .status = 0, .data = numberInDocument(3)});
    EXPECT_EQ(client.events(2), (Numbers{1, 3}));
    EXPECT_EQ(clock->expiredPolls(), std::vector<std::chrono::milliseconds>{1s});
    EXPECT_TRUE(client.EnableEvents(0, 0));
    UnRegisterForEvents();
}

/// Events on a client whose memory fails, with pauses that take no time.
class EventThreadMemory : public testing::Test {
  protected:
    ~EventThreadMemory() override {
        client.reset();
        UnRegisterForEvents();
    }

    /// Pushes an event until it has arrived: a connection that is just replaced loses it.
    void expectEvent(unsigned int number) {
        for (int i = 0; i < 600 && !client->hasSeen(number); ++i) {
            agent.pushEvent({.opcode = 1, .status = 0, .data = numberInDocument(number)});
            for (int wait = 0; wait < 100 && !client->hasSeen(number); ++wait) {
                ::poll(nullptr, 0, 1);
            }
        }
        EXPECT_TRUE(client->hasSeen(number)) << number;
    }
    /// Makes an allocation of the event thread fail, from the end of an event on.
    void failOnEventThread(std::optional<FailingMalloc>& failure, const FailingCallNumber& call) {
        Gate armed;
        client->onEvent([&] {
            if (!failure) {
                failure.emplace(call.n, call.times);
                armed.open();
            }
        });
        expectEvent(++last);
        armed.wait();
        client->onEvent(nullptr);
    }
    static void awaitFailureOr(const FailingMalloc& failure, const std::function<bool()>& end) {
        for (int i = 0; i < 60'000 && !failure.happened() && !end(); ++i) {
            ::poll(nullptr, 0, 1);
        }
    }

    ScriptedAgent agent;
    TraceCapture trace{1};
    PauselessClock clock;
    std::unique_ptr<Client> client = std::make_unique<Client>();
    unsigned int last = 0;
};

TEST_F(EventThreadMemory, EnablingSurvivesItsLack) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const std::size_t failures = forEveryAllocation([&](const FailingCallNumber& call) {
        client = std::make_unique<Client>();
        FailingMalloc failure(call.n, call.times, FailingMalloc::Threads::thisAndNewOnes);
        const bool enabled = client->EnableEvents(1, 0);
        failure.end();
        EXPECT_TRUE(enabled || failure.happened());
        if (!enabled) {
            EXPECT_EQ(client->EventFd(), -1);
            agent.awaitOpenConnections(0);
            EXPECT_TRUE(client->EnableEvents(1, 0));
        }
        expectEvent(1);
        EXPECT_TRUE(client->EnableEvents(0, 0));
        client.reset();
        EXPECT_EQ(failure.blocksLeft(), 0u);
        return failure.happened();
    });
    EXPECT_GT(failures, 10u);
}

TEST_F(EventThreadMemory, DisablingSurvivesItsLack) {
    SKIP_IF_MALLOC_IS_REPLACED();
    forEveryAllocation([&](const FailingCallNumber& call) {
        EXPECT_TRUE(client->EnableEvents(1, 0));
        expectEvent(++last);
        FailingMalloc failure(call.n, call.times, FailingMalloc::Threads::thisAndNewOnes);
        EXPECT_TRUE(client->EnableEvents(0, 0));
        failure.end();
        EXPECT_EQ(client->EventFd(), -1);
        agent.awaitOpenConnections(0);
        EXPECT_EQ(failure.blocksLeft(), 0u);
        return failure.happened();
    });
}

TEST_F(EventThreadMemory, ReadingAnEventSurvivesItsLack) {
    SKIP_IF_MALLOC_IS_REPLACED();
    ASSERT_TRUE(client->EnableEvents(1, 0));
    const std::size_t failures = forEveryAllocation([&](const FailingCallNumber& call) {
        std::optional<FailingMalloc> failure;
        failOnEventThread(failure, call);
        agent.pushEvent({.opcode = 1, .status = 0, .data = numberInDocument(++last)});
        awaitFailureOr(*failure, [&] { return client->hasSeen(last); });
        failure->end();
        expectEvent(++last);
        EXPECT_LE(failure->blocksLeft(), 1u) << "the thread keeps one for its next record";
        return failure->happened();
    });
    EXPECT_GT(failures, 5u);
    EXPECT_TRUE(client->EnableEvents(0, 0));
}

TEST_F(EventThreadMemory, ReopeningTheChannelSurvivesItsLack) {
    SKIP_IF_MALLOC_IS_REPLACED();
    ASSERT_TRUE(client->EnableEvents(1, 0));
    const std::size_t failures = forEveryAllocation([&](const FailingCallNumber& call) {
        std::optional<FailingMalloc> failure;
        failOnEventThread(failure, call);
        trace.clear();
        agent.closeConnections();
        awaitFailureOr(*failure, [&] { return trace.contains("--> accept it"); });
        failure->end();
        expectEvent(++last);
        EXPECT_LE(failure->blocksLeft(), 1u) << "the thread keeps one for its next record";
        return failure->happened();
    });
    EXPECT_GT(failures, 10u);
    EXPECT_TRUE(client->EnableEvents(0, 0));
}

TEST_F(EventThread, IsWaitedForFiveSeconds) {
    Gate gate;
    ASSERT_TRUE(client->EnableEvents(1, 0));
    client->onEvent([&] { gate.wait(); });
    push(1);
    client->events(1);
    clock.expireWaits();
    EXPECT_TRUE(client->EnableEvents(0, 0));
    EXPECT_EQ(clock.elapsed(), 5030ms);
    agent.awaitOpenConnections(0);
    EXPECT_EQ(trace.count("Event thread exited"), 0u);
    // The thread is late but uses nothing any more. Enabling again waits for it.
    push(2);
    gate.open();
    client->onEvent(nullptr);
    EXPECT_TRUE(client->EnableEvents(1, 0));
    EXPECT_EQ(trace.count("Event thread exited"), 1u);
    EXPECT_EQ(client->events(2), (Numbers{1, 2}));
}

TEST_F(EventThread, IsWaitedForNoLongerIfTheCalendarClockIsSetBack) {
    Gate gate;
    ASSERT_TRUE(client->EnableEvents(1, 0));
    client->onEvent([&] { gate.wait(); });
    push(1);
    client->events(1);
    std::atomic<bool> isDisabled = false;
    std::thread disabling([&] {
        EXPECT_TRUE(client->EnableEvents(0, 0));
        isDisabled = true;
    });
    while (!isDisabled && clock.elapsed() < 60s) {
        clock.jump(-3600s);
        clock.advance(10ms);
        ::poll(nullptr, 0, 1);
    }
    EXPECT_TRUE(isDisabled);
    clock.expireWaits();
    disabling.join();
    gate.open();
    client.reset();  // the event thread has left the gate
}

TEST_F(EventThread, MayDisableWhileAnotherThreadWaitsForItToEnableAnew) {
    Gate gate;
    ASSERT_TRUE(client->EnableEvents(1, 0));
    client->onEvent([&] {
        gate.wait();
        EXPECT_TRUE(client->EnableEvents(0, 0));
    });
    push(1);
    client->events(1);
    clock.expireWaits();
    EXPECT_TRUE(client->EnableEvents(0, 0));
    client->onEvent(nullptr);
    trace.clear();
    std::thread enabler([this] { EXPECT_TRUE(client->EnableEvents(1, 0)); });
    await("CThread::Kill: Try to join a joinable Thread");
    gate.open();
    enabler.join();
    push(2);
    EXPECT_EQ(client->events(2), (Numbers{1, 2}));
}

TEST_F(EventThread, MayDisableWhileAnotherThreadDoes) {
    Gate gate;
    ASSERT_TRUE(client->EnableEvents(1, 0));
    client->onEvent([&] {
        gate.wait();
        EXPECT_TRUE(client->EnableEvents(0, 0));
    });
    push(1);
    client->events(1);
    std::thread disabler([this] { EXPECT_TRUE(client->EnableEvents(0, 0)); });
    await("WakeupThread_EventMain: wakeup");
    clock.expireWaits();  // the other thread waits for this one, and this one for the lock
    gate.open();
    disabler.join();
    awaitExit();
    EXPECT_EQ(trace.count("already disabled"), 1u);
}

TEST_F(EventThread, MayDisableWhileItsClientIsDestroyed) {
    Gate gate;
    Client* const watched = client.get();
    ASSERT_TRUE(client->EnableEvents(1, 0));
    client->onEvent([&] {
        gate.wait();
        EXPECT_TRUE(watched->EnableEvents(0, 0));
    });
    push(1);
    client->events(1);
    std::thread destroyer([this] { client.reset(); });
    await("CThread::Kill: Try to join a joinable Thread");
    gate.open();
    destroyer.join();
    EXPECT_EQ(trace.count("Event thread exited"), 1u);
}

TEST_F(EventThread, IsWaitedForByTheDestructorHoweverLong) {
    Gate gate;
    ASSERT_TRUE(client->EnableEvents(1, 0));
    client->onEvent([&] { gate.wait(); });
    push(1);
    client->events(1);
    std::thread destroyer([this] { client.reset(); });
    await("WakeupThread_EventMain: wakeup");
    gate.open();
    destroyer.join();
    EXPECT_EQ(trace.count("Event thread exited"), 1u);
}

TEST_F(EventThread, CanBeDisabledFromInsideAnEvent) {
    ASSERT_TRUE(client->EnableEvents(1, 0));
    client->onEvent([this] { EXPECT_TRUE(client->EnableEvents(0, 0)); });
    pushTogether(1, 2);
    awaitExit();
    EXPECT_EQ(clock.elapsed(), 30ms);
    agent.awaitOpenConnections(0);
    client->onEvent(nullptr);
    EXPECT_TRUE(client->EnableEvents(1, 0));
    push(3);
    EXPECT_EQ(client->events(2), (Numbers{1, 3}));
}

TEST_F(EventThread, CanBeEnabledAnewFromInsideAnEvent) {
    ASSERT_TRUE(client->EnableEvents(1, 0));
    client->onEvent([this] {
        client->onEvent(nullptr);
        EXPECT_TRUE(client->EnableEvents(0, 0));
        EXPECT_TRUE(client->EnableEvents(1, 0));
    });
    push(1);
    awaitExit();
    push(2);
    EXPECT_EQ(client->events(2), (Numbers{1, 2}));
    EXPECT_TRUE(client->EnableEvents(0, 0));
    EXPECT_EQ(trace.count("Event thread exited"), 2u);
}

TEST_F(EventThread, MayDestroyItsClientFromInsideAnEvent) {
    ASSERT_TRUE(client->EnableEvents(1, 0));
    Gate destroyed;
    client->onEvent([&] {
        client.reset();
        destroyed.open();
    });
    push(1);
    destroyed.wait();
    awaitExit();
    EXPECT_EQ(client, nullptr);
}

TEST_F(EventThread, DoesNotTakeTheHostsSignals) {
    sigset_t blocked;
    sigemptyset(&blocked);
    ASSERT_TRUE(client->EnableEvents(1, 0));
    client->onEvent([&] { pthread_sigmask(SIG_SETMASK, nullptr, &blocked); });
    push(1);
    client->events(1);
    EXPECT_TRUE(client->EnableEvents(0, 0));
    for (const int asynchronous : {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGCHLD, SIGALRM}) {
        EXPECT_EQ(sigismember(&blocked, asynchronous), 1);
    }
    EXPECT_EQ(sigismember(&blocked, SIGSEGV), 0);
}

TEST_F(EventThread, IsLeftAloneByAForkedChild) {
    SKIP_IF_FORKED_THREADS_ARE_LOST();
    ASSERT_TRUE(client->EnableEvents(1, 0));
    const pid_t child = fork();
    if (child == 0) {
        Clock::replace(nullptr);  // the child does not have the agent's thread
        client->EnableEvents(0, 0);
        client.reset();
        _exit(0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    push(1);
    EXPECT_EQ(client->events(1), Numbers{1});
    EXPECT_EQ(trace.count("Event thread exited"), 0u);
}

TEST_F(EventThread, IsThereForAForkedChildToo) {
    SKIP_IF_FORKED_THREADS_ARE_LOST();
    ASSERT_TRUE(client->EnableEvents(1, 0));
    const pid_t child = fork();
    if (child == 0) {
        Clock::replace(nullptr);
        const bool enabled = client->EnableEvents(1, 0);
        const bool delivered = client->events(1) == Numbers{9};
        const bool disabled = client->EnableEvents(0, 0);
        _exit(enabled && delivered && disabled ? 0 : 1);
    }
    while (agent.registrations().size() < 2) {
        std::this_thread::yield();
    }
    push(9);  // goes to the newest connection
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(EventThread, ServesAnyListenerAndEndsWithItsObject) {
    const auto before = openDescriptors();
    Gate called;
    unsigned int number = 0;
    {
        varnock::EventThread thread([&](SipJson& event) {
            number = event.DataDWord();
            called.open();
        });
        thread.setName("Listener");
        ASSERT_TRUE(thread.enable(true));
        EXPECT_GE(thread.eventFd(), 0);
        push(5);
        called.wait();
    }
    EXPECT_EQ(number, 5u);
    EXPECT_TRUE(trace.contains("(Modulename=Listener, Details=Thread_EventMain started"));
    EXPECT_EQ(trace.count("Thread_EventMain: Event thread exited"), 1u);
    UnRegisterForEvents();  // the registration was still there
    agent.awaitOpenConnections(0);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(EventThread, SaysSoWhenItIsStartedWithoutAClient) {
    EXPECT_EQ(CSwitchClient::Thread_EventMain(nullptr), nullptr);
    EXPECT_TRUE(trace.contains(
        "Thread_EventMain: ## ERROR ## internal error on starting pClassContext = (nil)"));
    EXPECT_TRUE(trace.contains("THREAD_RETURN: ## INFO: Thread = 0x"));
}

TEST_F(EventThread, EndsAtOnceWithoutAPipe) {
    client->EventMain();
    EXPECT_EQ(trace.messages(),
              (std::vector<std::string>{"Thread_EventMain: Event thread started",
                                        "Thread_EventMain: somebody signaled terminate -> bail out",
                                        "Thread_EventMain: Event thread exited"}));
}

TEST_F(EventThread, NeitherWritesNorClosesAPipeThatWasNotMade) {
    client->WakeupThread_EventMain();
    EXPECT_TRUE(trace.contains(
        "WakeupThread_EventMain: wakeup WakeupThread_EventMain for termination on pipe[-1,0]"));
    client->CloseEventTerminatePipe();
    client.reset();
    EXPECT_GE(fcntl(0, F_GETFD), 0);  // the host's standard input is still open
}

}  // namespace
}  // namespace varnock::test
