#include "cli/CallText.h"
#include "cli/Catalogue.h"
#include "cli/Commands.h"
#include "cli/Failure.h"
#include "cli/TextMatch.h"

namespace varnockctl {
namespace {

Json rowJson(const CatalogueRow& row, const Call& call, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    add(out, "name", call.name, allocator);
    add(out, "options", neededOptions(call), allocator);
    add(out, "opcode", row.opcode, allocator);
    add(out, "ext", row.ext, allocator);
    add(out, "result", row.result, allocator);
    return out;
}

const char* scanText(const Call& call) {
    switch (scanUse(call.name)) {
        case ScanUse::always:
            return "yes";
        case ScanUse::forControllers:
            return "for --ext 12, 13 and 14";
        default:
            return "no";
    }
}

}  // namespace

Answer listCalls(const std::string& pattern) {
    Answer answer;
    answer.shown = "calls";
    auto& allocator = answer.document.GetAllocator();
    Json calls(rapidjson::kArrayType);
    for (const Call& call : callTable()) {
        if (containsIgnoringCase(call.name, pattern)) {
            calls.PushBack(rowJson(*findCall(call.name), call, allocator), allocator);
        }
    }
    if (calls.Empty()) {
        throw Failure(ExitStatus::notAvailable, "no call has \"" + pattern + "\" in its name");
    }
    answer.document.SetObject();
    add(answer.document, "calls", std::move(calls), allocator);
    return answer;
}

Answer describeCall(const std::string& name) {
    const Call* call = findTypedCall(name);
    const CatalogueRow* row = findCall(name);
    if (call == nullptr || row == nullptr) {
        throw Failure(ExitStatus::usage, "no call is named " + name);
    }
    Answer answer;
    auto& document = answer.document;
    auto& allocator = document.GetAllocator();
    document.SetObject();
    add(document, "name", name, allocator);
    add(document, "meaning", meaning(*row), allocator);
    add(document, "index", Json(row->index), allocator);
    add(document, "options", neededOptions(*call), allocator);
    add(document, "arguments", row->arguments, allocator);
    add(document, "returns", row->returnType, allocator);
    add(document, "opcode", row->opcode, allocator);
    add(document, "ext", row->ext, allocator);
    add(document, "object", row->object, allocator);
    add(document, "cabinet", row->cabinet, allocator);
    add(document, "result", row->result, allocator);
    add(document, "absent", absentResult(*row), allocator);
    add(document, "failure", row->failure, allocator);
    add(document, "onFailure", failureText(*row), allocator);
    add(document, "readsControllersFirst", scanText(*call), allocator);
    add(document, "changesState", Json(changesState(*row)), allocator);
    return answer;
}

}  // namespace varnockctl
