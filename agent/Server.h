#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "agent/Connection.h"
#include "agent/EventLoop.h"
#include "agent/Listener.h"
#include "agent/Responder.h"

namespace varnock::agent {

struct ServerOptions {
    std::string directory;
    /// Permissions of the sockets.
    mode_t mode = 0600;
    Limits limits = {};
    /// Listening sockets from the service manager, used instead of making them.
    std::vector<UniqueFd> inherited = {};
};

/// The agent's two sockets and all their connections, on one event loop. It listens from its
/// construction on and answers while the loop runs. Lives on the thread of that loop.
class Server {
  public:
    /// Throws StartError when a socket cannot be had. The machine outlives the server.
    Server(sd_event* loop, Machine& machine, ServerOptions options);

    /// Sends an event to every client that has registered for events. Clients that leave too many
    /// unread are dropped. Not from within Machine::answer(), whose own connection it may drop.
    void pushEvent(const SipJson& event);

    std::size_t connections(Channel channel) const;

  private:
    struct Door {
        Door(Server& server, Channel channel, const char* name, ServerOptions& options);

        Server& server;
        Channel channel;
        Listener listener;
        EventSource ready;
        EventSource reopen;
    };

    static int onClient(sd_event_source* source, int fd, std::uint32_t events, void* door);
    static int onReopen(sd_event_source* source, std::uint64_t now, void* door);

    void accept(Door& door);
    void admit(UniqueFd client, Channel channel);
    void closeForAWhile(Door& door);
    void drop(const Connection& connection);

    sd_event* loop_;
    Responder responder_;
    Limits limits_;
    std::unordered_map<const Connection*, std::unique_ptr<Connection>> connections_;
    UniqueFd lock_;  // held while the listeners are made
    Door requests_;
    Door events_;
};

}  // namespace varnock::agent
