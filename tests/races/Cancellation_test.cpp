// Cancels a thread at each of its cancellation points.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <iterator>

#include "runtime/Debug.h"
#include "tests/races/RaceSupport.h"
#include "tests/support/CallHook.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"
#include "transport/AgentSocket.h"

namespace varnock::test {
namespace {

/// Runs an operation on a thread that is cancelled at the first such point, then on one that is
/// cancelled at the second, and so on, and `check` after each. Returns the number of points.
unsigned int forEveryCancellationPoint(const std::function<void()>& operation,
                                       const std::function<void()>& check) {
    for (unsigned int n = 1;; ++n) {
        SCOPED_TRACE("cancelled at point " + std::to_string(n));
        bool isReached = false;
        PosixThread thread([&] {
            const CallHook hook(n, CallHook::Calls::cancellable, [&] {
                isReached = true;
                pthread_cancel(pthread_self());
            });
            operation();
        });
        thread.join();
        check();
        if (!isReached || testing::Test::HasFailure()) {
            return n - 1;
        }
    }
}

/// The number of descriptors of this process.
std::size_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

/// Waits until the agent of this process has also closed its ends.
void awaitDescriptors(std::size_t count) {
    for (int i = 0; i < 60'000 && openDescriptors() != count; ++i) {
        ::poll(nullptr, 0, 1);
    }
    EXPECT_EQ(openDescriptors(), count);
}

class CancelledThreads : public testing::Test {
  protected:
    AnsweringAgent agent;
};

TEST_F(CancelledThreads, LeaveNoRequestBehind) {
    SKIP_IF_THREAD_EXIT_IS_MISREAD();
    SKIP_IF_CANCELLATION_IS_MISREAD();
    ASSERT_TRUE(isAnswered());
    const std::size_t before = openDescriptors();
    const auto check = [&] {
        awaitDescriptors(before);
        EXPECT_TRUE(isAnswered());
    };
    EXPECT_GT(forEveryCancellationPoint([] { static_cast<void>(isAnswered()); }, check), 5u);
    RagdClientDestroyTSD();
}

TEST_F(CancelledThreads, LeaveTheTraceToOthers) {
    SKIP_IF_THREAD_EXIT_IS_MISREAD();
    SKIP_IF_CANCELLATION_IS_MISREAD();
    EXPECT_GT(forEveryCancellationPoint(makeEntry, makeEntry), 0u);
}

/// Reads events until the one with this number arrives. If the channel is closed, opens it again
/// and sends the event once more.
bool isDelivered(AnsweringAgent& agent, unsigned int number) {
    for (int tries = 0; tries < 5; ++tries) {
        int fd = RegisterForEvents(nullptr);
        if (fd < 0) {
            return false;
        }
        agent->pushEvent({.opcode = 0x0B11, .status = 0, .data = numberData(number)});
        pollfd ready{fd, POLLIN, 0};
        while (poll(&ready, 1, 60'000) == 1) {
            SipJson event;
            const int next = GetEventJson(fd, event);
            if (next != fd) {
                break;
            }
            if (event.DataDWord() == number) {
                return true;
            }
        }
        UnRegisterForEvents();
    }
    return false;
}

TEST_F(CancelledThreads, LeaveTheEventChannelInOrder) {
    SKIP_IF_THREAD_EXIT_IS_MISREAD();
    SKIP_IF_CANCELLATION_IS_MISREAD();
    unsigned int number = 0;
    const std::size_t before = openDescriptors();
    const auto operation = [&] { static_cast<void>(isDelivered(agent, ++number)); };
    const auto check = [&] {
        EXPECT_TRUE(isDelivered(agent, ++number));
        UnRegisterForEvents();
        EXPECT_TRUE(isDelivered(agent, ++number));
        UnRegisterForEvents();
        awaitDescriptors(before);
    };
    EXPECT_GT(forEveryCancellationPoint(operation, check), 10u);
}

}  // namespace
}  // namespace varnock::test
