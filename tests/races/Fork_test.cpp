// Forks in the middle of everything. The child makes a request and a trace entry.
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <iterator>
#include <string>
#include <thread>

#include "runtime/Registry.h"
#include "tests/races/RaceSupport.h"
#include "tests/support/CallHook.h"
#include "tests/support/ForkedUse.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/SleepingThread.h"
#include "tests/support/TextFile.h"
#include "transport/AgentSocket.h"

namespace varnock::test {
namespace {

bool requestAndEntry() {
    makeEntry();
    return isAnswered();
}

enum class Outcome { bothWork, aProcessFails, hasFewerCalls };

/// Forks while another thread is right before the n-th call of an operation. The child works if
/// `inChild` is true, the parent if the operation is.
Outcome forkAtCall(unsigned int n, const std::function<bool()>& operation,
                   const std::function<bool()>& inChild) {
    const pid_t forking = gettid();
    std::atomic<bool> isReached = false;
    std::atomic<bool> isOver = false;
    std::atomic<bool> isForked = false;
    bool works = false;
    std::thread user([&] {
        const CallHook hook(n, CallHook::Calls::all, [&] {
            isReached = true;
            // The forking thread may wait for a lock of this one.
            while (!isForked && !isAsleep(forking)) {
                std::this_thread::yield();
            }
        });
        works = operation();
        isOver = true;
    });
    while (!isReached && !isOver) {
        std::this_thread::yield();
    }
    bool childWorks = true;
    if (isReached) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(kLongestRun / 2);
            _exit(inChild() ? 0 : 1);
        }
        isForked = true;
        int status = -1;
        waitpid(child, &status, 0);
        childWorks = status == 0;
    }
    user.join();
    if (!works || !childWorks) {
        return Outcome::aProcessFails;
    }
    return isReached ? Outcome::bothWork : Outcome::hasFewerCalls;
}

/// Repeats forkAtCall() for each call of an operation. Returns the number of calls.
unsigned int forkAtEveryCall(const std::function<bool()>& operation) {
    for (unsigned int n = 1;; ++n) {
        const Outcome outcome = forkAtCall(n, operation, requestAndEntry);
        EXPECT_NE(outcome, Outcome::aProcessFails) << "forked at call " << n;
        if (outcome != Outcome::bothWork) {
            return n - 1;
        }
    }
}

class ForkInTheMiddle : public testing::Test {
  protected:
    AnsweringAgent agent;
};

TEST_F(ForkInTheMiddle, OfARequestLeavesBothAtWork) {
    SKIP_IF_FORKED_CHILDREN_ARE_MISREAD();
    EXPECT_GT(forkAtEveryCall(isAnswered), 20u);
}

TEST_F(ForkInTheMiddle, OfAnEntryLeavesBothAtWork) {
    SKIP_IF_FORKED_CHILDREN_ARE_MISREAD();
    const auto entry = [] {
        makeEntry();
        return true;
    };
    EXPECT_GT(forkAtEveryCall(entry), 0u);
}

TEST_F(ForkInTheMiddle, OfAnEventLeavesBothAtWork) {
    SKIP_IF_FORKED_CHILDREN_ARE_MISREAD();
    unsigned int number = 0;
    const auto event = [&] {
        const int fd = RegisterForEvents(nullptr);
        agent->pushEvent({.opcode = 0x0B11, .status = 0, .data = numberData(++number)});
        pollfd ready{fd, POLLIN, 0};
        ::poll(&ready, 1, 60'000);
        SipJson received;
        const bool isReceived = GetEventJson(fd, received) == fd && received.DataDWord() == number;
        UnRegisterForEvents();
        return isReceived;
    };
    EXPECT_GT(forkAtEveryCall(event), 20u);
}

TEST_F(ForkInTheMiddle, OfSavingTheRegistryLeavesBothAtWork) {
    SKIP_IF_FORKED_CHILDREN_ARE_MISREAD();
    const std::string file = std::string(getenv("QX_SYSTEM_DIR")) + "/registry";
    writeFile(file, "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nn=d=0\n\n\n\n");
    unsigned int number = 0;
    const auto save = [&] {
        ++number;
        return CRegistry::UpdateTree([&] {
                   CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
                   return key.SetValue("n", number) == 0;
               }) &&
               readFile(file) ==
                   "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nn=d=" + std::to_string(number) + "\n\n\n\n";
    };
    EXPECT_GT(forkAtEveryCall(save), 5u);
}

/// What a process does with the library first. The process of the last one ends its requests.
const std::function<void()> kFirstUses[] = {
    [] { SetClientName("first"); },          [] { RagdClientDestroyTSD(); },
    [] { static_cast<void>(isAnswered()); }, [] { CSwitchClient("first").Attach(); },
    [] { RagdClientDestroyKEY(); },
};

/// Under the thread sanitizer the parent alone is tested: with it, a child waits forever for a
/// pthread_once() that a thread of its parent had begun.
bool useInChild(bool canRequest) {
    if (kThreadSanitizer) {
        return true;
    }
    SetClientName("child");
    return requestAndEntry() || !canRequest;
}

/// Calls `check` in new processes, each with an agent of its own, for each first use. The test
/// process must have one thread only: the thread sanitizer lets a child of several start none.
void forEveryFirstUse(
    const std::function<bool(const std::function<void()>& use, bool canRequest)>& check) {
    for (std::size_t i = 0; i < std::size(kFirstUses); ++i) {
        EXPECT_TRUE(worksInChild([&] {
            const AnsweringAgent agent;
            return check(kFirstUses[i], i + 1 < std::size(kFirstUses));
        })) << "use "
            << i;
    }
}

TEST(ForkDuringTheFirstUse, AtAnyMomentLeavesTheChildAtWork) {
    SKIP_IF_FORKED_CHILDREN_ARE_MISREAD();
    const unsigned int rounds = kThreadSanitizer ? 20 : 100;
    for (unsigned int round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
        forEveryFirstUse([&](const std::function<void()>& use, bool canRequest) {
            std::atomic<bool> isStarted = false;
            std::thread user([&] {
                isStarted = true;
                use();
            });
            while (!isStarted) {
            }
            for (std::atomic<unsigned int> turns = 0; turns < round * round; ++turns) {
            }
            const bool works = worksInChild([&] { return useInChild(canRequest); });
            user.join();
            return works;
        });
    }
}

TEST(ForkDuringTheFirstUse, AtEachCallLeavesTheChildAtWork) {
    SKIP_IF_FORKED_CHILDREN_ARE_MISREAD();
    const unsigned int mostCalls = kThreadSanitizer ? 20 : 100;
    for (unsigned int n = 1; n < mostCalls && !testing::Test::HasFailure(); ++n) {
        SCOPED_TRACE("forked at call " + std::to_string(n));
        forEveryFirstUse([&](const std::function<void()>& use, bool canRequest) {
            const auto operation = [&] {
                use();
                return true;
            };
            return forkAtCall(n, operation, [&] { return useInChild(canRequest); }) !=
                   Outcome::aProcessFails;
        });
    }
}

}  // namespace
}  // namespace varnock::test
