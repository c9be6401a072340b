#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "cli/Commands.h"
#include "cli/calls/CallRunner.h"
#include "cli/calls/Catalogue.h"
#include "cli/calls/MachineReader.h"
#include "cli/explain/Codes.h"
#include "cli/output/Failure.h"
#include "tools/Console.h"

namespace varnockctl {
namespace {

Answer dryRunAnswer(const std::string& name, const std::vector<Exchange>& exchanges) {
    Answer answer;
    answer.shown = "records";
    auto& allocator = answer.document.GetAllocator();
    answer.document.SetObject();
    add(answer.document, "call", name, allocator);
    Json records(rapidjson::kArrayType);
    for (const Exchange& exchange : exchanges) {
        records.PushBack(text(exchange.sent, allocator), allocator);
    }
    add(answer.document, "records", std::move(records), allocator);
    return answer;
}

Answer valueAnswer(const CatalogueRow& row, JsonDocument document, Json value,
                   const Verdict& verdict) {
    Answer answer;
    const std::string name(row.name);
    answer.document = std::move(document);
    answer.shown = "value";
    auto& allocator = answer.document.GetAllocator();
    add(answer.document, "call", name, allocator);
    if (verdict.reason.empty()) {
        const bool hasUnit = value.IsNumber() && row.unit != "-";
        add(answer.document, "value", std::move(value), allocator);
        if (hasUnit) {
            add(answer.document, "unit", row.unit, allocator);
        }
    } else {
        add(answer.document, "value", Json(), allocator);
        add(answer.document, "reason", verdict.reason, allocator);
        answer.fail(verdict.status, name + ": " + verdict.reason);
    }
    return answer;
}

/// Whether the machine lacks the cabinet or the object of a call, as far as the agent says what it
/// has; empty if both are there or it does not say.
std::string whatIsMissing(Session& session, const CatalogueRow& row,
                          const CallArguments& arguments) {
    if (!arguments.cabinet) {
        return {};
    }
    JsonDocument document;
    MachineReader machine(session, document.GetAllocator());
    const unsigned int cabinet = parseNumber(*arguments.cabinet, "--cabinet");
    const Json cabinets = machine.ask("cabinets", "getCabNrs", {0, 0, 0});
    const bool isKnown = cabinets.IsArray() && !cabinets.Empty();
    if (isKnown && std::find(cabinets.Begin(), cabinets.End(), Json(cabinet)) == cabinets.End()) {
        return "the machine has no cabinet " + *arguments.cabinet + ", but " +
               toString(cabinets, false);
    }
    const auto kinds = componentKinds();
    const auto kind = std::find_if(kinds.begin(), kinds.end(), [&](const ComponentKind& one) {
        return one.count->componentClass == row.componentClass;
    });
    if (!arguments.object || kind == kinds.end()) {
        return {};
    }
    const Json count = machine.ask("count", kind->count->name, {cabinet, 0, 0});
    const std::string things = std::string(row.componentClass);
    if (!count.IsUint()) {
        return "the agent knows no " + things + " in cabinet " + *arguments.cabinet;
    }
    return parseNumber(*arguments.object, "--object") < count.GetUint()
               ? "the " + things + " is there, but not this value of it"
               : "cabinet " + *arguments.cabinet + " has " + std::to_string(count.GetUint()) +
                     " of this kind (" + things + "), numbered from 0";
}

}  // namespace

void confirm(const Options& options, const std::string& what) {
    if (options.yes || options.dryRun || !isatty(STDIN_FILENO)) {
        return;
    }
    varnock::console::say(what + " changes the state of the machine. Continue? [y/N]");
    const int answer = getchar();
    if (answer != 'y' && answer != 'Y') {
        throw Failure(ExitStatus::interrupted, "not done");
    }
}

void confirmCall(const Options& options, const std::string& what) {
    if (!options.yes && !options.dryRun && !isatty(STDIN_FILENO)) {
        throw Failure(ExitStatus::usage,
                      what +
                          " changes the state of the machine; it needs --yes, because standard "
                          "input is not a terminal");
    }
    confirm(options, what);
}

Answer runCall(const Options& options, const std::string& name, const CallArguments& arguments) {
    const Call& call = callNamed(name);
    const CatalogueRow& row = *findCall(name);
    checkArguments(call, arguments);
    const bool changes = changesState(row);
    if (options.dryRun && !changes) {
        throw Failure(ExitStatus::usage,
                      name + " changes nothing; --dry-run is only for calls that change state");
    }
    Session session(options);
    if (changes) {
        confirmCall(options, name);
    }
    JsonDocument document(rapidjson::kObjectType);
    Outcome outcome = run(session, name, arguments, document.GetAllocator());
    if (options.dryRun) {
        return dryRunAnswer(name, session.client().exchanges());
    }
    const auto& exchanges = session.client().exchanges();
    const std::string hint =
        !outcome.verdict.reason.empty() && !exchanges.empty() && exchanges.back().result != 0
            ? explainHint(exchanges.back().status)
            : "";
    if (outcome.verdict.status == ExitStatus::notAvailable && !changes) {
        const std::string missing = whatIsMissing(session, row, arguments);
        outcome.verdict.reason += missing.empty() ? "" : "; " + missing;
    }
    Answer answer =
        outcome.threw
            ? failed({outcome.verdict.status, name + ": " + outcome.verdict.reason})
            : valueAnswer(row, std::move(document), std::move(outcome.value), outcome.verdict);
    if (!hint.empty()) {
        say(hint);
    }
    return answer;
}

}  // namespace varnockctl
