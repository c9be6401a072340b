#pragma once

#include <filesystem>
#include <memory>

#include "agent/Machine.h"

namespace varnock::agent {

/// The machine that the agent runs on. Nothing is read before it is asked for. What the machine
/// does not have, or does not let the agent read, is answered with the ordinary negative status;
/// what would change it is not done. Not thread-safe.
class HostMachine : public Machine {
  public:
    /// Files are looked for under root, so that tests can show it another machine.
    explicit HostMachine(const std::filesystem::path& root = "/");
    ~HostMachine() override;

    Answer answer(const Command& command) override;

    /// Where the facts come from; public for the table of commands alone.
    struct Sources;

  private:
    std::unique_ptr<Sources> sources_;
};

}  // namespace varnock::agent
