#include "agent/scenario/ScenarioPlayer.h"

#include <cstdio>
#include <utility>

#include "agent/control/Control.h"
#include "tools/Console.h"

namespace varnock::agent {
namespace {

std::string secondsText(AgentClock::Time time) {
    char text[32];
    std::snprintf(text, sizeof text, "%g s", static_cast<double>(time.count()) / 1e6);
    return text;
}

}  // namespace

ScenarioPlayer::ScenarioPlayer(Scenario scenario, Control& control, AgentClock& clock)
    : scenario_(std::move(scenario)), control_(control), clock_(clock) {
    waitForStep();
}

ScenarioPlayer::~ScenarioPlayer() {
    for (const auto& reply : waiting_) {
        reply->whenGiven(nullptr);
    }
}

void ScenarioPlayer::waitForStep() {
    if (done_ == scenario_.steps.size()) {
        return;
    }
    next_ = clock_.at(scenario_.steps[done_].at, [this] {
        perform(scenario_.steps[done_++]);
        waitForStep();
    });
}

void ScenarioPlayer::perform(const ScenarioStep& step) {
    if (step.request.empty()) {
        return;
    }
    const std::shared_ptr<LateReply> reply = control_.ask(step.request);
    if (reply->text()) {
        judge(step, *reply->text());
        return;
    }
    waiting_.push_back(reply);
    // The reply outlives the call, and does not own itself.
    reply->whenGiven([this, &step, late = reply.get()] { judge(step, *late->text()); });
}

void ScenarioPlayer::judge(const ScenarioStep& step, const std::string& reply) {
    JsonDocument document;
    document.Parse(reply.data(), reply.size());
    if (document["ok"].GetBool()) {
        return;
    }
    failures_.push_back({step.at, step.kind + ": " + document["error"].GetString()});
    console::say("varnock-agent: scenario " + scenario_.name,
                 "at " + secondsText(step.at) + ": " + failures_.back().reason);
}

}  // namespace varnock::agent
