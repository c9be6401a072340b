#include "agent/model/NodeBuilder.h"

#include "agent/model/Values.h"
#include "tools/Json.h"

namespace varnock::agent {

NodeBuilder NodeBuilder::member(const char* name) const {
    return {shape_->members.at(name), *heap_};
}

Node NodeBuilder::value(const Answer& fact) const {
    if (std::holds_alternative<std::monostate>(fact.data)) {
        return Node();
    }
    const auto* text = std::get_if<std::string>(&fact.data);
    Node value = text != nullptr ? valueOf(escapeInvalidUtf8(*text), *shape_->value, *heap_)
                                 : valueOf(fact.data, *shape_->value, *heap_);
    return isValid(value, *shape_->value) ? std::move(value) : Node();
}

Node NodeBuilder::object(std::initializer_list<Member> members) const {
    Node object(rapidjson::kObjectType);
    add(object, members);
    return object;
}

void NodeBuilder::add(Node& object, std::initializer_list<Member> members) const {
    for (const auto& [name, fact] : members) {
        add(object, name, member(name).value(fact));
    }
}

void NodeBuilder::add(Node& object, const char* name, Node tree) const {
    if (!tree.IsNull()) {
        object.AddMember(Node(name, *heap_), tree, *heap_);
    }
}

}  // namespace varnock::agent
