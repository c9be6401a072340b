#include "agent/control/Control.h"

#include <exception>
#include <utility>
#include <vector>

#include "agent/FrameBuffer.h"
#include "tools/NearestName.h"

namespace varnock::agent {
namespace {

const Json* find(const Json& request, const char* name) {
    const Json* const member = findMember(request, name);
    return member != nullptr && !member->IsNull() ? member : nullptr;
}

Refusal wrongType(const char* name, const char* expected) {
    return Refusal("\"" + std::string(name) + "\" must be " + expected);
}

}  // namespace

std::string refusalText(const std::string& reason) {
    JsonDocument reply(rapidjson::kObjectType);
    add(reply, "ok", Json(false), reply.GetAllocator());
    add(reply, "error", reason, reply.GetAllocator());
    return toString(reply, false);
}

void Control::add(const std::string& name, Verb verb) {
    addLate(name, [verb = std::move(verb)](const Json& request) {
        JsonDocument reply(rapidjson::kObjectType);
        varnock::add(reply, "ok", Json(true), reply.GetAllocator());
        verb(request, reply);
        std::string text = toString(reply, false);
        return fitsFrame(text) ? std::make_shared<LateReply>(std::move(text))
                               : throw Refusal("the reply is longer than a frame");
    });
}

void Control::addLate(const std::string& name, LateVerb verb) {
    verbs_[name] = std::move(verb);
}

std::shared_ptr<LateReply> Control::ask(const std::string& request) const try {
    JsonDocument parsed;
    if (!parse(parsed, request) || !parsed.IsObject()) {
        throw Refusal("the request is not a JSON object");
    }
    const std::string name = textOf(parsed, "verb");
    const auto verb = verbs_.find(name);
    return verb != verbs_.end() ? verb->second(parsed) : throw unknown(name);
} catch (const std::exception& failure) {
    return std::make_shared<LateReply>(refusalText(failure.what()));
}

Refusal Control::unknown(const std::string& name) const {
    std::vector<std::string> names;
    for (const auto& [known, unused] : verbs_) {
        names.push_back(known);
    }
    const std::string nearest = nearestName(name, names);
    return Refusal("there is no verb \"" + escapeInvalidUtf8(name.substr(0, 64)) + "\"" +
                   (nearest.empty() ? "" : "; did you mean \"" + nearest + "\"?"));
}

std::string textOf(const Json& request, const char* name) {
    const auto text = findText(request, name);
    return text ? *text : throw Refusal("\"" + std::string(name) + "\" is missing");
}

std::optional<std::string> findText(const Json& request, const char* name) {
    const Json* const value = find(request, name);
    if (value == nullptr) {
        return std::nullopt;
    }
    if (!value->IsString()) {
        throw wrongType(name, "a text");
    }
    return std::string(value->GetString(), value->GetStringLength());
}

std::optional<unsigned> findNumber(const Json& request, const char* name) {
    const Json* const value = find(request, name);
    if (value == nullptr) {
        return std::nullopt;
    }
    if (!value->IsUint()) {
        throw wrongType(name, "a number from 0 to 4294967295");
    }
    return value->GetUint();
}

bool isSet(const Json& request, const char* name) {
    const Json* const value = find(request, name);
    if (value != nullptr && !value->IsBool()) {
        throw wrongType(name, "true or false");
    }
    return value != nullptr && value->GetBool();
}

}  // namespace varnock::agent
