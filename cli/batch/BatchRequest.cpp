#include "cli/batch/BatchRequest.h"

#include <rapidjson/error/en.h>

#include <utility>

#include "cli/output/Failure.h"

namespace varnockctl {
namespace {

constexpr std::pair<std::string_view, std::optional<std::string> CallArguments::*> kMembers[] = {
    {"cabinet", &CallArguments::cabinet}, {"object", &CallArguments::object},
    {"ext", &CallArguments::ext},         {"value", &CallArguments::value},
    {"node", &CallArguments::node},
};

Failure mistake(const std::string& message) {
    return {ExitStatus::usage, message};
}

std::string_view textOf(const Json& value) {
    return {value.GetString(), value.GetStringLength()};
}

/// The text that the option of a command would have.
std::string optionText(std::string_view name, const Json& value) {
    if (value.IsString()) {
        // The library takes a text up to its first NUL.
        if (textOf(value).find('\0') != std::string_view::npos) {
            throw mistake("\"" + std::string(name) + "\" contains a NUL");
        }
        return std::string(textOf(value));
    }
    if (!value.IsUint64()) {
        throw mistake("\"" + std::string(name) + "\" is neither a number from 0 nor a text");
    }
    return std::to_string(value.GetUint64());
}

void take(BatchRequest& request, std::string_view name, const Json& value) {
    if (name == "call" && value.IsString() && request.call.empty()) {
        request.call = textOf(value);
        return;
    }
    for (const auto& [known, member] : kMembers) {
        auto& option = request.arguments.*member;
        if (name == known && !option) {
            option = optionText(name, value);
            return;
        }
    }
    throw mistake("\"" + std::string(name) + "\" is no member of a call, or is given twice");
}

}  // namespace

BatchRequest parseBatchRequest(std::string_view line, Json& id, JsonAllocator& allocator) {
    JsonDocument document;
    // Without recursion, because a line may be nested deeply.
    constexpr unsigned int kFlags =
        rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
    document.Parse<kFlags>(line.data(), line.size());
    if (document.HasParseError()) {
        throw mistake(std::string("not JSON: ") +
                      rapidjson::GetParseError_En(document.GetParseError()));
    }
    if (!document.IsObject()) {
        throw mistake("not an object such as {\"call\": \"getNumberCPUs\", \"cabinet\": 0}");
    }
    const Json& object = document;
    if (const auto given = object.FindMember("id"); given != object.MemberEnd()) {
        if (given->value.IsObject() || given->value.IsArray()) {
            throw mistake("\"id\" is neither a number nor a text");
        }
        id.CopyFrom(given->value, allocator);
        document.RemoveMember("id");
    }
    BatchRequest request;
    for (const auto& member : object.GetObject()) {
        take(request, textOf(member.name), member.value);
    }
    if (request.call.empty()) {
        throw mistake("the member \"call\" is missing");
    }
    return request;
}

}  // namespace varnockctl
