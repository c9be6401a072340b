#include "transport/channel/FrameIo.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <climits>

#include "tests/support/FailingCall.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TraceCapture.h"
#include "tests/transport/TransportSupport.h"
#include "transport/channel/AgentDevice.h"
#include "transport/channel/FrameBuffer.h"

namespace varnock::test {
namespace {

using namespace std::chrono_literals;

TEST(FrameBuffer, HoldsALengthWordAndTheText) {
    FrameBuffer buffer(8);
    ASSERT_TRUE(buffer);
    buffer.put("abc");
    EXPECT_EQ(buffer.length(), 4u);
    EXPECT_EQ(std::string(buffer.bytes(), 8), frame("abc"));
}

TEST(FrameBuffer, EndsTheTextWhereTheFrameEnds) {
    FrameBuffer buffer(16);
    buffer.put("0123456789");
    // A shorter reply without NUL overwrites the request: the rest of the request is not part of
    // it.
    memcpy(buffer.bytes(), "\3\0\0\0abcdef", 10);
    EXPECT_STREQ(buffer.text(10), "abc");
    memcpy(buffer.bytes(), "\377\377\377\377abcdef", 10);
    EXPECT_STREQ(buffer.text(9), "abcde");
    memcpy(buffer.bytes(), "\0\0\0\0abcdef", 10);
    EXPECT_STREQ(buffer.text(4), "");
}

TEST(FrameBuffer, HasRoomForANulBehindItsLastByte) {
    FrameBuffer buffer(8);
    memcpy(buffer.bytes(), "\4\0\0\0abcd", 8);
    EXPECT_STREQ(buffer.text(8), "abcd");
}

TEST(FrameBuffer, IsEmptyWithoutMemory) {
    EXPECT_FALSE(FrameBuffer());
}

/// A peer that reads nothing for five seconds, then everything so far, and answers.
class LateReader : public FakeClock::Participant {
  public:
    LateReader(FakeClock& clock, SocketPair& pair) : clock_(clock), pair_(pair) {
        clock_.join(*this);
    }
    ~LateReader() override { clock_.leave(*this); }
    LateReader(const LateReader&) = delete;
    LateReader& operator=(const LateReader&) = delete;

    Standing standing() override { return drained == 0 ? Standing{.due = kReadsAt} : Standing{}; }
    void reach(std::chrono::nanoseconds now) override {
        if (now < kReadsAt || drained != 0) {
            return;
        }
        for (std::string bytes = pair_.peerReceived(); !bytes.empty();
             bytes = pair_.peerReceived()) {
            drained += bytes.size();
        }
        pair_.peerSends(frame("reply"));
    }

    std::size_t drained = 0;

  private:
    static constexpr std::chrono::nanoseconds kReadsAt = 5s;

    FakeClock& clock_;
    SocketPair& pair_;
};

class SendRequestOnFd : public testing::Test {
  protected:
    /// The request "request" with a buffer of `size` bytes; the reply is already in the socket, or
    /// never arrives.
    int send(unsigned int timeout = 30000, Surplus surplus = Surplus::drop) {
        return sendRequestOnFd(pair.ours(), request.data(), limit, timeout, 10, surplus);
    }
    std::string on() const { return " on fd=" + std::to_string(pair.ours()); }
    /// The message of the trace, if there is exactly one.
    std::string onlyMessage() const {
        const auto messages = trace.messages();
        return messages.size() == 1 ? messages[0] : "not one message: " + trace.text();
    }
    /// Fills the socket until it takes nothing more. Returns the number of bytes.
    std::size_t fill() const {
        const std::string block(4096, 'f');
        std::size_t count = 0;
        for (ssize_t sent = 0;
             (sent = ::send(pair.ours(), block.data(), block.size(), MSG_DONTWAIT)) > 0;) {
            count += static_cast<std::size_t>(sent);
        }
        return count;
    }
    /// The same with an agent that answers one byte every eight seconds.
    int sendToAnAgentThatDribbles() {
        ScriptedAgent agent(clock);
        agent.handle([](const AgentRequest&) {
            return AgentReply::json("a reply of many bytes").inPieces(1, 8s);
        });
        const int fd = openDevice(agent.requestSocket());
        request = Frame(AgentRecord{.opcode = 1}, 4096);
        const int result = sendRequestOnFd(fd, request.data(), limit, 30000, 10);
        EXPECT_EQ(agent.requests().size(), 1u);
        close(fd);
        return result;
    }

