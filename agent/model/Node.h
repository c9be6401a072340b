#pragma once

#include <rapidjson/document.h>

#include "transport/SipJson.h"

namespace varnock::agent {

/// Values of a machine's description. They are freed one by one, so that a long-lived agent does
/// not grow with each change; std::bad_alloc reports a lack of memory.
using Node = SipJson::Value;
using Document = rapidjson::GenericDocument<rapidjson::UTF8<char>, JsonHeap, JsonHeap>;

inline std::string_view textOf(const Node& value) {
    return {value.GetString(), value.GetStringLength()};
}

/// The member of an object; null without one, or if the value is no object.
inline const Node* memberOf(const Node& object, std::string_view name) {
    if (!object.IsObject()) {
        return nullptr;
    }
    for (auto member = object.MemberBegin(); member != object.MemberEnd(); ++member) {
        if (textOf(member->name) == name) {
            return &member->value;
        }
    }
    return nullptr;
}

inline Node* memberOf(Node& object, std::string_view name) {
    return const_cast<Node*>(memberOf(std::as_const(object), name));
}

}  // namespace varnock::agent
