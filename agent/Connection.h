#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "agent/AgentClock.h"
#include "agent/EventLoop.h"
#include "agent/FrameBuffer.h"
#include "agent/Poller.h"
#include "agent/ReplyPlan.h"
#include "agent/Session.h"
#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {

/// ClientLimits for one client.
struct ClientLimits {
    /// Simultaneous connections on each socket; a further one replaces the one that is idle
    /// longest.
    std::size_t connections = 2048;
    /// Bytes of events queued for a client that does not read them.
    std::size_t queuedEvents = kFrameLimit;
    /// Time for a frame to arrive, and for a client to read a reply.
    std::chrono::microseconds patience = std::chrono::seconds(30);
};

/// What the connections of an agent share.
struct Surroundings {
    sd_event* loop;
    Poller& poller;
    AgentClock& clock;
    const ClientLimits& limits;
};

/// One client's connection: splits its bytes into frames, carries out the plan of the reply to
/// each, one after the other, and never blocks on a write. While a plan is not complete, no further
/// bytes are read, so that a client that only sends cannot make replies accumulate. Used only on
/// the thread of its event loop.
class Connection final : public Poller::Client {
  public:
    /// The owner destroys the connection when `dropped` is called; it is not used afterwards.
    using Dropped = std::function<void(Connection&)>;

    Connection(const Surroundings& surroundings, FileDescriptor fd, Session session,
               Replier& replier, Dropped dropped);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    using Clock = std::chrono::steady_clock;

    const Session& session() const { return session_; }
    /// True if neither a frame nor a reply is on its way.
    bool isIdle() const { return !busy() && !input_.holdsBytes(); }
    /// The last time at which the peer sent something or an event was pushed.
    Clock::time_point lastActive() const { return lastActive_; }
    /// Appends a frame to the queue, behind a reply that is not complete. False if the queue is
    /// full or the peer has gone; the owner must then drop the connection.
    [[nodiscard]] bool push(const std::string& frame);

    void onReady(std::uint32_t events) override;

  private:
    static int onDeadline(sd_event_source* source, std::uint64_t now, void* self);

    template <typename Action>
    void keepIf(Action stillAlive);
    [[nodiscard]] bool serve(std::uint32_t events);
    [[nodiscard]] bool receive();
    [[nodiscard]] bool answerFrames();
    [[nodiscard]] bool carryOut();
    [[nodiscard]] bool wait(ReplyStep& step);
    void awaitReply();
    void pauseUntil(AgentClock::Time end);
    [[nodiscard]] bool flush();
    [[nodiscard]] bool goOn();
    void watch();
    void setDeadline(bool wanted);
    void drop();
    bool hasOutput() const { return sent_ < output_.size(); }
    bool hasPlan() const {
        return step_ < plan_.steps.size() || plan_.late || isPaused_ || isClosing_;
    }
    bool busy() const { return hasOutput() || hasPlan(); }

    FileDescriptor fd_;
    Session session_;
    Replier& replier_;
    AgentClock& clock_;
    const ClientLimits& limits_;
    Dropped dropped_;
    Clock::time_point lastActive_ = Clock::now();
    FrameBuffer input_;
    bool inputEnded_ = false;
    std::string output_;
    std::size_t sent_ = 0;
    ReplyPlan plan_;
    std::size_t step_ = 0;
    bool isPaused_ = false;   ///< until the time of the next step
    bool isClosing_ = false;  ///< as soon as the output has been sent
    std::string events_;      ///< that wait for the end of the plan
    bool deadlineSet_ = false;
    AgentClock::Alarm pause_;
    Poller::Watch ready_;
    EventSource deadline_;
};

}  // namespace varnock::agent
