// Many threads, and agents that restart.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "runtime/Debug.h"
#include "tests/races/RaceSupport.h"
#include "tests/support/FakeClock.h"
#include "tests/support/ForkedUse.h"
#include "tests/support/Sanitizers.h"
#include "transport/AgentSocket.h"
#include "transport/SwitchClient.h"

namespace varnock::test {
namespace {

using namespace std::chrono_literals;

constexpr unsigned int kThreads = 64;

void onManyThreads(const std::function<void(unsigned int thread)>& use) {
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&use, i] { use(i); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(ManyThreads, MakeAndDestroySwitchClients) {
    AnsweringAgent agent;
    std::atomic<unsigned int> failures = 0;
    const unsigned int rounds = kSanitized ? 5 : 50;
    onManyThreads([&](unsigned int) {
        for (unsigned int i = 0; i < rounds; ++i) {
            failures += isAnswered() ? 0 : 1;
        }
    });
    EXPECT_EQ(failures, 0u);
    agent->awaitOpenConnections(0);
}

TEST(ManyThreads, MakeAndDestroySwitchClientsWhileTheProcessForks) {
    SKIP_IF_FORKED_THREADS_ARE_LOST();
    AnsweringAgent agent;
    std::atomic<bool> isOver = false;
    std::atomic<unsigned int> failures = 0;
    std::thread forking([&] {
        while (!isOver) {
            failures += worksInChild(isAnswered) ? 0 : 1;
        }
    });
    const unsigned int rounds = kSanitized ? 5 : 20;
    onManyThreads([&](unsigned int) {
        for (unsigned int i = 0; i < rounds; ++i) {
            failures += isAnswered() ? 0 : 1;
        }
    });
    isOver = true;
    forking.join();
    EXPECT_EQ(failures, 0u);
}

TEST(ManyThreads, AttachAndDetachProviders) {
    AnsweringAgent agent;
    const auto lasting = provider::getKOLMClient("lasting");
    std::atomic<unsigned int> failures = 0;
    const unsigned int rounds = kSanitized ? 3 : 20;
    onManyThreads([&](unsigned int) {
        for (unsigned int i = 0; i < rounds; ++i) {
            const auto client = provider::getKOLMClient("passing");
            const auto calls = provider::newKOLMCalls(client.get());
            failures += calls->getNumberCPUs(0) == 42 ? 0 : 1;
        }
    });
    EXPECT_EQ(failures, 0u);
    RagdClientDestroyTSD();
}

/// A client that counts its events.
class Counter final : public CSwitchClient {
  public:
    Counter() : CSwitchClient("Counter") {}
    ~Counter() override { StopEventThread(); }

    void Event(SipJson&) override {
        const std::lock_guard lock(mutex_);
        ++count_;
        changed_.notify_all();
    }
    bool awaitEvent() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 60s, [this] { return count_ > 0; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    unsigned int count_ = 0;
};

TEST(EventsOfARestartingAgent, CanBeEnabledAndDisabledAgainAndAgain) {
    FakeClock clock;
    ScriptedAgent agent(clock);
    Debug.ForceMaxDebug(0);
    std::atomic<bool> isOver = false;
    std::thread restarting([&] {
        while (!isOver) {
            agent.stop();
            agent.start();
            // Some enabling succeeds, some meets the restart.
            for (int turns = 0; turns < 1000; ++turns) {
                std::this_thread::yield();
            }
        }
    });
    Counter client;
    const int rounds = kSanitized ? 300 : 5000;
    int enabled = 0;
    for (int round = 0; round < rounds; ++round) {
        enabled += client.EnableEvents(1, 0) ? 1 : 0;
        EXPECT_TRUE(client.EnableEvents(0, 0));
    }
    isOver = true;
    restarting.join();
    EXPECT_GT(enabled, rounds / 10);
    agent.awaitOpenConnections(0);

    ASSERT_TRUE(client.EnableEvents(1, 0));
    agent.pushEvent({.opcode = 0x0B11, .status = 0, .data = numberData(1)});
    EXPECT_TRUE(client.awaitEvent());
    EXPECT_TRUE(client.EnableEvents(0, 0));
}

}  // namespace
}  // namespace varnock::test
