// The library against an agent that comes, goes, dies and gets stuck.
#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <numeric>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "agent/FrameBuffer.h"
#include "tests/agent/AgentFixture.h"
#include "tests/agent/LibraryClient.h"
#include "tests/support/Nobody.h"
#include "tests/support/PauselessClock.h"

namespace varnock::agent::test {
namespace {

using namespace std::chrono_literals;

constexpr unsigned kNoChannel = 3;

/// The connection broke.
bool isLoss(unsigned status) {
    return status == 6 || status == 9;
}

class LifeCycle : public testing::Test {
  protected:
    unsigned ask() {
        SipJson record(FakeMachine::kNumber, 0, 0, 0, SipJson::noStatus);
        return library_.request(record);
    }
    void expectAnswer() { EXPECT_EQ(library_.ask(FakeMachine::kNumber), kNumberReply); }
    /// The request fails because its connection broke, and the next one is answered.
    void expectLossOfOneRequest() {
        const unsigned status = ask();
        EXPECT_TRUE(isLoss(status)) << status;
        expectAnswer();
    }
    std::string requests() const { return library_.directory() + "/ragdsj"; }

    FakeMachine machine_;
    LibraryClient library_{machine_};
};

TEST_F(LifeCycle, ARequestWaitsForAnAgentThatIsAbsent) {
    library_.stop();
    library_.later(5s, [&] { library_.start(); });
    expectAnswer();
    EXPECT_EQ(library_.now(), 5s);
}

TEST_F(LifeCycle, ARequestFailsWhenNoAgentComes) {
    library_.stop();
    EXPECT_EQ(ask(), kNoChannel);
    EXPECT_EQ(library_.now(), 599s);
    library_.start();
    expectAnswer();
}

TEST_F(LifeCycle, ARestartBetweenTwoRequestsCostsOne) {
    expectAnswer();
    library_.stop();
    library_.start();
    expectLossOfOneRequest();
}

TEST_F(LifeCycle, ARestartDuringARequestCostsIt) {
    expectAnswer();
    library_.server().faults().add("all: delay 10s");
    library_.later(5s, [&] {
        library_.stop();
        library_.start();
    });
    expectLossOfOneRequest();
    EXPECT_EQ(library_.now(), 5s);
}

TEST_F(LifeCycle, ADeathInMidReplyCostsTheRequestWhereverItHappens) {
    const std::size_t size = frameSize(kNumberReply);
    for (std::size_t sent = 0; sent < size; ++sent) {
        SCOPED_TRACE(sent);
        expectAnswer();
        library_.server().faults().add("all: split " + std::to_string(sent) + " 1s");
        library_.later(500ms, [&] { library_.kill(); });
        library_.later(3s, [&] { library_.start(); });
        const auto before = library_.now();
        const unsigned status = ask();
        EXPECT_TRUE(isLoss(status)) << status;
        // The rest of a reply that has begun is waited for in ten attempts of a second.
        EXPECT_EQ(library_.now() - before, sent == 0 ? 500ms : 10'500ms);
        expectAnswer();
    }
}

TEST_F(LifeCycle, AStaleSocketIsTriedUntilAnAgentReplacesIt) {
    library_.kill();
    EXPECT_TRUE(std::filesystem::exists(requests()));
    EXPECT_EQ(ProbeAgentSocket(requests()), ECONNREFUSED);
    library_.later(3s, [&] { library_.start(); });
    expectAnswer();
    EXPECT_EQ(library_.now(), 3s);
}

/// While it lives, permissions hold for this thread, even if it is root's.
class WithoutPrivileges {
  public:
    WithoutPrivileges() : before_(static_cast<uid_t>(setfsuid(user()))) {}
    ~WithoutPrivileges() { setfsuid(before_); }
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

  private:
    static uid_t user() { return geteuid() == 0 ? varnock::test::kNobody : geteuid(); }

    uid_t before_;
};

TEST_F(LifeCycle, ASocketOfTheWrongModeIsTriedUntilItsModeIsRight) {
    ASSERT_EQ(chmod(library_.directory().c_str(), 0711), 0);
    library_.stop();
    ServerOptions closed;
    closed.mode = 0;
    library_.start(std::move(closed));
    std::optional<WithoutPrivileges> ordinary(std::in_place);
    ASSERT_EQ(ProbeAgentSocket(requests()), EACCES);
    EXPECT_EQ(ask(), kNoChannel);
    EXPECT_EQ(library_.now(), 599s);
    EXPECT_EQ(machine_.calls, 0);

    library_.later(3s, [&] {
        ordinary.reset();
        EXPECT_EQ(chmod(requests().c_str(), 0666), 0);
        ordinary.emplace();
    });
    expectAnswer();
    EXPECT_EQ(library_.now(), 602s);
}

/// A socket whose queue is full after one connection.
FileDescriptor narrowListener(const std::string& path) {
    FileDescriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(fd.get(), 0), 0);
    return fd;
}

TEST_F(LifeCycle, AFullQueueIsTriedUntilTheAgentAccepts) {
    library_.stop();
    ServerOptions options;
    options.inherited.push_back(narrowListener(requests()));
    library_.start(std::move(options));
    library_.suspend();
    const Client first(requests());
    ASSERT_TRUE(first.connected());
    ASSERT_FALSE(Client(requests()).connected());
    library_.later(5s, [&] { library_.resume(); });
    expectAnswer();
    EXPECT_GE(library_.now(), 5s);
    EXPECT_LE(library_.now(), 6s);
}

TEST_F(LifeCycle, AnAgentThatIsStoppedAnswersWhenItGoesOn) {
    expectAnswer();
    library_.suspend();
    library_.later(20s, [&] { library_.resume(); });
    expectAnswer();
    EXPECT_EQ(library_.now(), 20s);
}

/// The system's clock, but the pauses of the library end with the absence of the agent.
class AttentiveClock final : public varnock::test::PauselessClock {
  public:
    void tell(bool isThere) {
        const std::lock_guard lock(mutex_);
        isThere_ = isThere;
        changed_.notify_all();
    }
    void sleepFor(std::chrono::milliseconds) override {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return isThere_; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isThere_ = false;
};

/// Threads that ask an agent all the time, on connections of their own.
class Load {
  public:
    Load() {
        for (unsigned& failures : failures_) {
            threads_.emplace_back([this, &failures] { askUntilTheEnd(failures); });
        }
    }
    ~Load() {
        for (std::thread& each : threads_) {
            each.join();
        }
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

    /// Lets each thread ask until it is answered once more.
    void end() { isEnding_ = true; }
    bool hasEnded() const { return asking_ == 0; }
    const auto& failures() const { return failures_; }

  private:
    void askUntilTheEnd(unsigned& failures) {
        CSwitchClient client("load");
        while (!isEnding_) {
            failures += isAnswered(client) ? 0U : 1U;
        }
        // The last restart may have cost the first one.
        EXPECT_TRUE(isAnswered(client) || isAnswered(client));
        --asking_;
    }
    static bool isAnswered(CSwitchClient& client) {
        SipJson record(FakeMachine::kNumber, 0, 0, 0, SipJson::noStatus);
        const unsigned status = client.Request(record, 0, 0, 0);
        EXPECT_TRUE(status == 0 || isLoss(status) || status == kNoChannel) << status;
        EXPECT_EQ(record.DataDWord(), status == 0 ? 42U : 0U);
        return status == 0;
    }

    std::array<unsigned, 4> failures_{};
    std::atomic<bool> isEnding_ = false;
    std::atomic<std::size_t> asking_ = failures_.size();
    std::vector<std::thread> threads_;
};

TEST(RestartsUnderLoad, CostEachThreadAtMostOneRequestEach) {
    constexpr unsigned kRestarts = 30;
    const varnock::test::TemporaryDirectory directory;
    setenv("QX_RAGD_SOCKET_DIR", directory.path().c_str(), 1);
    AttentiveClock clock;
    FakeMachine machine;
    const EventLoop loop = newEventLoop();
    std::optional<Server> server;
    Load load;
    const auto start = [&] {
        server.emplace(loop.get(), machine, ServerOptions{.directory = directory.path()});
        clock.tell(true);
    };
    const auto workUntil = [&](const auto& happened) {
        while (!happened()) {
            checked(sd_event_run(loop.get(), UINT64_MAX), "loop");
        }
    };
    for (unsigned i = 0; i < kRestarts; ++i) {
        start();
        workUntil([&, enough = machine.calls + 40] { return machine.calls >= enough; });
        clock.tell(false);
        if (i % 2 == 0) {
            server.reset();
        } else {
            killServer(server);
        }
    }
    start();
    load.end();
    workUntil([&] { return load.hasEnded() && server->connections(Channel::requests) == 0; });
    for (const unsigned failures : load.failures()) {
        EXPECT_LE(failures, kRestarts);
    }
    EXPECT_GT(std::accumulate(load.failures().begin(), load.failures().end(), 0U), 0U);
}

}  // namespace
}  // namespace varnock::agent::test