    FakeClock clock;
    TraceCapture trace{1};
    SocketPair pair;
    Frame request{"request", 4096};
    unsigned int limit = 4096;
};

TEST_F(SendRequestOnFd, NeedsADescriptor) {
    EXPECT_EQ(sendRequestOnFd(-1, request.data(), limit, 30000, 10), kNoChannel);
    EXPECT_EQ(trace.messages().size(), 1u);
    EXPECT_TRUE(
        trace.contains("SendRequestOnFd: sending request failed (request channel not available)"));
    trace.setLevel(0);
    trace.clear();
    EXPECT_EQ(sendRequestOnFd(-1, request.data(), limit, 30000, 10), kNoChannel);
    EXPECT_EQ(trace.text(), "");
}

TEST_F(SendRequestOnFd, NeedsATimeout) {
    EXPECT_EQ(send(0), kZeroTimeout);
    EXPECT_EQ(onlyMessage(), "IsFdReady: ERROR: bad parameter for Timeout=0(!)" + on());
    EXPECT_EQ(pair.peerReceived(), "");
}

TEST_F(SendRequestOnFd, ReadsTheReplyOverTheRequest) {
    pair.peerSends(frame("reply"));
    EXPECT_EQ(send(), 10);
    EXPECT_EQ(request.text(), "reply");
    EXPECT_EQ(pair.peerReceived(), frame("request"));
    EXPECT_EQ(trace.text(), "");
}

TEST_F(SendRequestOnFd, CountsWhatFollowsTheReply) {
    pair.peerSends(frame("reply") + "surplus");
    EXPECT_EQ(send(), 17);
    EXPECT_EQ(pair.leftOver(), "");
}

TEST_F(SendRequestOnFd, LeavesTheNextFrameInTheSocketIfItMatters) {
    pair.peerSends(frame("reply") + frame("event"));
    EXPECT_EQ(send(30000, Surplus::leave), 10);
    EXPECT_EQ(pair.leftOver(), frame("event"));
}

TEST_F(SendRequestOnFd, TakesAFrameWithoutText) {
    pair.peerSends(std::string(4, '\0'));
    EXPECT_EQ(send(30000, Surplus::leave), 4);
    pair.peerSends(std::string(4, '\0'));
    request = Frame("request", 4096);
    EXPECT_EQ(send(), 4);
}

TEST_F(SendRequestOnFd, TimesOutWithoutReply) {
    EXPECT_EQ(send(), kTransferTimedOut);
    EXPECT_EQ(clock.elapsed(), 30s);
}

TEST_F(SendRequestOnFd, ReportsTheEndOfFile) {
    shutdown(pair.peer(), SHUT_WR);
    EXPECT_EQ(send(), kTransferFailed);
    EXPECT_TRUE(trace.contains("SendRequestOnFd: Command receiving" + on() +
                               " failed EOF (inLength=0, InOutMax=4096) --> bail out"));
    EXPECT_EQ(clock.elapsed(), 0s);
}

TEST_F(SendRequestOnFd, WaitsForTheRestAsLongAsForAReply) {
    pair.peerSends(frame("reply").substr(0, 6));
    EXPECT_EQ(send(), kTransferFailed);
    EXPECT_TRUE(trace.contains("SendRequestOnFd: Command receiving" + on() +
                               " incomplete (inLength=6, InOutMax=4096, pCmdJ->len=6) --> "
                               "continue=0"));
    EXPECT_TRUE(trace.contains("SendRequestOnFd: Command receiving" + on() +
                               " failed (inLength=6, InOutMax=4096, pCmdJ->len=6)"));
    EXPECT_EQ(trace.messages().size(), 2u);
    EXPECT_EQ(clock.elapsed(), 31s);
}

TEST_F(SendRequestOnFd, GivesUpTenSecondsAfterAReplyBrokeOff) {
    pair.peerSends(frame("reply").substr(0, 3));
    shutdown(pair.peer(), SHUT_WR);
    EXPECT_EQ(send(), kTransferFailed);
    EXPECT_EQ(clock.sleeps(), std::vector<std::chrono::milliseconds>(10, 1s));
    EXPECT_EQ(clock.elapsed(), 10s);
    for (int attempt = 0; attempt < 10; ++attempt) {
        EXPECT_EQ(trace.count("--> continue=" + std::to_string(attempt)), 1u);
    }
    EXPECT_EQ(trace.count("failed EOF"), 0u);
    EXPECT_EQ(trace.count("failed (inLength=3"), 1u);
}

TEST_F(SendRequestOnFd, FailsOnAReplyLargerThanTheBuffer) {
    limit = 16;
    pair.peerSends(frame("a reply of more than that"));
    EXPECT_EQ(send(), kTransferFailed);
    EXPECT_TRUE(trace.contains("SendRequestOnFd: Command receiving" + on() +
                               " incomplete (buffer too small) (inLength=16, InOutMax=16, "
                               "pCmdJ->len=26)"));
    EXPECT_TRUE(trace.contains(" failed (inLength=16, InOutMax=16, pCmdJ->len=26)"));
    EXPECT_EQ(clock.elapsed(), 0s);
}

TEST_F(SendRequestOnFd, FailsOnALengthThatCanNeverBeReached) {
    // Adding four to this overflows 32 bits.
    for (const char* length : {"\377\377\377\377", "\374\377\377\377", "\373\377\377\377"}) {
        request = Frame("request", 4096);
        pair.peerSends(std::string(length, 4) + "reply");
        EXPECT_EQ(send(), kTransferFailed);
        pair.peerReceived();
    }
}

TEST_F(SendRequestOnFd, DoesNotLookAtTheLengthBeforeItIsThere) {
    // With the first byte of the reply the length word of the request would read as 0.
    pair.peerSends(std::string(1, '\0'));
    EXPECT_EQ(send(1000), kTransferFailed);
    EXPECT_TRUE(trace.contains("incomplete (inLength=1"));
}

TEST_F(SendRequestOnFd, GoesOnSendingAfterASignal) {
    pair.peerSends(frame("reply"));
    const FailingCall failure(PlatformCall::Send, EINTR);
    EXPECT_EQ(send(), 10);
    EXPECT_TRUE(trace.contains("SendRequestOnFd: Command sending" + on() +
                               " interrupted (errno=EINTR, outLength=0, InOutMax=12) --> retry=0"));
    EXPECT_EQ(pair.peerReceived(), frame("request"));
}

TEST_F(SendRequestOnFd, GoesOnReceivingAfterASignal) {
    pair.peerSends(frame("reply"));
    const FailingCall failure(PlatformCall::Receive, EINTR);
    EXPECT_EQ(send(), 10);
    EXPECT_TRUE(
        trace.contains("SendRequestOnFd: Command receiving" + on() +
                       " interrupted (errno=EINTR, inLength=0, InOutMax=4096) --> retry=0"));
}

TEST_F(SendRequestOnFd, ReportsAWriteThatFails) {
    const FailingCall failure(PlatformCall::Send, EIO);
    EXPECT_EQ(send(), kTransferFailed);
    EXPECT_TRUE(trace.contains("SendRequestOnFd: Command sending" + on() +
                               " failed (outLength=0, InOutMax=12) --> bail out"));
}

TEST_F(SendRequestOnFd, ReportsAWriteOfNothing) {
    const FailingCall failure(PlatformCall::Send, 0);
    EXPECT_EQ(send(), kTransferFailed);
    EXPECT_TRUE(trace.contains("SendRequestOnFd: Command sending" + on() +
                               " failed EOF (outLength=0, InOutMax=12): --> bail out"));
}

TEST_F(SendRequestOnFd, SurvivesAPeerThatReadsNoMore) {
    shutdown(pair.peer(), SHUT_RD);
    EXPECT_EQ(send(), kTransferFailed);  // and SIGPIPE did not end the process
    EXPECT_TRUE(trace.contains(" failed (outLength=0, InOutMax=12) --> bail out"));
}

TEST_F(SendRequestOnFd, ReportsAReadThatFails) {
    pair.peerSends(frame("reply"));
    const FailingCall failure(PlatformCall::Receive, EIO);
    EXPECT_EQ(send(), kTransferFailed);
    EXPECT_TRUE(trace.contains("SendRequestOnFd: Command receiving" + on() +
                               " failed (inLength=0, InOutMax=4096) --> bail out"));
}

TEST_F(SendRequestOnFd, ReportsAPeerThatHungUp) {
    pair.closePeer();
    EXPECT_EQ(send(), kPollFailed);
    EXPECT_EQ(onlyMessage(), "IsFdReady: ERROR: Hangup" + on());
}

TEST_F(SendRequestOnFd, ReportsAPeerThatHungUpWithoutReadingEverything) {
    ASSERT_EQ(write(pair.ours(), "abc", 3), 3);  // the socket reports it as an error as well
    pair.closePeer();
    EXPECT_EQ(send(), kPollFailed);
    EXPECT_EQ(onlyMessage(), "IsFdReady: ERROR: Hangup" + on());
}

TEST_F(SendRequestOnFd, ReportsAPeerThatAnsweredAndHungUp) {
    pair.peerSends(frame("reply"));
    pair.closePeer();
    EXPECT_EQ(send(), kPollFailed);
    EXPECT_EQ(onlyMessage(), "IsFdReady: ERROR: Hangup" + on());
}

TEST_F(SendRequestOnFd, ReportsAClosedDescriptor) {
    const int closed = dup(pair.ours());
    close(closed);
    EXPECT_EQ(sendRequestOnFd(closed, request.data(), limit, 30000, 10), kTransferFailed);
    EXPECT_EQ(onlyMessage(), "IsFdReady: ERROR on fd=" + std::to_string(closed) +
                                 ", Result=0x00000000: errno=9, Bad file descriptor");
}

TEST_F(SendRequestOnFd, TimesOutOnAFullSocket) {
    fill();
    EXPECT_EQ(send(), kTransferTimedOut);
    EXPECT_EQ(onlyMessage(),
              "IsFdReady: ERROR: Timeout" + on() + " (Timeout=30000, RestTimeout=30000");
    EXPECT_EQ(clock.elapsed(), 30s);
}

TEST_F(SendRequestOnFd, WaitsUntilAFullSocketIsDrained) {
    const std::size_t filled = fill();
    LateReader reader(clock, pair);
    EXPECT_EQ(send(), 10);
    EXPECT_EQ(request.text(), "reply");
    EXPECT_EQ(reader.drained, filled);
    EXPECT_EQ(pair.peerReceived(), frame("request"));
    EXPECT_EQ(trace.text(), "");
    EXPECT_EQ(clock.elapsed(), 5s);
}

TEST_F(SendRequestOnFd, TimesOutWhenThePeerStopsReading) {
    request = Frame(std::string(1 << 20, 'x'), 2 << 20);
    limit = request.size();
    EXPECT_EQ(send(), kTransferTimedOut);
    EXPECT_TRUE(
        trace.contains("SendRequestOnFd: Command sending" + on() + " incomplete (outLength="));
    EXPECT_TRUE(trace.contains("InOutMax=1048581) --> continue=0"));
    EXPECT_TRUE(trace.contains("(Timeout=30000, RestTimeout=30000"));
    EXPECT_EQ(clock.elapsed(), 31s);
}

TEST_F(SendRequestOnFd, WaitsForAReplyEvenWhenItCouldNotSendEverything) {
    pair.peerSends(frame("reply"));
    const FailingCall failure(PlatformCall::Send, EAGAIN, 1, 1000);
    EXPECT_EQ(send(), 10);
    EXPECT_EQ(trace.count("incomplete (outLength=0, InOutMax=12) --> continue="), 10u);
    EXPECT_EQ(clock.elapsed(), 10s);
}

TEST_F(SendRequestOnFd, TracesAtLevelOne) {
    const auto sendTo = [](SocketPair& peer, unsigned int room) {
        Frame frame("request", 4096);
        return sendRequestOnFd(peer.ours(), frame.data(), room, 30000, 10);
    };
    const auto failingSend = [&](int error) {
        SocketPair peer;
        peer.peerSends(frame("reply"));
        // A socket that is full at first is polled, and written to again.
        const FailingCall failure(PlatformCall::Send, error, 1, error == EAGAIN ? 2 : 1);
        sendTo(peer, 4096);
    };
    const auto failingReceive = [&](int error) {
        SocketPair peer;
        peer.peerSends(frame("reply"));
        const FailingCall failure(PlatformCall::Receive, error);
        sendTo(peer, 4096);
    };
    const auto scenario = [&] {
        for (const int error : {EINTR, EAGAIN, EIO, 0}) {
            failingSend(error);
            failingReceive(error);
        }
        SocketPair peer;
        peer.peerSends(frame("a reply of more than that"));
        EXPECT_EQ(sendTo(peer, 16), kTransferFailed);
        EXPECT_FALSE(isUsableFrame(-7, nullptr, 64));
    };
    expectLevels(trace, scenario,
                 {{" interrupted (errno=EINTR, outLength=0", 1},
                  {" incomplete (outLength=0", 1},
                  {" failed (outLength=0, InOutMax=12) --> bail out", 1},
                  {" failed EOF (outLength=0", 1},
                  {" interrupted (errno=EINTR, inLength=0", 1},
                  {" incomplete (inLength=0", 1},
                  {" failed (inLength=0, InOutMax=4096) --> bail out", 1},
                  {" failed EOF (inLength=0", 1},
                  {" incomplete (buffer too small) (inLength=16", 1},
                  {" failed (inLength=16, InOutMax=16, pCmdJ->len=26)", 1},
                  {"SendRequestOnFd: Command sending on fd=-7 failed", 1}});
}

// No wait may exceed the sum of the timeout and the seconds of the attempts.

TEST_F(SendRequestOnFd, IsNotHeldLongerByAPeerThatDribbles) {
    EXPECT_EQ(sendToAnAgentThatDribbles(), kTransferFailed);
    EXPECT_LE(clock.elapsed(), 40s);
    EXPECT_GE(clock.elapsed(), 30s);
}

TEST_F(SendRequestOnFd, IsNotHeldLongerByAPeerThatReadsSlowlyAndThenDribbles) {
    // One before the first poll and two in each of nine attempts, each of which takes its second;
    // the tenth attempt succeeds.
    const FailingCall failure(PlatformCall::Send, EAGAIN, 1, 19);
    EXPECT_EQ(sendToAnAgentThatDribbles(), kTransferFailed);
    EXPECT_EQ(trace.count("incomplete (outLength="), 9u);
    EXPECT_LE(clock.elapsed(), 41s) << "with the second that has begun";
    EXPECT_GE(clock.elapsed(), 39s);
}

TEST_F(SendRequestOnFd, FinishesWithTheLastByte) {
    ScriptedAgent agent(clock);
    agent.handle(
        [](const AgentRequest&) { return AgentReply::json("abcdefgh").inPieces(1, 100ms); });
    const int fd = openDevice(agent.requestSocket());
    request = Frame(AgentRecord{.opcode = 1}, 4096);
    EXPECT_EQ(sendRequestOnFd(fd, request.data(), limit, 30000, 10), 13);
    EXPECT_EQ(clock.elapsed(), 1200ms);
    EXPECT_EQ(trace.count("--> continue="), 2u);
    close(fd);
}

TEST_F(SendRequestOnFd, MovesMegabytesThroughASmallSocket) {
    ScriptedAgent agent(clock);
    const std::string large(1 << 20, 'r');
    agent.handle([&](const AgentRequest&) { return AgentReply::json(large); });
    const int fd = openDevice(agent.requestSocket());
    const AgentRecord record{.opcode = 1, .data = textData(std::string(1 << 20, 's'))};
    request = Frame(record, 4 << 20);
    EXPECT_EQ(sendRequestOnFd(fd, request.data(), request.size(), 30000, 10), (1 << 20) + 5);
    EXPECT_EQ(request.text(), large);
    EXPECT_EQ(agent.requests().at(0).data, record.data);
    EXPECT_EQ(clock.elapsed(), 0s);
    close(fd);
}

TEST_F(SendRequestOnFd, EndsOnAStop) {
    SocketPair wake;
    StopSignal stop(wake.ours());
    stop.request();
    EXPECT_EQ(sendRequestOnFd(pair.ours(), request.data(), limit, 30000, 10, Surplus::leave, &stop),
              kPollFailed);
    EXPECT_EQ(clock.elapsed(), 0s);
}

TEST(IsUsableFrame, RefusesWhatDoesNotFit) {
    TraceCapture trace;
    Frame request("request", 64);
    EXPECT_TRUE(isUsableFrame(7, request.data(), 64));
    EXPECT_TRUE(isUsableFrame(7, request.data(), 12));
    EXPECT_EQ(trace.text(), "");
    EXPECT_FALSE(isUsableFrame(7, request.data(), 11));
    EXPECT_TRUE(
        trace.contains("SendRequestOnFd: Command sending on fd=7 failed (outLength=0, "
                       "InOutMax=12) --> bail out"));
    EXPECT_FALSE(isUsableFrame(7, request.data(), 4));
    EXPECT_FALSE(isUsableFrame(7, request.data(), 0));
    EXPECT_FALSE(isUsableFrame(7, nullptr, 64));
    unsigned int wraps[2] = {0xFFFFFFFF, 0};
    EXPECT_FALSE(isUsableFrame(7, wraps, 8));
    wraps[0] = 0;
    EXPECT_TRUE(isUsableFrame(7, wraps, 5));
}

}  // namespace
}  // namespace varnock::test
