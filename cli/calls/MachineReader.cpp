#include "cli/calls/MachineReader.h"

#include <algorithm>
#include <utility>

#include "cli/output/Failure.h"

namespace varnockctl {
namespace {

/// A call that says how many components of its class a cabinet has.
bool isCount(const CatalogueRow& row) {
    return row.value == "count" && row.arguments == "cimple::uint32 cabinetNr";
}

/// A call that reads one object by its number alone.
bool isReading(const CatalogueRow& row) {
    return row.object == "key objectId" && row.cabinet == "key cabinetNr" && row.value != "none" &&
           row.arguments == "const KOLMKey& key" && !changesState(row) &&
           row.ext.find("key") == std::string_view::npos;
}

CallArguments argumentsOf(const Call& call, const provider::KOLMKey& key) {
    CallArguments out;
    const auto give = [&](unsigned int option, unsigned int value) {
        return (call.takes & option) != 0 ? std::optional(std::to_string(value)) : std::nullopt;
    };
    out.cabinet = give(optionCabinet, key.cabinetNr);
    out.object = give(optionObject, key.objectId);
    out.ext = give(optionExt, key.opCodeExt);
    return out;
}

}  // namespace

std::vector<ComponentKind> componentKinds() {
    std::vector<ComponentKind> kinds;
    for (const CatalogueRow& count : catalogue()) {
        if (!isCount(count)) {
            continue;
        }
        ComponentKind kind{&count, {}};
        for (const CatalogueRow& row : catalogue()) {
            if (row.componentClass == count.componentClass && isReading(row)) {
                kind.readings.push_back(&row);
            }
        }
        if (!kind.readings.empty()) {
            kinds.push_back(std::move(kind));
        }
    }
    return kinds;
}

void MachineReader::keepReason(const std::string& name, const Verdict& verdict) {
    if (verdict.status != ExitStatus::notAvailable) {
        ++failures_;
        if (failure_.empty()) {
            failure_ = name + ": " + verdict.reason;
        }
    }
    Json entry(rapidjson::kObjectType);
    add(entry, "part", name, allocator_);
    add(entry, "reason", verdict.reason, allocator_);
    unavailable_.PushBack(entry, allocator_);
}

Json MachineReader::ask(const std::string& name, std::string_view call, const Key& key) {
    ++calls_;
    const CallArguments arguments = argumentsOf(*findTypedCall(call), key);
    Outcome outcome = run(session_, std::string(call), arguments, allocator_);
    const Verdict& verdict = outcome.verdict;
    if (verdict.status == ExitStatus::noAgent || verdict.status == ExitStatus::permission) {
        throw Failure(verdict.status, verdict.reason);
    }
    if (!verdict.reason.empty()) {
        keepReason(name, verdict);
    }
    return std::move(outcome.value);
}

unsigned int MachineReader::askNumber(const std::string& name, std::string_view call,
                                      const Key& key) {
    const Json value = ask(name, call, key);
    return value.IsUint() ? value.GetUint() : 0;
}

unsigned int MachineReader::askCount(const std::string& name, std::string_view call,
                                     const Key& key) {
    const unsigned int count = askNumber(name, call, key);
    if (count > kMostComponents) {
        keepReason(name, {ExitStatus::unintelligible,
                          "the agent reports " + std::to_string(count) + ", of which " +
                              std::to_string(kMostComponents) + " are read"});
    }
    return std::min(count, kMostComponents);
}

std::vector<unsigned int> MachineReader::cabinets() {
    const Json numbers = ask("cabinets", "getCabNrs", Key(0, 0, 0));
    std::vector<unsigned int> out;
    for (rapidjson::SizeType i = 0; numbers.IsArray() && i < numbers.Size(); ++i) {
        if (std::find(out.begin(), out.end(), numbers[i].GetUint()) == out.end()) {
            out.push_back(numbers[i].GetUint());
        }
    }
    return out.empty() ? std::vector<unsigned int>{0} : out;
}

}  // namespace varnockctl
