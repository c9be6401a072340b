#include "transport/channel/AgentDevice.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <climits>

#include "tests/support/FailingCall.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TraceCapture.h"
#include "tests/transport/ClosedStream.h"
#include "tests/transport/TransportSupport.h"
#include "tests/transport/channel/ThreadText.h"
#include "transport/AgentSocket.h"

namespace varnock::test {
namespace {

using namespace std::chrono_literals;

/// A socket that listens and never accepts.
class Listener {
  public:
    Listener(const std::string& path, int queue) : fd_(socket(AF_UNIX, SOCK_STREAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(fd_, queue), 0);
    }
    ~Listener() { close(fd_); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

  private:
    int fd_;
};

class OpenDevice : public testing::Test {
  protected:
    FakeClock clock;
    TraceCapture trace;
    TemporaryDirectory directory;
    std::string path = directory.file("ragdsj");
};

TEST_F(OpenDevice, ConnectsWithoutBlockingAndIsNotInherited) {
    const Listener listener(path, 1);
    const int fd = openDevice(path);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, O_NONBLOCK);
    EXPECT_EQ(trace.text(), "");
    close(fd);
}

TEST_F(OpenDevice, SaysWhyItCannotConnect) {
    const auto before = openDescriptors();
    errno = 0;
    EXPECT_EQ(openDevice(path), kNotConnected);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_TRUE(trace.contains("OpenDevice: ERROR: connect to socket on " + path +
                               " failed (thrId=" + threadText() + "): No such file or directory"));
}

TEST_F(OpenDevice, SaysWhyThereIsNoSocket) {
    trace.setLevel(0);
    const FailingCall failure(PlatformCall::Socket, EMFILE);
    EXPECT_EQ(openDevice(path), kNotOpened);
    EXPECT_EQ(errno, EMFILE);
    EXPECT_TRUE(trace.contains("OpenDevice: ERROR: create socket on " + path +
                               " failed (thrId=" + threadText() + "): Too many open files"));
}

TEST_F(OpenDevice, RefusesPathsThatNoAddressHolds) {
    EXPECT_EQ(openDevice(std::string(108, 'x')), kNotConnected);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(openDevice(std::string(107, 'x')), kNotConnected);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(OpenDevice, DoesNotWaitForEverForADaemonThatDoesNotAccept) {
    const Listener listener(path, 0);
    const int first = openDevice(path);
    ASSERT_GE(first, 0);
    EXPECT_EQ(openDevice(path), kNotConnected);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(clock.elapsed(), 1s);
    close(first);
}

TEST_F(OpenDevice, PrintsItsFailureWhateverTheLevel) {
    trace.setLevel(0);
    EXPECT_EQ(openDevice(path), kNotConnected);
    EXPECT_TRUE(trace.contains("OpenDevice: ERROR: connect to socket on "));
}

TEST_F(OpenDevice, KeepsAwayFromTheStandardStreams) {
    // A host without standard output would print to whatever file gets its descriptor number.
    const Listener listener(path, 1);
    const ClosedStream input(STDIN_FILENO);
    const auto before = openDescriptors();
    const int fd = openDevice(path);
    EXPECT_GT(fd, STDERR_FILENO);
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, O_NONBLOCK);
    close(fd);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(OpenDevice, AProbeTellsAtOnceWhetherAnybodyListens) {
    EXPECT_EQ(ProbeAgentSocket(path), ENOENT);
    EXPECT_EQ(ProbeAgentSocket(std::string(108, 'x')), ENAMETOOLONG);
    const auto before = openDescriptors();
    {
        const Listener listener(path, 0);
        EXPECT_EQ(ProbeAgentSocket(path), 0);
        // Its queue is full now, but it is still listening.
        EXPECT_EQ(ProbeAgentSocket(path), 0);
    }
    EXPECT_EQ(ProbeAgentSocket(path), ECONNREFUSED);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(clock.elapsed(), 0s);
    EXPECT_EQ(trace.text(), "");
}

TEST_F(OpenDevice, AProbeTellsThatThereIsNoSocket) {
    const FailingCall failure(PlatformCall::Socket, EMFILE);
    EXPECT_EQ(ProbeAgentSocket(path), EMFILE);
}

TEST_F(OpenDevice, IsTriedSixHundredTimes) {
    static int reports;
    reports = 0;
    EXPECT_LT(openPatiently(
                  path,
                  [](const std::string&, int number, int error) {
                      EXPECT_EQ(number, reports * 10);
                      EXPECT_EQ(error, ENOENT);
                      ++reports;
                  },
                  nullptr),
              0);
    EXPECT_EQ(reports, 60);
    EXPECT_EQ(trace.count("OpenDevice: ERROR: connect"), 600u);
    EXPECT_EQ(clock.sleeps(), std::vector<std::chrono::milliseconds>(599, 1s));
}

TEST_F(OpenDevice, IsGivenUpOnAStop) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    StopSignal stop(ends[0]);
    ASSERT_EQ(write(ends[1], "WAKE", 4), 4);
    static StopSignal* shared;
    shared = &stop;
    const int fd = openPatiently(
        path, [](const std::string&, int, int) { shared->request(); }, &stop);
    EXPECT_LT(fd, 0);
    EXPECT_EQ(trace.count("OpenDevice: ERROR: connect"), 1u);
    EXPECT_EQ(clock.elapsed(), 0s);
    close(ends[0]);
    close(ends[1]);
}

class IsFdReady : public testing::Test {
  protected:
    std::string fd() const { return std::to_string(pair.ours()); }

