#pragma once

#include "agent/AgentClock.h"
#include "agent/Machine.h"
#include "agent/described/Dependents.h"
#include "agent/described/MachineLog.h"
#include "agent/described/ModelAnswer.h"
#include "agent/described/SavedState.h"
#include "agent/model/MachineModel.h"

namespace varnock::agent {

/// A machine that a file describes. It answers every command of the catalogue for which the
/// description has a value, and keeps what clients change. Not thread-safe.
class DescribedMachine : public Machine {
  public:
    /// The document must have the shape of a machine. `name` is for users.
    DescribedMachine(Document machine, MachineModel::Clock clock, std::string name = "described");

    /// Goes on where the state was saved. Throws std::invalid_argument if it has an override that
    /// its machine cannot have.
    DescribedMachine(SavedState state, MachineModel::Clock clock, std::string name);

    Answer answer(const Command& command) override { return answers_.answer(command); }

    /// From then on the time is that of the agent, and users have control over the values.
    void attach(const Services& services) override;
    void detach() override;
    std::string name() const override { return name_; }

    MachineModel& model() { return model_; }

  private:
    void follow(MachineModel::Clock clock);
    void observe();
    void changed(const std::string& path);
    void look();
    void lookLater(bool isCurved);

    std::string name_;
    double elapsed_ = 0;  ///< before this machine was loaded
    MachineModel model_;
    ModelAnswer answers_;
    FaultRules::State loaded_;  ///< rules for faults, until there are services
    MachineLog log_{model_};
    Dependents dependents_{model_, log_};
    AgentClock* time_ = nullptr;  ///< while the services are there
    bool isLooking_ = false;
    std::optional<AgentClock::Time> lookingAt_;
    AgentClock::Alarm nextLook_;  ///< at values that change with the time
};

}  // namespace varnock::agent
