#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "agent/EventLoop.h"
#include "agent/FrameBuffer.h"
#include "agent/Responder.h"
#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {

/// Limits for one client.
struct Limits {
    /// Simultaneous connections on each socket; a further one replaces the one that is idle
    /// longest.
    std::size_t connections = 512;
    /// Bytes of events queued for a client that does not read them.
    std::size_t queuedEvents = kFrameLimit;
    /// Time for a frame to arrive, and for a client to read a reply.
    std::chrono::microseconds patience = std::chrono::seconds(30);
};

/// One client's connection: splits its bytes into frames, answers them one after the other and
/// never blocks on a write. While a reply is unread, no further bytes are read, so that a client
/// that only sends cannot make replies accumulate. Used only on the thread of its event loop.
class Connection {
  public:
    /// The owner destroys the connection when `dropped` is called; it is not used afterwards.
    using Dropped = std::function<void(Connection&)>;

    Connection(sd_event* loop, FileDescriptor fd, Channel channel, Replier& replier,
               const Limits& limits, Dropped dropped);

    using Clock = std::chrono::steady_clock;

    const Session& session() const { return session_; }
    /// True if neither a frame nor a reply is on its way.
    bool isIdle() const { return !busy() && !input_.holdsBytes(); }
    /// The last time at which the peer sent something or an event was pushed.
    Clock::time_point lastActive() const { return lastActive_; }
    /// Appends a frame to the queue. False if the queue is full or the peer has gone; the owner
    /// must then drop the connection.
    [[nodiscard]] bool push(const std::string& frame);

  private:
    static int onReady(sd_event_source* source, int fd, std::uint32_t events, void* self);
    static int onDeadline(sd_event_source* source, std::uint64_t now, void* self);

    [[nodiscard]] bool serve(std::uint32_t events);
    [[nodiscard]] bool receive();
    [[nodiscard]] bool answerFrames();
    [[nodiscard]] bool flush();
    void watch();
    void setDeadline(bool wanted);
    void drop();
    bool busy() const { return sent_ < output_.size(); }

    FileDescriptor fd_;
    Session session_;
    Replier& replier_;
    const Limits& limits_;
    Dropped dropped_;
    Clock::time_point lastActive_ = Clock::now();
    FrameBuffer input_;
    bool inputEnded_ = false;
    std::string output_;
    std::size_t sent_ = 0;
    bool deadlineSet_ = false;
    EventSource ready_;
    EventSource deadline_;
};

}  // namespace varnock::agent
