#pragma once

#include <sys/stat.h>

#include <list>
#include <memory>
#include <string>

#include "agent/EventLoop.h"
#include "agent/Listener.h"
#include "agent/Poller.h"
#include "agent/recording/Relay.h"
#include "agent/transcript/Transcript.h"

namespace varnock::agent {

/// Stands between clients and another agent: passes every byte on, unchanged, and writes what has
/// passed into a recording. Passes on from its construction while the loop runs. Used only on the
/// thread of that loop.
class Proxy {
  public:
    struct Options {
        std::string upstream;   ///< directory of the agent's sockets
        std::string directory;  ///< of its own
        mode_t mode = 0600;
    };

    /// Throws StartError if a socket cannot be created.
    Proxy(sd_event* loop, const Options& options, Transcript& recording);

    std::size_t clients() const { return relays_.size(); }

  private:
    struct Door {
        Door(Proxy& owner, Channel which, const char* name, const Options& options);

        Proxy& proxy;
        Channel channel;
        Listener listener;
        std::string upstream;
        EventSource ready;
    };

    static int onClient(sd_event_source* source, int fd, std::uint32_t events, void* self);

    void accept(Door& door);
    void pause(bool isPaused);
    void drop(const Relay& relay);

    sd_event* loop_;
    Transcript& recording_;
    Poller poller_;
    unsigned admitted_ = 0;
    std::list<std::unique_ptr<Relay>> relays_;
    FileDescriptor lock_;  ///< held while the listeners are created
    Door requests_;
    Door events_;
};

}  // namespace varnock::agent
