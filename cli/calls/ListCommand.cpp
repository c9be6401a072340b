#include "catalogue/CallText.h"
#include "cli/Commands.h"
#include "cli/TextMatch.h"
#include "cli/calls/CallTable.h"
#include "cli/calls/Catalogue.h"
#include "cli/output/Failure.h"

namespace varnockctl {
namespace {

using varnock::catalogue::absentResult;
using varnock::catalogue::failureText;
using varnock::catalogue::optionsText;

/// In the catalogue "-" means that there is no value.
void addFact(Json& object, const char* name, std::string_view cell, JsonAllocator& allocator) {
    add(object, name, cell == "-" ? Json() : text(cell, allocator), allocator);
}

Json rowJson(const Call* listed, JsonAllocator& allocator) {
    const Call& call = *listed;
    const CatalogueRow& row = *findCall(call.name);
    Json out(rapidjson::kObjectType);
    add(out, "name", call.name, allocator);
    add(out, "options", optionsText(call.needs), allocator);
    addFact(out, "opcode", row.opcode, allocator);
    addFact(out, "ext", row.ext, allocator);
    addFact(out, "result", row.reply, allocator);
    return out;
}

const char* scanText(const CatalogueRow& row) {
    if (row.controllers == "always") {
        return "yes";
    }
    return row.controllers == "-" ? "no" : "for --ext 12, 13 and 14";
}

}  // namespace

Answer listCalls(const Options& options, const std::string& pattern) {
    std::vector<const Call*> found;
    for (const Call& call : callTable()) {
        if (containsIgnoringCase(call.name, pattern)) {
            found.push_back(&call);
        }
    }
    if (found.empty()) {
        throw Failure(ExitStatus::notAvailable, "no call has \"" + pattern +
                                                    "\" in its name; the nearest are " +
                                                    similarCalls(pattern));
    }
    options.selection.apply(found, rowJson);
    Answer answer;
    answer.shown = "calls";
    auto& allocator = answer.document.GetAllocator();
    Json calls(rapidjson::kArrayType);
    for (const Call* const call : found) {
        calls.PushBack(rowJson(call, allocator), allocator);
    }
    answer.document.SetObject();
    add(answer.document, "calls", std::move(calls), allocator);
    options.selection.judge(answer, found.empty());
    return answer;
}

Answer describeCall(const std::string& name) {
    const Call* call = findTypedCall(name);
    const CatalogueRow* row = findCall(name);
    if (call == nullptr || row == nullptr) {
        throw Failure(ExitStatus::usage,
                      "no call is named " + name + "; the nearest are " + similarCalls(name));
    }
    Answer answer;
    auto& document = answer.document;
    auto& allocator = document.GetAllocator();
    document.SetObject();
    add(document, "name", name, allocator);
    add(document, "meaning", row->description, allocator);
    add(document, "about", row->componentClass, allocator);
    add(document, "index", Json(row->index), allocator);
    add(document, "options", optionsText(call->needs), allocator);
    addFact(document, "arguments", row->arguments, allocator);
    add(document, "returns", row->returnType, allocator);
    add(document, "value", row->value, allocator);
    addFact(document, "unit", row->unit, allocator);
    addFact(document, "opcode", row->opcode, allocator);
    addFact(document, "ext", row->ext, allocator);
    addFact(document, "object", row->object, allocator);
    addFact(document, "cabinet", row->cabinet, allocator);
    addFact(document, "result", row->reply, allocator);
    add(document, "absent", absentResult(*row), allocator);
    addFact(document, "failure", row->failure, allocator);
    add(document, "onFailure", failureText(*row), allocator);
    add(document, "readsControllersFirst", scanText(*row), allocator);
    add(document, "changesState", Json(changesState(*row)), allocator);
    return answer;
}

}  // namespace varnockctl
