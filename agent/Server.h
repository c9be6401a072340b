#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/AgentClock.h"
#include "agent/CallCounts.h"
#include "agent/Connection.h"
#include "agent/EventLoop.h"
#include "agent/Listener.h"
#include "agent/Poller.h"
#include "agent/RequestHandler.h"
#include "agent/control/Control.h"
#include "agent/events/EventQueue.h"
#include "agent/events/NamedEvents.h"
#include "agent/faults/FaultRules.h"
#include "agent/scenario/ScenarioPlayer.h"
#include "agent/transcript/Transcript.h"

namespace varnock::agent {

struct ServerOptions {
    std::string directory;
    /// Permissions of the library's sockets. Only the owner can use the control socket.
    mode_t mode = 0600;
    ClientLimits limits = {};
    /// Listening sockets from the service manager, used instead of new ones.
    std::vector<FileDescriptor> inherited = {};
    AgentClock::Kind clock = AgentClock::Kind::real;
    /// Of the random numbers of faults.
    std::uint64_t seed = 0;
    /// Rules in force from the start.
    std::vector<std::string> faults = {};
    /// File of the transcript; empty for none.
    std::string transcript = {};
    /// Begins with the server.
    std::optional<Scenario> scenario = std::nullopt;
};

/// The agent's sockets and all their connections, on one event loop. Listens from its construction
/// on and answers while the loop runs. Used only on the thread of that loop.
class Server {
  public:
    /// Throws StartError if a socket cannot be created, and Refusal if a rule is wrong or the
    /// transcript cannot be written. The machine must outlive the server.
    Server(sd_event* loop, Machine& machine, ServerOptions options);

    ~Server() { machine_.detach(); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    Control& control() { return control_; }
    EventQueue& events() { return queue_; }
    NamedEvents& namedEvents() { return names_; }
    AgentClock& clock() { return clock_; }
    const AgentClock& clock() const { return clock_; }
    FaultRules& faults() { return rules_; }
    const FaultRules& faults() const { return rules_; }
    CallCounts& counts() { return counts_; }
    const Transcript& transcript() const { return transcript_; }

    /// Null without one.
    const ScenarioPlayer* scenario() const { return scenario_ ? &*scenario_ : nullptr; }

    std::size_t connections(Channel channel) const;
    /// The number of clients registered for events.
    std::size_t listeners() const;
    /// The number of events sent to those registered at the time.
    std::size_t eventsPushed() const { return eventsPushed_; }
    std::string machineName() const { return machine_.name(); }
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
    void push(const std::string& frame);

    sd_event* loop_;
    std::string directory_;
    Machine& machine_;
    AgentClock clock_;
    EventQueue queue_;
    NamedEvents names_;
    FaultRules rules_;
    CallCounts counts_{clock_};
    Transcript transcript_{clock_};
    RequestHandler handler_;
    Control control_;
    ClientLimits limits_;
    Poller poller_;
    std::size_t eventsPushed_ = 0;
    unsigned admitted_ = 0;
    unsigned controlsAdmitted_ = 0;
    /// In the order of their arrival, so that events reach them in the same order in every run.
    std::map<std::pair<Channel, unsigned>, std::unique_ptr<Connection>> connections_;
    FileDescriptor lock_;  ///< held while the listeners are created
    Door requests_;
    Door events_;
    Door controls_;
    std::optional<ScenarioPlayer> scenario_;
};

}  // namespace varnock::agent
