// Forks in the middle of everything. The child makes a request and a trace entry.
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

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

/// Forks while another thread is right before the first, the second … call of an operation.
/// Returns the number of calls.
unsigned int forkAtEveryCall(const std::function<bool()>& operation) {
    const pid_t forking = gettid();
    for (unsigned int n = 1;; ++n) {
        SCOPED_TRACE("forked at call " + std::to_string(n));
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
        if (isReached) {
            const pid_t child = fork();
            if (child == 0) {
                alarm(kLongestRun);
                _exit(requestAndEntry() ? 0 : 1);
            }
            isForked = true;
            int status = -1;
            waitpid(child, &status, 0);
            EXPECT_EQ(status, 0);
        }
        user.join();
        EXPECT_TRUE(works);
        if (!isReached || testing::Test::HasFailure()) {
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

/// What a process does with the library first.
const std::function<void()> kFirstUses[] = {
    [] { SetClientName("first"); },          [] { RagdClientDestroyTSD(); },
    [] { RagdClientDestroyKEY(); },          [] { static_cast<void>(isAnswered()); },
    [] { CSwitchClient("first").Attach(); },
};

/// In a process that has not used the library yet, forks while another thread uses it first.
/// True if the child of that fork makes its request.
bool worksInChildOfFirstUse(const std::function<void()>& use, unsigned int delay, bool needsKey) {
    return worksInChild([&] {
        std::atomic<bool> isStarted = false;
        std::thread user([&] {
            isStarted = true;
            use();
        });
        while (!isStarted) {
        }
        for (std::atomic<unsigned int> turns = 0; turns < delay; ++turns) {
        }
        const bool works = worksInChild([&] {
            makeEntry();
            SetClientName("child");
            return isAnswered() || !needsKey;
        });
        user.join();
        return works;
    });
}

TEST_F(ForkInTheMiddle, OfTheFirstUseLeavesTheChildAtWork) {
    SKIP_IF_FORKED_CHILDREN_ARE_MISREAD();
    const unsigned int rounds = kThreadSanitizer ? 20 : 100;
    for (std::size_t i = 0; i < std::size(kFirstUses); ++i) {
        const bool needsKey = i != 2;  // a child whose parent had deleted the key has none
        for (unsigned int round = 0; round < rounds; ++round) {
            EXPECT_TRUE(worksInChildOfFirstUse(kFirstUses[i], round * round, needsKey))
                << "use " << i << ", round " << round;
            if (HasFailure()) {
                return;
            }
        }
    }
}

/// Before the first use too the locks that it needs are taken by a fork.
TEST_F(ForkInTheMiddle, OfEachCallOfTheFirstUseLeavesTheChildAtWork) {
    SKIP_IF_FORKED_CHILDREN_ARE_MISREAD();
    for (std::size_t i = 0; i < std::size(kFirstUses); ++i) {
        const bool needsKey = i != 2;
        bool isReached = true;
        for (unsigned int n = 1; isReached && !HasFailure(); ++n) {
            // 0: the child works, 1: it does not, 2: the operation has fewer calls.
            const pid_t process = fork();
            if (process == 0) {
                alarm(kLongestRun);
                const pid_t forking = gettid();
                std::atomic<bool> isAtCall = false;
                std::atomic<bool> isOver = false;
                std::atomic<bool> isForked = false;
                std::thread user([&] {
                    const CallHook hook(n, CallHook::Calls::all, [&] {
                        isAtCall = true;
                        while (!isForked && !isAsleep(forking)) {
                            std::this_thread::yield();
                        }
                    });
                    kFirstUses[i]();
                    isOver = true;
                });
                while (!isAtCall && !isOver) {
                    std::this_thread::yield();
                }
                bool works = true;
                if (isAtCall) {
                    const pid_t child = fork();
                    if (child == 0) {
                        alarm(kLongestRun / 2);
                        makeEntry();
                        SetClientName("child");
                        _exit(isAnswered() || !needsKey ? 0 : 1);
                    }
                    isForked = true;
                    int status = -1;
                    waitpid(child, &status, 0);
                    works = status == 0;
                }
                user.join();
                _exit(!isAtCall ? 2 : works ? 0 : 1);
            }
            int status = -1;
            waitpid(process, &status, 0);
            ASSERT_TRUE(WIFEXITED(status)) << "use " << i << ", call " << n;
            EXPECT_NE(WEXITSTATUS(status), 1) << "use " << i << ", call " << n;
            isReached = WEXITSTATUS(status) != 2;
        }
    }
}

}  // namespace
}  // namespace varnock::test
