#include "agent/Poller.h"

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <memory>
#include <string>
#include <vector>

namespace varnock::agent {
namespace {

/// A watched end of a pair of sockets whose other end belongs to the test.
class Peer final : public Poller::Client {
  public:
    Peer(Poller& poller, std::function<void(Peer&)> act) : act_(std::move(act)) {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
        own_ = FileDescriptor(ends[0]);
        other_ = FileDescriptor(ends[1]);
        watch = poller.watch(own_.get(), EPOLLIN, *this);
    }
    virtual ~Peer() = default;
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    void onReady(std::uint32_t) override {
        ++served;
        act_(*this);
    }
    void poke() const { EXPECT_EQ(send(other_.get(), "x", 1, 0), 1); }
    void read() const {
        char byte = 0;
        EXPECT_EQ(recv(own_.get(), &byte, 1, 0), 1);
    }

    int served = 0;

  private:
    std::function<void(Peer&)> act_;
    FileDescriptor own_;
    FileDescriptor other_;

  public:
    Poller::Watch watch;
};

class AgentPoller : public testing::Test {
  protected:
    void turn() { checked(sd_event_run(loop_.get(), 0), "loop"); }
    Peer& peer(std::function<void(Peer&)> act) {
        return *peers_.emplace_back(std::make_unique<Peer>(poller_, std::move(act)));
    }
    EventLoop loop_ = newEventLoop();
    Poller poller_{loop_.get()};
    std::vector<std::unique_ptr<Peer>> peers_;
};

TEST_F(AgentPoller, ServesAllThatAreReadyInOneTurn) {
    for (int i = 0; i < 64; ++i) {
        peer([](Peer& self) { self.read(); }).poke();
    }
    turn();
    for (const auto& each : peers_) {
        EXPECT_EQ(each->served, 1);
    }
    turn();
    EXPECT_EQ(peers_.front()->served, 1);
}

TEST_F(AgentPoller, ServesEachOnceBeforeAnyIsServedAgain) {
    for (int i = 0; i < 300; ++i) {
        peer([](Peer&) {}).poke();  // stays ready
    }
    for (int turns = 0; turns < 5; ++turns) {
        turn();
    }
    for (const auto& each : peers_) {
        EXPECT_GE(each->served, 1);
        EXPECT_LE(each->served, 2);
    }
}

TEST_F(AgentPoller, OneThatIsServedMayDestroyOthersAndItself) {
    for (int i = 0; i < 10; ++i) {
        peer([this](Peer& self) {
            EXPECT_EQ(self.served, 1);
            peers_.clear();
        }).poke();
    }
    turn();
    EXPECT_TRUE(peers_.empty());
    turn();
}

TEST_F(AgentPoller, WaitsForTheEventsAskedFor) {
    Peer& writer = peer([](Peer& self) { self.watch.wait(0); });
    turn();
    EXPECT_EQ(writer.served, 0);
    writer.watch.wait(EPOLLOUT);
    turn();
    EXPECT_EQ(writer.served, 1);
    turn();
    EXPECT_EQ(writer.served, 1);
}

TEST_F(AgentPoller, RefusesWhatCannotBeWatched) {
    struct Nothing final : Poller::Client {
        void onReady(std::uint32_t) override {}
    } nothing;
    EXPECT_THROW(static_cast<void>(poller_.watch(-1, EPOLLIN, nothing)), std::system_error);
}

}  // namespace
}  // namespace varnock::agent
