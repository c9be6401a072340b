#include "agent/Server.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <exception>
#include <utility>

#include "agent/control/ExpectVerbs.h"
#include "agent/control/LayerVerbs.h"
#include "agent/control/ModelVerbs.h"
#include "agent/control/ServerVerbs.h"
#include "runtime/files/PlatformPaths.h"
#include "tools/Console.h"

namespace varnock::agent {
namespace {

/// The most clients accepted before other sources get their turn.
constexpr int kAcceptedAtOnce = 64;
/// How long no client is accepted after the system has run out of descriptors or memory.
constexpr std::uint64_t kReopenAfter = 100'000;
constexpr mode_t kOwnerOnly = 0600;

Listener openListener(Channel channel, const char* name, ServerOptions& options) {
    const std::string path = options.directory + "/" + name;
    FileDescriptor inherited = takeInherited(options.inherited, name);
    if (inherited) {
        return {path, std::move(inherited)};
    }
    return {path, channel == Channel::control ? kOwnerOnly : options.mode};
}

bool isListener(const Connection& connection) {
    const Session& session = connection.session();
    return session.channel == Channel::events && session.registered;
}

}  // namespace

Server::Door::Door(Server& owner, Channel which, Replier& answers, const char* name,
                   ServerOptions& options)
    : server(owner),
      channel(which),
      replier(answers),
      listener(openListener(which, name, options)) {
    sd_event_source* source = nullptr;
    checked(sd_event_add_io(server.loop_, &source, listener.fd(), EPOLLIN, onClient, this),
            "cannot watch");
    ready.reset(source);
    checked(
        sd_event_add_time_relative(server.loop_, &source, CLOCK_MONOTONIC, 0, 0, onReopen, this),
        "cannot make a timer");
    reopen.reset(source);
    checked(sd_event_source_set_enabled(source, SD_EVENT_OFF), "cannot stop a timer");
}

Server::Server(sd_event* loop, Machine& machine, ServerOptions options)
    : loop_(loop),
      directory_(options.directory),
      machine_(machine),
      clock_(loop, options.clock),
      queue_(loop, [this](const std::string& frame) { push(frame); }),
      names_(queue_),
      rules_(clock_, options.seed),
      handler_(machine, rules_, counts_, transcript_),
      limits_(options.limits),
      poller_(loop),
      lock_(lockDirectory(options.directory)),
      requests_(*this, Channel::requests, handler_, kRequestSocket, options),
      events_(*this, Channel::events, handler_, kEventSocket, options),
      controls_(*this, Channel::control, control_, kControlSocket, options) {
    lock_.reset();
    for (const std::string& rule : options.faults) {
        rules_.add(rule);
    }
    if (!options.transcript.empty()) {
        transcript_.start(options.transcript);
    }
    addServerVerbs(control_, *this);
    addFaultVerb(control_, rules_, clock_);
    addTranscriptVerb(control_, transcript_);
    addClockVerb(control_, clock_);
    addCallVerbs(control_, counts_);
    refuseModelVerbs(control_);
    machine_.attach({control_, queue_, names_, clock_, rules_});
    if (options.scenario) {
        scenario_.emplace(*std::move(options.scenario), control_, clock_);
    }
}

int Server::onClient(sd_event_source*, int, std::uint32_t, void* self) {
    auto* door = static_cast<Door*>(self);
    try {
        door->server.accept(*door);
    } catch (const std::exception& failure) {
        console::say("varnock-agent: client refused", failure.what());
    }
    return 0;
}

int Server::onReopen(sd_event_source*, std::uint64_t, void* self) {
    return sd_event_source_set_enabled(static_cast<Door*>(self)->ready.get(), SD_EVENT_ON);
}

void Server::accept(Door& door) {
    for (int count = 0; count < kAcceptedAtOnce; ++count) {
        FileDescriptor client(
            accept4(door.listener.fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (client) {
            admit(std::move(client), door);
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            closeForAWhile(door);
            return;
        } else if (errno != ECONNABORTED && errno != EINTR) {
            return;
        }
    }
}

void Server::admit(FileDescriptor client, const Door& door) {
    if (connections(door.channel) >= limits_.connections && !dropIdleLongest(door.channel)) {
        return;
    }
    unsigned& admitted = door.channel == Channel::control ? controlsAdmitted_ : admitted_;
    const unsigned number = ++admitted;
    // Which descriptors are free depends on how fast the system closes the connections of others.
    const bool isRepeatable = clock_.kind() == AgentClock::Kind::isVirtual;
    const int reported = isRepeatable ? static_cast<int>(number) : client.get();
    Session session{door.channel, reported, false, {}, number};
    const std::pair key(session.channel, session.number);
    connections_.emplace(
        key, std::make_unique<Connection>(Surroundings{loop_, poller_, clock_, limits_},
                                          std::move(client), std::move(session), door.replier,
                                          [this](Connection& gone) { drop(gone); }));
}

/// Clients that only hold connections must not shut out others. False if no connection is idle.
bool Server::dropIdleLongest(Channel channel) {
    const Connection* longest = nullptr;
    for (const auto& [key, connection] : connections_) {
        if (connection->session().channel == channel && connection->isIdle() &&
            (longest == nullptr || connection->lastActive() < longest->lastActive())) {
            longest = connection.get();
        }
    }
    if (longest != nullptr) {
        drop(*longest);
    }
    return longest != nullptr;
}

/// The client that was not accepted keeps the listener readable: without a pause the loop would
/// spin.
void Server::closeForAWhile(Door& door) {
    checked(sd_event_source_set_enabled(door.ready.get(), SD_EVENT_OFF), "cannot pause");
    checked(sd_event_source_set_time_relative(door.reopen.get(), kReopenAfter), "cannot pause");
    checked(sd_event_source_set_enabled(door.reopen.get(), SD_EVENT_ONESHOT), "cannot pause");
}

void Server::drop(const Connection& connection) {
    connections_.erase({connection.session().channel, connection.session().number});
}

/// A client with too many unread events is dropped.
void Server::push(const std::string& frame) {
    std::erase_if(connections_, [&](const auto& entry) {
        Connection& connection = *entry.second;
        if (!isListener(connection)) {
            return false;
        }
        if (transcript_.isOn()) {
            transcript_.event(connection.session(), frame);
        }
        return !connection.push(frame);
    });
    ++eventsPushed_;
}

std::size_t Server::listeners() const {
    return static_cast<std::size_t>(
        std::count_if(connections_.begin(), connections_.end(),
                      [](const auto& entry) { return isListener(*entry.second); }));
}

std::size_t Server::connections(Channel channel) const {
    return static_cast<std::size_t>(std::count_if(
        connections_.begin(), connections_.end(),
        [&](const auto& entry) { return entry.second->session().channel == channel; }));
}

}  // namespace varnock::agent
