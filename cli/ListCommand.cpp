#include "cli/Catalogue.h"
#include "cli/Commands.h"
#include "cli/Failure.h"
#include "cli/TextMatch.h"

namespace varnockctl {
namespace {

std::string optionsOf(const Call& call) {
    constexpr std::pair<CallOption, const char*> names[] = {{optionCabinet, "--cabinet N"},
                                                            {optionObject, "--object N"},
                                                            {optionExt, "--ext N"},
                                                            {optionValue, "--value V"},
                                                            {optionNode, "--node TEXT"}};
    std::string out;
    for (const auto& [flag, name] : names) {
        if ((call.needs & flag) != 0) {
            out.append(out.empty() ? "" : " ").append(name);
        }
    }
    return out;
}

Json rowJson(const CatalogueRow& row, const Call& call, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    add(out, "name", call.name, allocator);
    add(out, "options", optionsOf(call), allocator);
    add(out, "opcode", row.opcode, allocator);
    add(out, "ext", row.ext, allocator);
    add(out, "result", row.result, allocator);
    return out;
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
    add(document, "index", Json(row->index), allocator);
    add(document, "options", optionsOf(*call), allocator);
    add(document, "arguments", row->arguments, allocator);
    add(document, "returns", row->returnType, allocator);
    add(document, "opcode", row->opcode, allocator);
    add(document, "ext", row->ext, allocator);
    add(document, "object", row->object, allocator);
    add(document, "cabinet", row->cabinet, allocator);
    add(document, "result", row->result, allocator);
    add(document, "failure", row->failure, allocator);
    add(document, "changesState", Json(changesState(*row)), allocator);
    return answer;
}

}  // namespace varnockctl
