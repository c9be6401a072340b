#include "transport/client/TerminatePipe.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>

#include "tests/support/FailingCall.h"
#include "tests/support/TraceCapture.h"
#include "tests/transport/ClosedStream.h"
#include "tests/transport/TransportSupport.h"

namespace varnock::test {
namespace {

constexpr const char* kNotMade = "EnableEvents: WARNING: cannot create pipe for termination-thread";

/// Prevents the process from opening further descriptors.
class NoMoreDescriptors {
  public:
    explicit NoMoreDescriptors(rlim_t limit) {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit lowered{limit, before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &lowered), 0);
    }
    ~NoMoreDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
    NoMoreDescriptors(const NoMoreDescriptors&) = delete;
    NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;

  private:
    rlimit before_{};
};

class TerminatePipe : public testing::Test {
  protected:
    bool isReadable() const {
        pollfd end{pipe.readEnd(), POLLIN, 0};
        return poll(&end, 1, 0) == 1 && end.revents == POLLIN;
    }

    TraceCapture trace;
    varnock::TerminatePipe pipe;
};

TEST_F(TerminatePipe, BecomesReadableForGood) {
    ASSERT_TRUE(pipe.open());
    EXPECT_TRUE(pipe.isOpen());
    EXPECT_FALSE(isReadable());
    pipe.wake();
    EXPECT_TRUE(isReadable());
    EXPECT_TRUE(isReadable());
    char bytes[8] = {};
    EXPECT_EQ(read(pipe.readEnd(), bytes, sizeof bytes), 4);
    EXPECT_STREQ(bytes, "WAKE");
}

TEST_F(TerminatePipe, ShowsItsNumbers) {
    pipe.wake();
    EXPECT_TRUE(trace.contains("for termination on pipe[-1,0]"));
    ASSERT_TRUE(pipe.open());
    EXPECT_TRUE(trace.contains("EnableEvents: pipe [" + std::to_string(pipe.readEnd()) + ","));
    pipe.close();
    pipe.wake();
    EXPECT_TRUE(trace.contains("for termination on pipe[-1,-1]"));
}

TEST_F(TerminatePipe, ClosesBothEnds) {
    const auto before = openDescriptors();
    ASSERT_TRUE(pipe.open());
    ASSERT_TRUE(pipe.open());  // the first one is closed
    EXPECT_EQ(openDescriptors(), before + 2);
    pipe.close();
    pipe.close();
    EXPECT_FALSE(pipe.isOpen());
    EXPECT_EQ(pipe.readEnd(), -1);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(TerminatePipe, IsClosedWhereAnotherProgramIsStarted) {
    ASSERT_TRUE(pipe.open());
    EXPECT_EQ(fcntl(pipe.readEnd(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(TerminatePipe, KeepsAwayFromTheStandardStreams) {
    const auto before = openDescriptors();
    bool opened = false;
    bool inputIsFree = false;
    bool outputIsFree = false;
    {
        const ClosedStream input(STDIN_FILENO);
        const ClosedStream output(STDOUT_FILENO);
        opened = pipe.open();
        inputIsFree = fcntl(STDIN_FILENO, F_GETFD) < 0;
        outputIsFree = fcntl(STDOUT_FILENO, F_GETFD) < 0;
    }
    EXPECT_TRUE(opened);
    EXPECT_TRUE(inputIsFree);
    EXPECT_TRUE(outputIsFree);
    EXPECT_GT(pipe.readEnd(), STDERR_FILENO);
    EXPECT_EQ(fcntl(pipe.readEnd(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    pipe.wake();
    EXPECT_TRUE(isReadable());
    pipe.close();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(TerminatePipe, FailsWithoutDescriptors) {
    const FailingCall failure(PlatformCall::Pipe, EMFILE);
    EXPECT_FALSE(pipe.open());
    EXPECT_FALSE(pipe.isOpen());
    EXPECT_TRUE(trace.contains(kNotMade));
    pipe.wake();
    EXPECT_TRUE(trace.contains("for termination on pipe[-1,0]"));
}

TEST_F(TerminatePipe, FailsWhenItsEndsCannotBeMoved) {
    const auto before = openDescriptors();
    bool opened = true;
    {
        const ClosedStream input(STDIN_FILENO);
        const ClosedStream output(STDOUT_FILENO);
        const NoMoreDescriptors limit(STDERR_FILENO + 1);
        opened = pipe.open();
    }
    EXPECT_FALSE(opened);
    EXPECT_FALSE(pipe.isOpen());
    EXPECT_TRUE(trace.contains(kNotMade));
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_TRUE(pipe.open());
}

}  // namespace
}  // namespace varnock::test
