#pragma once

#include <filesystem>
#include <memory>

#include "agent/Machine.h"

namespace varnock::agent {

/// The machine that the agent runs on. Data is read on demand. Missing or unreadable data is
/// answered with the ordinary negative status; so are commands that would change the machine. Not
/// thread-safe.
class HostMachine : public Machine {
  public:
    /// Files are searched under `root`, so that tests can present another machine.
    explicit HostMachine(const std::filesystem::path& root = "/");
    ~HostMachine() override;

    Answer answer(const Command& command) override;
    std::string name() const override { return "host"; }

    /// The sources of the facts; public only for the table of commands.
    struct Sources;

  private:
    std::unique_ptr<Sources> sources_;
};

}  // namespace varnock::agent
