#pragma once

#include <filesystem>
#include <memory>

#include "agent/Machine.h"
#include "agent/described/ModelAnswer.h"
#include "agent/model/MachineModel.h"

namespace varnock::agent {

class HostFacts;

/// The machine that the agent runs on. Data is read on demand. Missing or unreadable data is
/// answered with the ordinary negative status; so are commands that would change the machine. Users
/// can override what the agent answers. Not thread-safe.
class HostMachine : public Machine {
  public:
    /// Files are searched under `root`, so that tests can present another machine.
    explicit HostMachine(const std::filesystem::path& root = "/");
    ~HostMachine() override;

    Answer answer(const Command& command) override;

    /// From then on users have control over the values.
    void attach(const Services& services) override;
    void detach() override;
    std::string name() const override { return "host"; }

    MachineModel& model() { return model_; }

    /// The sources of the facts; public only for the functions that read these.
    struct Sources;

  private:
    std::unique_ptr<Sources> sources_;
    MachineModel model_;
    ModelAnswer answers_;
    std::unique_ptr<HostFacts> facts_;
};

}  // namespace varnock::agent