    FakeClock clock;
    TraceCapture trace;
    SocketPair pair;
};

TEST_F(IsFdReady, GivesTheMaskThatIsReady) {
    EXPECT_EQ(isFdReady(pair.ours(), POLLOUT, 1000), POLLOUT);
    pair.peerSends("x");
    EXPECT_EQ(isFdReady(pair.ours(), POLLIN, 1000), POLLIN);
    EXPECT_EQ(isFdReady(pair.ours(), POLLIN | POLLOUT, 1000), POLLIN | POLLOUT);
    EXPECT_EQ(trace.text(), "");
}

TEST_F(IsFdReady, RefusesBadParameters) {
    trace.setLevel(0);
    EXPECT_EQ(isFdReady(-1, POLLIN, 1000), kNoChannel);
    EXPECT_EQ(isFdReady(pair.ours(), POLLIN, 0), kZeroTimeout);
    EXPECT_TRUE(trace.contains("IsFdReady: ERROR: bad parameter for Fd=-1"));
    EXPECT_TRUE(trace.contains("IsFdReady: ERROR: bad parameter for Timeout=0(!) on fd=" + fd()));
}

TEST_F(IsFdReady, TimesOut) {
    trace.setLevel(0);
    EXPECT_EQ(isFdReady(pair.ours(), POLLIN, 30000), kTransferTimedOut);
    EXPECT_EQ(clock.elapsed(), 30s);
    EXPECT_TRUE(trace.contains("IsFdReady: ERROR: Timeout on fd=" + fd() +
                               " (Timeout=30000, RestTimeout=30000"));
}

TEST_F(IsFdReady, TakesTheLongestTimeoutForNoLimitNever) {
    EXPECT_EQ(isFdReady(pair.ours(), POLLIN, UINT_MAX), kTransferTimedOut);
    EXPECT_EQ(clock.elapsed(), std::chrono::milliseconds(INT_MAX));
}

TEST_F(IsFdReady, GoesOnAfterASignalWithTheRestOfWholeSeconds) {
    clock.failNextPoll(EINTR, 2500ms);
    EXPECT_EQ(isFdReady(pair.ours(), POLLIN, 30000), kTransferTimedOut);
    EXPECT_TRUE(trace.contains("IsFdReady: poll() interrupted due to EINTR on fd=" + fd() +
                               " --> try to continue!"));
    EXPECT_TRUE(trace.contains("(Timeout=30000, RestTimeout=28000"));
    EXPECT_EQ(clock.elapsed(), 30500ms);
}

TEST_F(IsFdReady, TimesOutWhenSignalsTakeAllTheTime) {
    clock.failNextPoll(EINTR, 3s);
    clock.failNextPoll(EINTR, 2s);
    EXPECT_EQ(isFdReady(pair.ours(), POLLIN, 5000), kTransferTimedOut);
    EXPECT_TRUE(trace.contains("IsFdReady: ERROR: Timeout after EINTR on fd=" + fd() +
                               " (Timeout=5000, RestTimeout=2000"));
}

TEST_F(IsFdReady, TracesSignalsAtLevelOneAndTheTimeoutAlways) {
    const auto scenario = [this] {
        clock.failNextPoll(EINTR, 5s);
        EXPECT_EQ(isFdReady(pair.ours(), POLLIN, 5000), kTransferTimedOut);
    };
    expectLevels(trace, scenario,
                 {{"IsFdReady: poll() interrupted due to EINTR on fd=", 1},
                  {"IsFdReady: ERROR: Timeout after EINTR on fd=", 0}});
}

TEST_F(IsFdReady, ReportsAPollThatFails) {
    trace.setLevel(0);
    clock.failNextPoll(ENOMEM);
    EXPECT_EQ(isFdReady(pair.ours(), POLLIN, 1000), kPollFailed);
    EXPECT_TRUE(trace.contains("IsFdReady: ERROR: poll() failed on fd=" + fd() +
                               ": errno=12  Cannot allocate memory"));
}

TEST_F(IsFdReady, TakesAHangUpForMoreThanData) {
    trace.setLevel(0);
    pair.peerSends("an answer that is lost");
    pair.closePeer();
    EXPECT_EQ(isFdReady(pair.ours(), POLLIN, 1000), kPollFailed);
    EXPECT_TRUE(trace.contains("IsFdReady: ERROR: Hangup on fd=" + fd()));
}

TEST_F(IsFdReady, ReportsErrorsOfTheDescriptor) {
    trace.setLevel(0);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    EXPECT_EQ(isFdReady(ends[1], POLLOUT, 1000), kTransferFailed);
    EXPECT_TRUE(trace.contains("IsFdReady: ERROR on fd=" + std::to_string(ends[1]) +
                               ", Result=0x00000000: errno=88, Socket operation on non-socket"));
    close(ends[1]);
    EXPECT_EQ(isFdReady(ends[1], POLLOUT, 1000), kTransferFailed);
    EXPECT_TRUE(trace.contains("errno=9, Bad file descriptor"));
}

TEST_F(IsFdReady, WantsEveryBitOfTheMask) {
    trace.setLevel(0);
    EXPECT_EQ(isFdReady(pair.ours(), POLLIN | POLLOUT, 1000), kTransferFailed);
    EXPECT_TRUE(trace.contains(
        "IsFdReady: ERROR on fd=" + fd() +
        ", returned pollmask invalid (PollFdStruct.revents=0x00000004, PollMask=0x00000005)"));
}

TEST_F(IsFdReady, EndsOnAStop) {
    SocketPair wake;
    StopSignal stop(wake.ours());
    wake.peerSends("WAKE");
    EXPECT_EQ(isFdReady(pair.ours(), POLLIN, 1000, &stop), kPollFailed);
    stop.request();
    EXPECT_EQ(isFdReady(pair.ours(), POLLOUT, 1000, &stop), kPollFailed);
    EXPECT_EQ(clock.elapsed(), 0s);
}

}  // namespace
}  // namespace varnock::test
