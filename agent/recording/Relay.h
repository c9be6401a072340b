#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "agent/FrameBuffer.h"
#include "agent/Poller.h"
#include "agent/Session.h"
#include "agent/transcript/Transcript.h"
#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {

/// One client's connection through a proxy: passes bytes on in both directions, first to their
/// receiver, then to the recording. A receiver that does not read stops its sender. Used only on
/// the thread of its event loop.
class Relay {
  public:
    /// The owner destroys the relay when `dropped` is called; it is not used afterwards.
    using Dropped = std::function<void(Relay&)>;

    Relay(Poller& poller, FileDescriptor client, FileDescriptor agent, const Session& session,
          Transcript& recording, Dropped dropped);

  private:
    /// One of the two connections, and what is on its way to it.
    class End final : public Poller::Client {
      public:
        End(Relay& relay, Poller& poller, FileDescriptor fd);

        void onReady(std::uint32_t events) override { relay_.serve(*this, events); }

        /// The bytes that can be read now; `hasEnded` tells whether more can follow.
        std::string receive();
        /// False if the peer has gone.
        [[nodiscard]] bool send(const std::string& bytes);
        [[nodiscard]] bool flush();
        void endOutput();
        /// Reads only if the other end takes more.
        void watch(bool canPassOn);

        bool hasEnded = false;
        bool hasGone = false;  ///< in both directions
        bool isStuck() const { return sent_ < output_.size(); }
        FrameBuffer seen;  ///< from this end, for the recording
        bool isSplit = true;

      private:
        Relay& relay_;
        FileDescriptor fd_;
        Poller::Watch ready_;
        std::string output_;
        std::size_t sent_ = 0;
        bool endsOutput_ = false;
    };

    void serve(End& end, std::uint32_t events);
    [[nodiscard]] bool pass(End& from, End& to);
    [[nodiscard]] bool isAlive() const;
    void record(End& from, const std::string& bytes);
    const char* directionOf(const End& from);

    Session session_;
    Transcript& recording_;
    Dropped dropped_;
    End client_;
    End agent_;
    unsigned unanswered_ = 0;
};

}  // namespace varnock::agent
