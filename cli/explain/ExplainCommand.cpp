#include "cli/Commands.h"
#include "cli/explain/Codes.h"
#include "cli/output/Failure.h"
#include "tools/NearestName.h"

namespace varnockctl {
namespace {

Json codeJson(const Code* found, JsonAllocator& allocator) {
    const Code& code = *found;
    Json out(rapidjson::kObjectType);
    add(out, "kind", code.kind, allocator);
    add(out, "number", Json(code.number), allocator);
    add(out, "name", code.name, allocator);
    add(out, "meaning", code.meaning, allocator);
    add(out, "cause", code.cause, allocator);
    add(out, "nextStep", code.nextStep, allocator);
    return out;
}

std::string codeText(const Code& code) {
    std::string text(code.kind);
    text.append(" ").append(std::to_string(code.number)).append(", ").append(code.name);
    text.append("\n  meaning    ").append(code.meaning);
    text.append("\n  cause      ").append(code.cause);
    return text.append("\n  next step  ").append(code.nextStep).append("\n");
}

std::vector<std::string> namesOfCodes() {
    std::vector<std::string> names;
    for (const Code& code : codes()) {
        names.emplace_back(code.name);
    }
    return names;
}

}  // namespace

Answer explainCode(const Options& options, const std::string& code) {
    std::vector<const Code*> found = findCodes(code);
    if (code.empty()) {
        for (const Code& each : codes()) {
            found.push_back(&each);
        }
    }
    if (found.empty()) {
        throw Failure(ExitStatus::notAvailable,
                      "no code is named or numbered \"" + code + "\"" + "; the nearest are " +
                          varnock::alternatives(varnock::nearestNames(code, namesOfCodes(), 3)));
    }
    options.selection.apply(found, codeJson);
    Answer answer;
    answer.shown = "codes";
    auto& allocator = answer.document.GetAllocator();
    Json rows(rapidjson::kArrayType);
    for (const Code* each : found) {
        answer.table += (answer.table.empty() ? "" : "\n") + codeText(*each);
        rows.PushBack(codeJson(each, allocator), allocator);
    }
    answer.document.SetObject();
    add(answer.document, "codes", std::move(rows), allocator);
    options.selection.judge(answer, found.empty());
    return answer;
}

}  // namespace varnockctl
