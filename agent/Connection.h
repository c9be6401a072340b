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

/// What one client may take.
struct Limits {
    /// Connections at a time on each socket; further ones are closed at once.
    std::size_t connections = 512;
    /// Bytes of events that wait for a client that does not read them.
    std::size_t queuedEvents = kFrameLimit;
    /// How long a frame may take to arrive, and how long a client may leave a reply unread.
    std::chrono::microseconds patience = std::chrono::seconds(30);
};

/// One client's connection: cuts its bytes into frames, answers them one after the other, writes
/// without ever blocking. While a reply is unread nothing more is read, so that a client that only
/// sends cannot make the agent hoard replies. Lives on the thread of its event loop.
class Connection {
  public:
    /// The owner destroys the connection when dropped is called; nothing touches it afterwards.
    using Dropped = std::function<void(Connection&)>;

    Connection(sd_event* loop, FileDescriptor fd, Channel channel, Replier& replier,
               const Limits& limits, Dropped dropped);

    const Session& session() const { return session_; }
    /// Queues a frame behind what is waiting. False: too much waits or the peer is gone, and the
    /// owner shall drop the connection.
    bool push(const std::string& frame);

  private:
    static int onReady(sd_event_source* source, int fd, std::uint32_t events, void* self);
    static int onDeadline(sd_event_source* source, std::uint64_t now, void* self);

    bool serve(std::uint32_t events);
    bool receive();
    bool answerFrames();
    bool flush();
    void watch();
    void setDeadline(bool wanted);
    void drop();
    bool busy() const { return sent_ < output_.size(); }

    FileDescriptor fd_;
    Session session_;
    Replier& replier_;
    const Limits& limits_;
    Dropped dropped_;
    FrameBuffer input_;
    bool inputEnded_ = false;
    std::string output_;
    std::size_t sent_ = 0;
    bool deadlineSet_ = false;
    EventSource ready_;
    EventSource deadline_;
};

}  // namespace varnock::agent
