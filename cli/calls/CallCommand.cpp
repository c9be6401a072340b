#include <unistd.h>

#include <cstdio>

#include "cli/Commands.h"
#include "cli/calls/CallRunner.h"
#include "cli/calls/Catalogue.h"
#include "cli/output/Failure.h"
#include "tools/Console.h"

namespace varnockctl {
namespace {

const Call& callNamed(const std::string& name) {
    const Call* call = findTypedCall(name);
    if (call == nullptr) {
        throw Failure(ExitStatus::usage, "no call is named " + name + "; varnockctl list " +
                                             name.substr(0, 8) + " lists similar ones");
    }
    return *call;
}

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

Answer valueAnswer(const std::string& name, JsonDocument document, Json value,
                   const Verdict& verdict) {
    Answer answer;
    answer.status = verdict.status;
    answer.document = std::move(document);
    answer.shown = "value";
    auto& allocator = answer.document.GetAllocator();
    add(answer.document, "call", name, allocator);
    if (verdict.reason.empty()) {
        add(answer.document, "value", std::move(value), allocator);
    } else {
        add(answer.document, "value", Json(), allocator);
        add(answer.document, "reason", verdict.reason, allocator);
        say(name + ": " + verdict.reason);
    }
    return answer;
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
    if (outcome.threw) {
        throw Failure(outcome.verdict.status, outcome.verdict.reason);
    }
    return valueAnswer(name, std::move(document), std::move(outcome.value), outcome.verdict);
}

}  // namespace varnockctl
