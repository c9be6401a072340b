#include <CLI/CLI.hpp>

#include "cli/CommandLine.h"
#include "cli/completion/CompletionValues.h"

namespace varnockctl {

Answer completeWords(const std::vector<std::string>& words) {
    CLI::App program;
    CommandLine unused;
    describeCommands(program, unused);
    CompletionValues values;
    const std::vector<varnock::Candidate> candidates = varnock::complete(program, words, values);

    Answer answer;
    answer.shown = "candidates";
    auto& allocator = answer.document.GetAllocator();
    Json list(rapidjson::kArrayType);
    for (const varnock::Candidate& candidate : candidates) {
        Json item(rapidjson::kObjectType);
        add(item, "text", candidate.text, allocator);
        add(item, "description", candidate.description, allocator);
        list.PushBack(item, allocator);
    }
    answer.document.SetObject();
    add(answer.document, "candidates", std::move(list), allocator);
    answer.table = varnock::completionText(candidates);
    return answer;
}

}  // namespace varnockctl
