#pragma once

#include <atomic>
#include <chrono>
#include <list>
#include <string>
#include <thread>

#include "tests/soak/Random.h"
#include "tests/soak/Sockets.h"

namespace varnock::soak {

/// Stands between clients and the agent's socket for requests. Passes requests on, and spoils some
/// of the replies: cuts, delays, replaces or swallows them. Listens from its construction to its
/// destruction, which waits for the replies that were begun and closes all connections.
///
/// A client waits ten seconds for the rest of a reply that was begun, even if the agent hangs up,
/// so such replies are rare, and come only until `lastCut`.
class Relay {
  public:
    using Clock = std::chrono::steady_clock;

    Relay(const std::string& path, std::string agent, unsigned int seed, Clock::time_point lastCut);
    ~Relay();
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    /// The number of replies that were spoilt.
    unsigned int spoilt() const { return spoilt_; }

  private:
    struct Connection {
        Socket client;
        Socket agent;
        std::atomic<bool> isOver = false;
        std::thread thread;
    };

    void accept();
    void serve(Connection& connection, Random random);
    /// False if the connection must be closed.
    [[nodiscard]] bool deliver(int client, const std::string& request, const std::string& reply,
                               Random& random);
    [[nodiscard]] bool spoil(int client, const std::string& request, const std::string& reply,
                             Random& random);
    void cut(int client, const std::string& reply, Random& random);
    /// Waits; false if the relay ends.
    [[nodiscard]] bool pause(std::chrono::milliseconds duration) const;
    void dropEnded();

    const std::string path_;
    const std::string agent_;
    const unsigned int seed_;
    const Clock::time_point lastCut_;
    std::atomic<bool> isEnding_ = false;
    std::atomic<unsigned int> spoilt_ = 0;
    Socket listener_;
    std::list<Connection> connections_;  ///< used by the acceptor, and after its end
    std::thread acceptor_;
};

}  // namespace varnock::soak
