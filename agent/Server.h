#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "agent/Connection.h"
#include "agent/Control.h"
#include "agent/EventLoop.h"
#include "agent/Listener.h"
#include "agent/Responder.h"

namespace varnock::agent {

struct ServerOptions {
    std::string directory;
    /// Permissions of the library's sockets. Only the owner can use the control socket.
    mode_t mode = 0600;
    Limits limits = {};
    /// Listening sockets from the service manager, used instead of new ones.
    std::vector<FileDescriptor> inherited = {};
};

/// The agent's sockets and all their connections, on one event loop. Listens from its construction
/// on and answers while the loop runs. Used only on the thread of that loop.
class Server {
  public:
    /// Throws StartError if a socket cannot be created. The machine must outlive the server.
    Server(sd_event* loop, Machine& machine, ServerOptions options);

    /// Sends an event to every client that has registered for events, and returns their number.
    /// Clients with too many unread events are dropped. Must not be called from Machine::answer(),
    /// because it may drop that command's connection.
    std::size_t pushEvent(const SipJson& event);

    std::size_t connections(Channel channel) const;
    /// The number of clients registered for events.
    std::size_t listeners() const;
    std::size_t eventsPushed() const { return eventsPushed_; }
    const std::string& directory() const { return directory_; }

  private:
    struct Door {
        Door(Server& owner, Channel which, Replier& answers, const char* name,
             ServerOptions& options);

        Server& server;
        Channel channel;
        Replier& replier;
        Listener listener;
        EventSource ready;
        EventSource reopen;
    };

    static int onClient(sd_event_source* source, int fd, std::uint32_t events, void* self);
    static int onReopen(sd_event_source* source, std::uint64_t now, void* self);

    void accept(Door& door);
    void admit(FileDescriptor client, const Door& door);
    bool dropIdleLongest(Channel channel);
    void closeForAWhile(Door& door);
    void drop(const Connection& connection);

    sd_event* loop_;
    std::string directory_;
    Responder responder_;
    Control control_{*this};
    Limits limits_;
    std::size_t eventsPushed_ = 0;
    std::unordered_map<const Connection*, std::unique_ptr<Connection>> connections_;
    FileDescriptor lock_;  ///< held while the listeners are created
    Door requests_;
    Door events_;
    Door controls_;
};

}  // namespace varnock::agent
