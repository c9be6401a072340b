#pragma once

#include <memory>
#include <string>
#include <vector>

#include "agent/AgentClock.h"
#include "agent/LateReply.h"
#include "agent/scenario/ScenarioFile.h"

namespace varnock::agent {

class Control;

/// Carries out the steps of a scenario, each at its time by the agent's clock. What fails is also
/// printed on standard error. Used only on the thread of the event loop.
class ScenarioPlayer {
  public:
    /// An expectation that was not met, or a step that was refused.
    struct Failure {
        AgentClock::Time at;  ///< of the step
        std::string reason;
    };

    /// The control and the clock must outlive the player.
    ScenarioPlayer(Scenario scenario, Control& control, AgentClock& clock);
    ~ScenarioPlayer();
    ScenarioPlayer(const ScenarioPlayer&) = delete;
    ScenarioPlayer& operator=(const ScenarioPlayer&) = delete;

    const std::string& name() const { return scenario_.name; }
    std::size_t steps() const { return scenario_.steps.size(); }
    std::size_t stepsDone() const { return done_; }
    const std::vector<Failure>& failures() const { return failures_; }

  private:
    void waitForStep();
    void perform(const ScenarioStep& step);
    void judge(const ScenarioStep& step, const std::string& reply);

    Scenario scenario_;
    Control& control_;
    AgentClock& clock_;
    std::size_t done_ = 0;
    std::vector<Failure> failures_;
    std::vector<std::shared_ptr<LateReply>> waiting_;
    AgentClock::Alarm next_;
};

}  // namespace varnock::agent
