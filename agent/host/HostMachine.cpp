#include "agent/host/HostMachine.h"

#include <string>

#include "agent/Refusal.h"
#include "agent/Services.h"
#include "agent/control/Control.h"
#include "agent/control/ModelVerbs.h"
#include "agent/described/ModelClocks.h"
#include "agent/described/SavedState.h"
#include "agent/host/HostFacts.h"
#include "agent/host/OperatingSystem.h"

namespace varnock::agent {
namespace {

constexpr unsigned kConfigurationRead = 0xE001;
constexpr unsigned kAccountCheck = 0x3812;
constexpr unsigned kUserGroup = 0x3813;
/// Every process that can open the socket may send commands: the agent does not check accounts.
constexpr unsigned kAccountsUnchecked = 0;

/// What a client asks about the agent when it starts; nothing for other commands.
std::optional<Answer> answerOfAgent(const Command& command) {
    if (command.opcode != kConfigurationRead || command.object != 0) {
        return std::nullopt;
    }
    if (command.extension == kAccountCheck) {
        return kAccountsUnchecked;
    }
    return command.extension == kUserGroup ? std::optional(Answer(ownGroup())) : std::nullopt;
}

bool isWithoutSource(const Answer& answer) {
    return answer.status == Status::notAvailable &&
           (answer.reason == absenceText(Absence::object) ||
            answer.reason == absenceText(Absence::value));
}

}  // namespace

HostMachine::HostMachine(const std::filesystem::path& root)
    : sources_(std::make_unique<Sources>(root)),
      model_(Document(rapidjson::kObjectType), systemClock()),
      answers_(model_, ModelAnswer::Changes::refused),
      facts_(std::make_unique<HostFacts>(*sources_, model_)) {
    model_.refreshBy([this](const auto& path, const Arguments& arguments, bool isWhole) {
        facts_->refresh(path, arguments, isWhole);
    });
}

HostMachine::~HostMachine() = default;

Answer HostMachine::answer(const Command& command) {
    if (auto own = answerOfAgent(command)) {
        return *std::move(own);
    }
    Answer answer = answers_.answer(command);
    const catalogue::ModelPath* const path = answers_.pathOf(command);
    if (path != nullptr && isWithoutSource(answer)) {
        answer.reason.append(": ").append(facts_->absence(*path));
    }
    return answer;
}

void HostMachine::attach(const Services& services) {
    model_.setClock(agentTime(services.clock));
    addModelVerbs(services.control, model_);
    addSaveVerb(services.control, [this, &faults = services.faults] {
        return stateText(model_, answers_.scans(), faults.state());
    });
    services.control.add("log", [](const Json&, JsonDocument&) {
        throw Refusal(
            "the message log of the host is that of its system; only machines that a "
            "file describes have their own, see --machine");
    });
}

void HostMachine::detach() {
    model_.setClock(systemClock());
}

}  // namespace varnock::agent
