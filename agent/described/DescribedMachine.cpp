#include "agent/described/DescribedMachine.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "agent/AgentClock.h"
#include "agent/Services.h"
#include "agent/control/ModelVerbs.h"
#include "agent/described/ModelClocks.h"
#include "agent/events/EventSink.h"

namespace varnock::agent {
namespace {

/// A century.
constexpr double kLongestWait = 36525.0 * 24 * 3600;

}  // namespace

DescribedMachine::DescribedMachine(Document machine, MachineModel::Clock clock, std::string name)
    : name_(std::move(name)),
      model_(std::move(machine), std::move(clock)),
      answers_(model_, ModelAnswer::Changes::accepted) {
    observe();
}

DescribedMachine::DescribedMachine(SavedState state, MachineModel::Clock clock, std::string name)
    : name_(std::move(name)),
      elapsed_(state.elapsed),
      model_(std::move(state.machine),
             [elapsed = state.elapsed] {
                 return Moment{0, elapsed};
             }),
      answers_(model_, ModelAnswer::Changes::accepted, std::move(state.scans)),
      loaded_(std::move(state.faults)) {
    for (const SavedOverride& each : state.overrides) {
        model_.set(each.path, each.value, each.owner, each.secondsLeft);
    }
    follow(std::move(clock));
    observe();
}

void DescribedMachine::observe() {
    model_.observe([this](const std::string& path) { changed(path); });
}

void DescribedMachine::changed(const std::string& path) {
    dependents_.update(path);
    if (!isLooking_) {
        lookLater(true);
    }
}

void DescribedMachine::follow(MachineModel::Clock clock) {
    model_.setClock([clock = std::move(clock), elapsed = elapsed_] {
        Moment moment = clock();
        moment.sinceStart += elapsed;
        return moment;
    });
}

void DescribedMachine::attach(const Services& services) {
    using Seconds = std::chrono::duration<double>;
    // A virtual calendar begins with the machine, also with one that was saved.
    const bool isVirtual = services.clock.kind() == AgentClock::Kind::isVirtual;
    const auto before =
        std::chrono::duration_cast<AgentClock::Time>(Seconds(isVirtual ? elapsed_ : 0));
    follow(agentTime(services.clock, before));
    log_.listen([&events = services.events](unsigned number, unsigned cabinet) {
        raiseLogEntry(events, EventOpcode::systemMessageLog, number, cabinet);
    });
    time_ = &services.clock;
    look();
    addModelVerbs(services.control, model_);
    addLogVerb(services.control, log_);
    services.faults.restore(std::exchange(loaded_, {}));
    addSaveVerb(services.control, [this, &faults = services.faults] {
        return stateText(model_, answers_.scans(), faults.state());
    });
}

void DescribedMachine::detach() {
    nextLook_ = {};
    lookingAt_.reset();
    time_ = nullptr;
    log_.listen(nullptr);
}

/// Ends the overrides that are over, and judges the readings that follow a curve.
void DescribedMachine::look() {
    isLooking_ = true;
    lookingAt_.reset();
    model_.overrides();
    const bool isCurved = dependents_.followCurves();
    isLooking_ = false;
    lookLater(isCurved);
}

/// Curves are looked at every second, an override when it ends.
void DescribedMachine::lookLater(bool isCurved) {
    if (time_ == nullptr) {
        return;
    }
    using std::chrono::duration_cast;
    constexpr AgentClock::Time kLeast{1};
    const double now = model_.now().sinceStart;
    std::optional<double> wait;
    if (isCurved) {
        wait = 1;
    }
    for (const Override& each : model_.overrides()) {
        if (each.ends) {
            wait = std::min(wait.value_or(*each.ends - now), *each.ends - now);
        }
    }
    if (!wait) {
        return;
    }
    const auto rest = duration_cast<AgentClock::Time>(
        std::chrono::duration<double>(std::clamp(*wait, 0.0, kLongestWait)));
    const AgentClock::Time when = time_->now() + rest + kLeast;
    // Further changes must not put it off.
    if (!lookingAt_ || when < *lookingAt_) {
        lookingAt_ = when;
        nextLook_ = time_->at(when, [this] { look(); });
    }
}

}  // namespace varnock::agent
