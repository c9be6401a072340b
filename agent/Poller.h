#pragma once

#include <cstdint>
#include <unordered_map>
#include <utility>

#include "agent/EventLoop.h"
#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {

/// Watches many descriptors as one source of the event loop. A turn of the loop serves a whole
/// batch of them, because a turn costs time that grows with the number of those that are ready.
/// Each is served once before any is served again. Used only on the thread of its event loop.
class Poller {
  public:
    /// Served when its descriptor is ready, with the events of epoll. It must not throw, and may
    /// destroy itself and others.
    class Client {
      public:
        virtual void onReady(std::uint32_t events) = 0;

      protected:
        ~Client() = default;
    };

    /// The place of a descriptor among those watched. Must be destroyed before the descriptor is
    /// closed and before the poller.
    class Watch {
      public:
        Watch() = default;
        Watch(Watch&& other) noexcept { *this = std::move(other); }
        Watch& operator=(Watch&& other) noexcept {
            std::swap(poller_, other.poller_);
            std::swap(id_, other.id_);
            std::swap(fd_, other.fd_);
            std::swap(events_, other.events_);
            return *this;
        }
        ~Watch();
        /// Waits for these events of epoll from now on. Throws std::system_error.
        void wait(std::uint32_t events);

      private:
        friend class Poller;
        Poller* poller_ = nullptr;
        std::uint64_t id_ = 0;
        int fd_ = -1;
        std::uint32_t events_ = 0;
    };

    explicit Poller(sd_event* loop);
    Poller(const Poller&) = delete;
    Poller& operator=(const Poller&) = delete;

    /// Throws std::system_error.
    [[nodiscard]] Watch watch(int fd, std::uint32_t events, Client& client);

  private:
    static int onTurn(sd_event_source* source, int fd, std::uint32_t events, void* self);

    FileDescriptor epoll_;
    std::uint64_t watched_ = 0;
    std::unordered_map<std::uint64_t, Client*> clients_;
    EventSource turn_;
};

}  // namespace varnock::agent
