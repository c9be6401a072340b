#include "transport/channel/RequestChannel.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "runtime/files/FileDescriptor.h"
#include "tests/support/EveryAllocation.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FailingCall.h"
#include "tests/support/FakeClock.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"
#include "tests/support/TraceCapture.h"
#include "tests/transport/TransportSupport.h"
#include "tests/transport/channel/ThreadText.h"
#include "transport/AgentSocket.h"
#include "transport/channel/AgentDevice.h"

namespace varnock::test {
namespace {

using namespace std::chrono_literals;

/// An agent in virtual time and requests of this thread.
class ChannelToAgent : public testing::Test {
  protected:
    ~ChannelToAgent() override { RagdClientDestroyTSD(); }

    /// Sends a command and returns the result; the reply is then in `frame_`.
    int request(unsigned int opcode = 1, unsigned int timeout = 0) {
        frame_ = Frame(AgentRecord{.opcode = opcode});
        return SendRequest(frame_.data(), frame_.size(), timeout);
    }
    bool succeeds(unsigned int opcode = 1) {
        return request(opcode) > 0 && frame_.text() == toJson({.opcode = opcode, .status = 0});
    }
    void expectOk(unsigned int opcode = 1) { agent.expect({.opcode = opcode}); }

    FakeClock clock;
    ScriptedAgent agent{clock};
    TraceCapture trace;
    Frame frame_{""};
};

TEST_F(ChannelToAgent, RegistersBeforeTheFirstRequest) {
    expectOk(1);
    expectOk(2);
    EXPECT_TRUE(succeeds(1));
    EXPECT_TRUE(succeeds(2));
    ASSERT_EQ(agent.transcript().size(), 3u);
    const AgentRequest registration = agent.transcript()[0];
    EXPECT_EQ(registration.opcode, 0xFFA0u);
    EXPECT_EQ(registration.ext, 0x1100u);
    EXPECT_EQ(registration.object, 0u);
    EXPECT_EQ(registration.cabinet, 0u);
    EXPECT_EQ(registration.status, std::nullopt);
    EXPECT_FALSE(registration.onEvents);
    const int fd = getThreadSpecificDataJson()->fd;
    std::vector<unsigned char> options(224);
    memcpy(options.data(), "Nobody", 6);
    memcpy(options.data() + 68, &fd, sizeof fd);
    EXPECT_EQ(registration.bytes(), options);
    EXPECT_EQ(agent.openConnections(), 1);
    EXPECT_EQ(clock.elapsed(), 0s);
}

TEST_F(ChannelToAgent, TracesHowItOpens) {
    expectOk();
    ASSERT_TRUE(succeeds());
    const std::string fd = std::to_string(getThreadSpecificDataJson()->fd);
    EXPECT_TRUE(trace.contains(
        "OpenRequestChannel: Request Channel to " + agent.requestSocket() + " (fd=" + fd +
        ", Timeout=30000, Retries=10 msec) opened (thrId=" + threadText() + ")"));
    EXPECT_EQ(trace.count("InitRequestChannel: Request Channel (type=JSON) opened and initialized "
                          "(fd=" +
                          fd + ", ragdfd="),
              1u);
}

TEST_F(ChannelToAgent, PrintsOnlyTheRegistrationAtLevelZero) {
    trace.setLevel(0);
    expectOk();
    ASSERT_TRUE(succeeds());
    EXPECT_EQ(trace.messages().size(), 1u) << trace.text();
    EXPECT_TRUE(trace.contains("InitRequestChannel: Request Channel (type=JSON) opened and"));
}

TEST_F(ChannelToAgent, TracesAtItsLevels) {
    const auto scenario = [this] {
        RagdClientDestroyTSD();
        agent.handleRegistration([](const AgentRequest&) { return AgentReply::none(); });
        EXPECT_EQ(request(), kNoChannel);
        agent.handleRegistration(nullptr);
        expectOk();
        EXPECT_TRUE(succeeds());
        RequestChannel other;
        EXPECT_FALSE(initRequestChannel(other, nullptr, 1000));
        const ClientOptions options(5);
        {
            const FailingAllocation failure(1);
            EXPECT_FALSE(initRequestChannel(other, &options, 1000));
        }
    };
    expectLevels(trace, scenario,
                 {{"RagdClientDestroyTSD: pthrdata = ", 0},
                  {"OpenRequestChannel: Request Channel to ", 1},
                  {"InitRequestChannel: Can't initialize Request Channel on fd=", 0},
                  {"InitRequestChannel: ERROR: called with bad parameter pClientOptions = NULL", 0},
                  {"InitRequestChannel: ERROR No memory available", 1},
                  {"InitRequestChannel: Request Channel (type=JSON) opened and initialized", 0},
                  {"SendRequest: Request Channel on fd=", 0},
                  {"CloseRequestChannel: Request Channel to ", 0},
                  {"SendRequest: sending request failed (request channel not available)", 0}});
}

TEST_F(ChannelToAgent, TracesItsEndAtLevelOne) {
    const auto scenario = [this] {
        expectOk();
        EXPECT_TRUE(succeeds());
        RagdClientDestroyTSD();
    };
    expectLevels(trace, scenario,
                 {{"DestroyThreadSpecificDataJson: pthrdata = ", 1},
                  {"DestroyThreadSpecificDataJson: FdRequest = ", 1}});
}

TEST_F(ChannelToAgent, PrintsThatTheAgentIsAbsentWhateverTheLevel) {
    trace.setLevel(0);
    agent.stop();
    EXPECT_EQ(request(), kNoChannel);
    EXPECT_EQ(trace.count("OpenRequestChannel: Connect to "), 60u);
    EXPECT_EQ(trace.count("OpenRequestChannel: ERROR: cannot open Request Channel to "), 1u);
}

TEST_F(ChannelToAgent, PrintsThatThereIsNoMemoryForItWhateverTheLevel) {
    expectOk();
    ASSERT_TRUE(succeeds());
    RagdClientDestroyTSD();
    trace.setLevel(0);
    Frame frame(AgentRecord{.opcode = 1});
    const FailingAllocation failure(1);
    EXPECT_EQ(SendRequest(frame.data(), frame.size(), 0), kNoChannel);
    EXPECT_TRUE(trace.contains(
        "GetThreadSpecificDataJson: ERROR: Can't alloc memory for specific data (thrId="));
    EXPECT_TRUE(trace.contains("OpenRequestChannel: ERROR: no thread specific data available"));
}

TEST_F(ChannelToAgent, ReportsTheAgentsDescriptor) {
    std::vector<unsigned char> block(72);
    block[68] = 77;
    agent.handleRegistration([&](const AgentRequest&) { return AgentReply::ok(bytesData(block)); });
    expectOk();
    EXPECT_TRUE(succeeds());
    EXPECT_TRUE(trace.contains("ragdfd=77)"));
}

TEST_F(ChannelToAgent, ReadsAShortOptionsBlockAsIfZerosFollowed) {
    agent.handleRegistration([](const AgentRequest&) {
        return AgentReply::status(99, bytesData(std::vector<unsigned char>(69, 1)));
    });
    expectOk();
    EXPECT_TRUE(succeeds());  // whatever the status of the registration is
    EXPECT_TRUE(trace.contains("ragdfd=1)"));
}

TEST_F(ChannelToAgent, TakesAnyReplyToTheRegistration) {
    for (const char* text : {"", "[", "{\"SIP\":5}", "no JSON"}) {
        agent.handleRegistration([&](const AgentRequest&) { return AgentReply::json(text); });
        expectOk();
        EXPECT_TRUE(succeeds()) << text;
        RagdClientDestroyTSD();
    }
    EXPECT_EQ(trace.count("ragdfd=0)"), 4u);
}

TEST_F(ChannelToAgent, UsesTheNameThatWasSet) {
    const auto registeredName = [this] {
        RagdClientDestroyTSD();
        expectOk();
        EXPECT_TRUE(succeeds());
        const auto block = agent.registrations().back().bytes();
        return std::string(block.begin(), block.begin() + 64);
    };
    const auto padded = [](std::string name) {
        name.resize(64);
        return name;
    };
    SetClientName("CIM_Provider");
    EXPECT_EQ(registeredName(), padded("CIM_Provider"));
    SetClientName(std::string(100, 'n').c_str());
    EXPECT_EQ(registeredName(), padded(std::string(63, 'n')));
    SetClientName("x");
    EXPECT_EQ(registeredName(), padded("x"));
    SetClientName("");
    EXPECT_EQ(registeredName(), padded(""));
    SetClientName(nullptr);
    EXPECT_EQ(registeredName(), padded("Nobody"));
}

TEST_F(ChannelToAgent, IsNotAvailableWhenTheRegistrationFails) {
    const auto before = openDescriptors();
    agent.handleRegistration([](const AgentRequest&) { return AgentReply::none().thenClose(1ms); });
    EXPECT_EQ(request(), kNoChannel);
    EXPECT_TRUE(trace.contains("IsFdReady: ERROR: Hangup on fd="));
    EXPECT_TRUE(trace.contains("seems to be corrupt (result=-6) --> close it !"));
    EXPECT_TRUE(trace.contains("InitRequestChannel: Can't initialize Request Channel on fd="));
    EXPECT_EQ(trace.count("CloseRequestChannel: Request Channel to " + agent.requestSocket()), 1u);
    EXPECT_TRUE(
        trace.contains("SendRequest: sending request failed (request channel not available)"));
    agent.awaitOpenConnections(0);
    EXPECT_EQ(openDescriptors(), before);

    agent.handleRegistration(nullptr);
    expectOk();
    EXPECT_TRUE(succeeds());
}

TEST_F(ChannelToAgent, IsNotAvailableWithoutMemoryForTheRegistration) {
    RequestChannel channel{openDevice(agent.requestSocket())};
    const ClientOptions options(channel.fd);
    const FailingAllocation failure(1);
    EXPECT_FALSE(initRequestChannel(channel, &options, 1000));
    EXPECT_TRUE(trace.contains("InitRequestChannel: ERROR No memory available"));
    EXPECT_EQ(channel.fd, -1);
}

TEST_F(ChannelToAgent, NeedsOptionsToRegister) {
    RequestChannel channel{openDevice(agent.requestSocket())};
    const std::string fd = std::to_string(channel.fd);
    EXPECT_FALSE(initRequestChannel(channel, nullptr, 1000));
    EXPECT_EQ(channel.fd, -1);
    EXPECT_TRUE(trace.contains(
        "InitRequestChannel: ERROR: called with bad parameter pClientOptions = NULL on fd=" + fd +
        " --> close it!"));
}

TEST_F(ChannelToAgent, TriesForTenMinutesToConnect) {
    agent.stop();
    const auto before = openDescriptors();
    EXPECT_EQ(request(), kNoChannel);
    EXPECT_EQ(clock.sleeps(), std::vector<std::chrono::milliseconds>(599, 1s));
    EXPECT_EQ(trace.count("OpenDevice: ERROR: connect to socket on " + agent.requestSocket()),
              600u);
    EXPECT_EQ(
        trace.count("OpenRequestChannel: Connect to " + agent.requestSocket() +
                    " failed (thrId=" + threadText() + "): No such file or directory --> retry"),
        60u);
    EXPECT_EQ(trace.count("OpenRequestChannel: ERROR: cannot open Request Channel to " +
                          agent.requestSocket() + " (thrId=" + threadText() + ")"),
              1u);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ChannelToAgent, WaitsForAnAgentThatComesLate) {
    agent.stop();
    agent.later(30s, [this] { agent.start(); });
    expectOk();
    EXPECT_TRUE(succeeds());
    EXPECT_EQ(clock.elapsed(), 30s);
}

TEST_F(ChannelToAgent, WaitsThirtySecondsForAReplyAndThenReconnects) {
    agent.expect({.opcode = 1, .reply = AgentReply::none()});
    EXPECT_EQ(request(), kTransferTimedOut);
    EXPECT_EQ(clock.elapsed(), 30s);
    EXPECT_TRUE(trace.contains("SendRequest: Request Channel on fd="));
    EXPECT_TRUE(trace.contains("seems to be corrupt (result=-15) --> close it !"));
    EXPECT_EQ(getThreadSpecificDataJson()->fd, -1);
    agent.awaitOpenConnections(0);
    expectOk();
    EXPECT_TRUE(succeeds());
    EXPECT_EQ(agent.registrations().size(), 2u);
}

TEST_F(ChannelToAgent, AJumpOfTheCalendarClockChangesNoWait) {
    for (const auto jump : {-7200s, 7200s}) {
        const auto before = clock.elapsed();
        agent.expect({.opcode = 1, .reply = AgentReply::none()});
        agent.later(10s, [this, jump] { clock.jump(jump); });
        EXPECT_EQ(request(), kTransferTimedOut);
        EXPECT_EQ(clock.elapsed() - before, 30s);
    }
    agent.stop();
    for (const auto jump : {-7200s, 7200s}) {
        const auto before = clock.elapsed();
        agent.later(10s, [this, jump] { clock.jump(jump); });
        EXPECT_EQ(request(), kNoChannel);
        EXPECT_EQ(clock.elapsed() - before, 599s);
    }
}

TEST_F(ChannelToAgent, WorksWhenThereAreDescriptorsAgain) {
    SKIP_IF_MEMORY_IS_ASKED_FOR_BY_SYSTEM_CALLS();
    expectOk();
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const FileDescriptor next(open("/dev/null", O_RDONLY | O_CLOEXEC));
    rlimit none = before;
    none.rlim_cur = static_cast<rlim_t>(next.get());  // all below are in use
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_EQ(request(), kNoChannel);
    EXPECT_TRUE(trace.contains("Too many open files"));
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_TRUE(succeeds());
}

TEST_F(ChannelToAgent, RaisesAndCapsTheTimeout) {
    const std::pair<unsigned int, std::chrono::seconds> cases[] = {
        {0, 30s}, {29999, 30s}, {45000, 45s}, {180000, 180s}, {500000, 180s}, {UINT_MAX, 180s}};
    for (const auto& [timeout, waited] : cases) {
        agent.expect({.opcode = 1, .reply = AgentReply::none()});
        const auto before = clock.elapsed();
        EXPECT_EQ(request(1, timeout), kTransferTimedOut);
        EXPECT_EQ(clock.elapsed() - before, waited);
    }
}

TEST_F(ChannelToAgent, ClosesAfterAReplyThatIsTooLarge) {
    agent.expect({.opcode = 1, .reply = AgentReply::json(std::string(70000, 'x'))});
    EXPECT_EQ(request(), kTransferFailed);
    EXPECT_TRUE(trace.contains("(buffer too small) (inLength=65536, InOutMax=65536"));
    agent.awaitOpenConnections(0);
    expectOk();
    EXPECT_TRUE(succeeds());
}

TEST_F(ChannelToAgent, WorksAgainAfterEveryKindOfBrokenReply) {
    const AgentReply broken[] = {
        AgentReply::none().thenClose(1ms),
        AgentReply::json("reply").cutTo(2).thenClose(1ms),
        AgentReply::json("reply").cutTo(7).thenClose(1ms),
        AgentReply::json("reply").cutTo(7),
        AgentReply::json("reply").withLength(1000),
        AgentReply::json("reply").withLength(0xFFFFFFFF),
    };
    const auto before = openDescriptors();
    for (const AgentReply& reply : broken) {
        agent.expect({.opcode = 1, .reply = reply});
        EXPECT_LT(request(), 0);
        agent.awaitOpenConnections(0);
        EXPECT_EQ(openDescriptors(), before);
        expectOk();
        EXPECT_TRUE(succeeds());
        RagdClientDestroyTSD();
        agent.awaitOpenConnections(0);
    }
}

TEST_F(ChannelToAgent, TakesRepliesAsTheyCome) {
    const std::string text = toJson({.opcode = 1, .status = 0});
    const AgentReply odd[] = {
        AgentReply::ok().inPieces(1, 50ms),      AgentReply::ok().inPieces(7, 900ms),
        AgentReply::ok().withoutNul(),           AgentReply::ok().with("surplus"),
        AgentReply::ok().with(frame("another")), AgentReply::ok().after(29s),
    };
    for (const AgentReply& reply : odd) {
        agent.expect({.opcode = 1, .reply = reply});
        EXPECT_GE(request(), static_cast<int>(text.size() + 4));
        EXPECT_EQ(frame_.text(), text);
    }
    EXPECT_EQ(agent.registrations().size(), 1u);
}

TEST_F(ChannelToAgent, ReconnectsToAnAgentThatRestarted) {
    expectOk();
    ASSERT_TRUE(succeeds());
    agent.stop();
    agent.start();
    EXPECT_EQ(request(), kPollFailed);
    expectOk();
    EXPECT_TRUE(succeeds());
}

TEST_F(ChannelToAgent, BelongsToItsThread) {
    agent.handle([](const AgentRequest&) { return AgentReply::ok(); });
    ASSERT_TRUE(succeeds());
    for (int i = 0; i < 3; ++i) {
        std::thread other([] {
            Frame frame(AgentRecord{.opcode = 2});
            EXPECT_GT(SendRequest(frame.data(), frame.size(), 0), 0);
        });
        other.join();
        agent.awaitOpenConnections(1);  // closed with the thread
    }
    EXPECT_EQ(trace.count("DestroyThreadSpecificDataJson: FdRequest = "), 3u);
    EXPECT_EQ(agent.registrations().size(), 4u);
    EXPECT_TRUE(succeeds());
    EXPECT_EQ(agent.requests().back().connection, agent.requests().front().connection);
}

TEST_F(ChannelToAgent, KeepsRepliesOfManyThreadsApart) {
    agent.handle(
        [](const AgentRequest& request) { return AgentReply::ok(numberData(request.object)); });
    std::vector<std::thread> threads;
    for (unsigned int id = 1; id <= 8; ++id) {
        threads.emplace_back([id] {
            for (unsigned int i = 0; i < 50; ++i) {
                Frame frame(AgentRecord{.opcode = 1, .object = id * 1000 + i});
                EXPECT_GT(SendRequest(frame.data(), frame.size(), 0), 0);
                EXPECT_NE(frame.text().find("\"DA\":" + std::to_string(id * 1000 + i) + "}"),
                          std::string::npos);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    agent.awaitOpenConnections(0);
    EXPECT_EQ(agent.registrations().size(), 8u);
}

TEST_F(ChannelToAgent, IsClosedOnDemand) {
    expectOk();
    ASSERT_TRUE(succeeds());
    RequestChannel* channel = getThreadSpecificDataJson();
    const int fd = channel->fd;
    trace.clear();
    RagdClientDestroyTSD();
    agent.awaitOpenConnections(0);
    ASSERT_EQ(trace.messages().size(), 3u);
    char expected[100];
    snprintf(expected, sizeof expected, "RagdClientDestroyTSD: pthrdata = %p, s_BufferKey = 0x",
             static_cast<void*>(channel));
    EXPECT_TRUE(trace.messages()[0].starts_with(expected));
    snprintf(expected, sizeof expected,
             "DestroyThreadSpecificDataJson: pthrdata = %p, s_BufferKey = 0x",
             static_cast<void*>(channel));
    EXPECT_TRUE(trace.messages()[1].starts_with(expected));
    EXPECT_EQ(trace.messages()[2],
              "DestroyThreadSpecificDataJson: FdRequest = " + std::to_string(fd) + " closed");

    trace.clear();
    RagdClientDestroyTSD();  // finds none, and creates none
    EXPECT_EQ(trace.messages().size(), 1u);
    EXPECT_TRUE(trace.contains("RagdClientDestroyTSD: pthrdata = (nil), s_BufferKey = 0x"));
    expectOk();
    EXPECT_TRUE(succeeds());
}

TEST_F(ChannelToAgent, RefusesFramesThatDoNotFitWithoutConnecting) {
    EXPECT_EQ(SendRequest(nullptr, 65536, 0), kTransferFailed);
    EXPECT_EQ(SendRequest(nullptr, 0, 0), kTransferFailed);
    Frame frame("text", 64);
    EXPECT_EQ(SendRequest(frame.data(), 8, 0), kTransferFailed);
    EXPECT_EQ(SendRequest(frame.data(), 4, 0), kTransferFailed);
    *frame.data() = 0xFFFFFFFF;
    EXPECT_EQ(SendRequest(frame.data(), 64, 0), kTransferFailed);
    EXPECT_EQ(trace.count("SendRequestOnFd: Command sending on fd=-1 failed (outLength=0, "), 5u);
    EXPECT_TRUE(agent.transcript().empty());
    expectOk();
    EXPECT_TRUE(succeeds());
}

TEST_F(ChannelToAgent, SurvivesTheLackOfAnyMemory) {
    agent.handle([](const AgentRequest&) { return AgentReply::ok(); });
    bool failed = true;
    for (std::size_t n = 1; failed; ++n) {
        Frame frame(AgentRecord{.opcode = 1});
        int result = 0;
        {
            const FailingAllocation failure(n);
            result = SendRequest(frame.data(), frame.size(), 0);
            failed = failure.happened();
        }
        EXPECT_TRUE(result > 0 || failed);
        EXPECT_TRUE(result > 0 || result == kNoChannel || result == kTransferFailed) << result;
        RagdClientDestroyTSD();
        agent.awaitOpenConnections(0);
    }
    EXPECT_EQ(trace.count("GetThreadSpecificDataJson: ERROR: Can't alloc memory for specific data "
                          "(thrId=" +
                          threadText() + ")"),
              1u);
    EXPECT_EQ(trace.count("OpenRequestChannel: ERROR: no thread specific data available (thrId=" +
                          threadText() + ")"),
              1u);
}

TEST_F(ChannelToAgent, LeavesNothingBehindWhenItsThreadIsCancelled) {
    SKIP_IF_THREAD_EXIT_IS_MISREAD();
    SKIP_IF_CANCELLATION_IS_MISREAD();
    const auto before = openDescriptors();
    agent.handle([](const AgentRequest&) { return AgentReply::ok().held(); });
    PosixThread cancelled([] {
        Frame frame(AgentRecord{.opcode = 1});
        static_cast<void>(SendRequest(frame.data(), frame.size(), 0));
    });
    agent.awaitRequests(1);
    cancelled.cancel();
    EXPECT_TRUE(cancelled.join());
    agent.awaitOpenConnections(0);
    EXPECT_EQ(openDescriptors(), before);
    agent.handle(nullptr);
    expectOk();
    EXPECT_TRUE(succeeds());
}

TEST_F(ChannelToAgent, MayBeCancelledWhileItConnects) {
    SKIP_IF_THREAD_EXIT_IS_MISREAD();
    agent.stop();
    const auto before = openDescriptors();
    PosixThread cancelled([] {
        pthread_cancel(pthread_self());
        Frame frame(AgentRecord{.opcode = 1});
        static_cast<void>(SendRequest(frame.data(), frame.size(), 0));
    });
    EXPECT_TRUE(cancelled.join());
    EXPECT_EQ(openDescriptors(), before);
    agent.start();
    expectOk();
    EXPECT_TRUE(succeeds());
}

TEST_F(ChannelToAgent, IsNotSharedWithAForkedChild) {
    agent.handle(
        [](const AgentRequest& request) { return AgentReply::ok(numberData(request.opcode)); });
    ASSERT_GT(request(1), 0);
    const pid_t child = fork();
    if (child == 0) {
        Clock::replace(nullptr);  // the child does not have the agent's thread
        Frame frame(AgentRecord{.opcode = 2});
        const auto before = openDescriptors();  // the child's own connection replaces the parent's
        const bool answered = SendRequest(frame.data(), frame.size(), 0) > 0 &&
                              frame.text().find("\"DA\":2}") != std::string::npos;
        _exit(answered && openDescriptors() == before ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(agent.registrations().size(), 2u);
    EXPECT_NE(agent.requests().at(0).connection, agent.requests().at(1).connection);
    ASSERT_GT(request(3), 0);
    EXPECT_EQ(agent.requests().at(0).connection, agent.requests().at(2).connection);
}

TEST_F(ChannelToAgent, SaysWhereItIsLookedFor) {
    EXPECT_EQ(RequestSocketPath(), agent.requestSocket());
    EXPECT_EQ(EventSocketPath(), agent.eventSocket());
}

TEST(RequestChannelMemory, SendingSurvivesTheLackOfAnyMemory) {
    SKIP_IF_MALLOC_IS_REPLACED();
    ScriptedAgent agent;
    const TraceCapture trace(0);
    agent.handle([](const AgentRequest&) { return AgentReply::ok(); });
    const auto send = [] {
        Frame frame(AgentRecord{.opcode = 1});
        return SendRequest(frame.data(), frame.size(), 0);
    };
    EXPECT_GT(send(), 0);
    const std::size_t failures = forEveryAllocation([&](const FailingCallNumber& call) {
        RagdClientDestroyTSD();
        Frame frame(AgentRecord{.opcode = 1});
        FailingMalloc failure(call.n, call.times);
        const int result = SendRequest(frame.data(), frame.size(), 0);
        failure.end();
        EXPECT_TRUE(result > 0 ||
                    (failure.happened() && (result == kTransferFailed || result == kNoChannel)))
            << result;
        EXPECT_GT(send(), 0);
        RagdClientDestroyTSD();
        EXPECT_EQ(failure.blocksLeft(), 0u);
        return failure.happened();
    });
    EXPECT_GT(failures, 10u);
}

TEST(RequestChannelMemory, NamesAndClosingNeedNone) {
    SKIP_IF_MALLOC_IS_REPLACED();
    ScriptedAgent agent;
    const TraceCapture trace(0);
    agent.handle([](const AgentRequest&) { return AgentReply::ok(); });
    Frame frame(AgentRecord{.opcode = 1});
    ASSERT_GT(SendRequest(frame.data(), frame.size(), 0), 0);
    {
        const FailingMalloc failure(1, FailingMalloc::Times::always);
        SetClientName("name");
        SetClientName(nullptr);
        RagdClientDestroyTSD();
        RagdClientDestroyTSD();
    }
    agent.awaitOpenConnections(0);
}

// The following tests use the key, which a process creates only once. Each test runs in its own
// process, as the only test of the program.

void inOwnProcess(const std::function<void()>& body) {
    if (testing::UnitTest::GetInstance()->test_to_run_count() > 1) {
        GTEST_SKIP()
            << "another test of this program may have made the key: run one by one, by ctest";
    }
    const pid_t child = fork();
    if (child == 0) {
        body();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(RequestKey, IsMadeOnce) {
    inOwnProcess([] {
        TraceCapture trace;
        RagdClientDestroyTSD();
        RagdClientDestroyTSD();
        EXPECT_EQ(trace.count("InitBufferKeys: s_BufferKey = 0x0000000"), 1u);
    });
}

TEST(RequestKey, EndsRequestsForGoodWhenItIsDeleted) {
    inOwnProcess([] {
        FakeClock clock;
        ScriptedAgent agent(clock);
        TraceCapture trace;
        agent.handle([](const AgentRequest&) { return AgentReply::ok(); });
        Frame frame(AgentRecord{.opcode = 1});
        EXPECT_GT(SendRequest(frame.data(), frame.size(), 0), 0);
        RagdClientDestroyTSD();
        EXPECT_EQ(RagdClientDestroyKEY(), 0);
        EXPECT_TRUE(trace.contains("RagdClientDestroyKEY: s_BufferKey = 0x0000000"));
        EXPECT_EQ(SendRequest(frame.data(), frame.size(), 0), kNoChannel);
        EXPECT_TRUE(
            trace.contains("GetThreadSpecificDataJson: ERROR: Can't set specific data "
                           "(thrId=" +
                           threadText() + "), ret=22"));
        EXPECT_TRUE(trace.contains(
            "OpenRequestChannel: ERROR: no thread specific data available (thrId=" + threadText() +
            ")"));
        EXPECT_TRUE(
            trace.contains("SendRequest: sending request failed (request channel not available)"));
        trace.clear();
        EXPECT_EQ(RagdClientDestroyKEY(), 0);
        RagdClientDestroyTSD();
        EXPECT_EQ(trace.messages(),
                  (std::vector<std::string>{
                      "RagdClientDestroyKEY: s_BufferKey = 0xFFFFFFFF",
                      "RagdClientDestroyTSD: pthrdata = (nil), s_BufferKey = 0xFFFFFFFF"}));
    });
}

TEST(RequestKey, IsLeftWhereDeletingFails) {
    inOwnProcess([] {
        TraceCapture trace;
        RagdClientDestroyTSD();
        {
            const FailingCall failure(PlatformCall::KeyDelete, EINVAL);
            EXPECT_EQ(RagdClientDestroyKEY(), EINVAL);
        }
        EXPECT_TRUE(trace.contains("RagdClientDestroyKEY: ERROR: Can't delete key, ret=22"));
        EXPECT_NE(getThreadSpecificDataJson(), nullptr);
    });
}

TEST(RequestKey, IsMadeAtLevelTwoAndDeletedAtLevelOne) {
    for (const unsigned int level : {0u, 1u, 2u}) {
        inOwnProcess([level] {
            TraceCapture trace(level);
            RagdClientDestroyTSD();
            RagdClientDestroyKEY();
            EXPECT_EQ(trace.contains("InitBufferKeys: s_BufferKey = 0x"), level >= 2);
            EXPECT_EQ(trace.contains("RagdClientDestroyKEY: s_BufferKey = 0x"), level >= 1);
            Frame frame("x");
            EXPECT_EQ(SendRequest(frame.data(), frame.size(), 0), kNoChannel);
            EXPECT_TRUE(trace.contains("ERROR: Can't set specific data"));
        });
    }
}

TEST(RequestKey, FailsAloudWhateverTheLevel) {
    inOwnProcess([] {
        TraceCapture trace(0);
        RagdClientDestroyTSD();
        const FailingCall failure(PlatformCall::KeyDelete, EINVAL);
        EXPECT_EQ(RagdClientDestroyKEY(), EINVAL);
        EXPECT_TRUE(trace.contains("RagdClientDestroyKEY: ERROR: Can't delete key"));
    });
    inOwnProcess([] {
        TraceCapture trace(0);
        const FailingCall failure(PlatformCall::KeyCreate, EAGAIN);
        RagdClientDestroyTSD();
        EXPECT_TRUE(trace.contains("InitBufferKeys: ERROR: Can't create key"));
    });
}

TEST(RequestKey, LetsRequestsFailWhenItCannotBeMade) {
    inOwnProcess([] {
        TraceCapture trace;
        const FailingCall failure(PlatformCall::KeyCreate, EAGAIN);
        Frame frame("x");
        EXPECT_EQ(SendRequest(frame.data(), frame.size(), 0), kNoChannel);
        EXPECT_TRUE(trace.contains("InitBufferKeys: ERROR: Can't create key, ret=11"));
        EXPECT_TRUE(trace.contains("ret=22"));
    });
}

}  // namespace
}  // namespace varnock::test
