#pragma once

#include <chrono>
#include <future>
#include <optional>
#include <thread>

namespace varnockctl {

/// One request to the agent, as sent first by providers: the number of the cabinet. It is sent on a
/// separate thread, because the library waits half a minute for a stuck agent. Used by one thread.
class AgentTrial {
  public:
    struct Result {
        unsigned int status;                  ///< of the reply or of the connection
        std::chrono::microseconds roundTrip;  ///< including the registration of the connection
    };

    /// Sends the request.
    AgentTrial();
    /// Waits until the library's time limit ends the request.
    ~AgentTrial() { thread_.join(); }
    AgentTrial(const AgentTrial&) = delete;
    AgentTrial& operator=(const AgentTrial&) = delete;

    /// Nothing if there is no answer within this time. Throws the exception of the request. Call it
    /// once.
    std::optional<Result> await(std::chrono::milliseconds patience);

  private:
    std::promise<Result> promise_;
    std::thread thread_;
};

}  // namespace varnockctl
