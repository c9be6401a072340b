#pragma once

#include <chrono>
#include <future>
#include <optional>
#include <thread>

namespace varnockctl {

/// One request to the agent on the connection that providers use: what a client asks first, the
/// number of its cabinet. It is sent from a thread of its own, since the library waits half a
/// minute for an agent that is stuck. Used by one thread.
class AgentTrial {
  public:
    struct Result {
        unsigned int status;                  ///< of the reply or of the connection
        std::chrono::microseconds roundTrip;  ///< with the connection's registration
    };

    /// Sends the request.
    AgentTrial();
    /// Waits until the library gives up.
    ~AgentTrial() { thread_.join(); }
    AgentTrial(const AgentTrial&) = delete;
    AgentTrial& operator=(const AgentTrial&) = delete;

    /// Nothing when there is no answer in that time. To be called once.
    std::optional<Result> await(std::chrono::milliseconds patience);

  private:
    std::promise<Result> promise_;
    std::thread thread_;
};

}  // namespace varnockctl
