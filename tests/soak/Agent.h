#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>

#include "tests/soak/EventLedger.h"
#include "tests/soak/Findings.h"
#include "tests/soak/Random.h"

namespace varnock::soak {

/// An agent process, which is replaced again and again. Its messages go to a file. Used by one
/// thread; the process ends with that thread.
class Agent {
  public:
    /// Starts an agent that serves the directory.
    Agent(std::string program, std::string directory, Findings& findings);
    /// Kills it.
    ~Agent();
    Agent(const Agent&) = delete;
    Agent& operator=(const Agent&) = delete;

    /// Ends it by SIGTERM, which must succeed, and starts the next one after a pause.
    void restart(std::chrono::milliseconds pause);
    /// The same by SIGKILL, which leaves its sockets behind.
    void replaceKilled(std::chrono::milliseconds pause);
    /// Stops it for this long.
    void freeze(std::chrono::milliseconds pause);

  private:
    void start();
    void reap(int signal);
    std::string log() const;

    const std::string program_;
    const std::string directory_;
    Findings& findings_;
    pid_t process_ = -1;
};

/// Asks the agent to push the next event. Does nothing if no agent listens.
void pushEvent(const std::string& directory, EventLedger& ledger, Random& random);

}  // namespace varnock::soak
