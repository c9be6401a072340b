#include "agent/host/HostFacts.h"

#include <string_view>

#include "agent/model/MachineFile.h"

namespace varnock::agent {
namespace {

using catalogue::ModelPath;
using catalogue::Selector;
using catalogue::Step;

constexpr std::string_view kList = "[]";

bool selectsElement(const Step& step) {
    return step.selector != Selector::none && step.selector != Selector::from;
}

}  // namespace

HostFacts::HostFacts(Host& host, MachineModel& model) : host_(host), model_(model) {
    root_.shape = &machineShape();
    for (const auto facts : {systemFacts(), firmwareFacts(), processorFacts(), networkFacts(),
                             pciFacts(), sensorFacts(), powerFacts(), logFacts()}) {
        for (const HostFact& fact : facts) {
            add(fact);
        }
    }
}

void HostFacts::add(const HostFact& fact) {
    Part* part = &root_;
    const std::string_view path = fact.path;
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find('.', begin), path.size());
        std::string_view name = path.substr(begin, end - begin);
        begin = end + 1;
        const bool isList = name.ends_with(kList);
        name.remove_suffix(isList ? kList.size() : 0);
        const catalogue::Shape& shape = part->shape->members.at(std::string(name));
        part = &part->members[std::string(name)];
        part->shape = &shape;
        if (isList) {
            if (!part->element) {
                part->element = std::make_unique<Part>();
                part->element->shape = shape.element.get();
            }
            part = begin < path.size() ? part->element.get() : part;
        }
    }
    part->fact = &fact;
}

void HostFacts::refresh(const ModelPath& path, const Arguments& arguments, bool isWhole) {
    const Part* part = &root_;
    Place place{.value = &model_.root()};
    unsigned index = 0;
    for (const Step& step : path.steps) {
        const auto member = part->members.find(step.member);
        if (member == part->members.end()) {
            return;  // all that a tree has below has been read with it
        }
        read(*place.value, member->first, member->second, index);
        readKeys(*place.value, step, member->second);
        if (!takeStep(place, step, arguments)) {
            return;
        }
        part = &member->second;
        if (selectsElement(step) && part->element) {
            index = static_cast<unsigned>(place.value - place.holder->Begin());
            part = part->element.get();
        } else if (selectsElement(step)) {
            return;
        }
    }
    if (isWhole) {
        readBelow(*place.value, *part, index);
    }
}

const char* HostFacts::absence(const ModelPath& path) const {
    const Part* part = &root_;
    const HostFact* fact = nullptr;
    for (const Step& step : path.steps) {
        const auto member = part->members.find(step.member);
        if (member == part->members.end()) {
            break;
        }
        part = &member->second;
        const bool goesOn = selectsElement(step) && part->element;
        fact = part->fact != nullptr && step.member != "cabinets" ? part->fact : fact;
        part = goesOn ? part->element.get() : part;
    }
    const bool hasSource = fact != nullptr && (part->fact != nullptr || part->members.empty());
    return hasSource ? fact->absence
                     : "a host has no source for it, or its firmware does not tell it";
}

/// Brings a member up to date: a value, a tree, or the length of a list.
void HostFacts::read(Node& holder, const std::string& name, const Part& part, unsigned index) {
    const NodeBuilder builder(*part.shape, model_.heap());
    if (part.fact == nullptr) {
        if (memberOf(holder, name) == nullptr) {
            model_.put(holder, name, Node(rapidjson::kObjectType));
        }
    } else if (const auto* tree = std::get_if<TreeReader>(&part.fact->read)) {
        model_.put(holder, name, (*tree)(host_, index, builder));
    } else {
        const Answer fact = std::get<ValueReader>(part.fact->read)(host_, index);
        if (part.shape->value) {
            model_.put(holder, name, builder.value(fact));
        } else {
            resize(holder, name, fact);
        }
    }
}

void HostFacts::resize(Node& holder, const std::string& name, const Answer& size) {
    const auto* const wanted = std::get_if<unsigned>(&size.data);
    if (wanted == nullptr) {
        model_.put(holder, name, Node());
        return;
    }
    if (memberOf(holder, name) == nullptr) {
        model_.put(holder, name, Node(rapidjson::kArrayType));
    }
    Node& list = *memberOf(holder, name);
    while (list.Size() > *wanted) {
        list.PopBack();
    }
    while (list.Size() < *wanted) {
        list.PushBack(Node(rapidjson::kObjectType), model_.heap());
    }
}

/// The members by which a step selects an element.
void HostFacts::readKeys(Node& holder, const Step& step, const Part& list) {
    Node* const elements = memberOf(holder, step.member);
    if (step.key.empty() || !list.element || elements == nullptr || !elements->IsArray()) {
        return;
    }
    const auto key = list.element->members.find(step.key);
    for (rapidjson::SizeType i = 0; key != list.element->members.end() && i < elements->Size();
         ++i) {
        read((*elements)[i], key->first, key->second, i);
    }
}

void HostFacts::readBelow(Node& value, const Part& part, unsigned index) {
    for (const auto& [name, member] : part.members) {
        read(value, name, member, index);
        if (Node* const below = memberOf(value, name)) {
            readBelow(*below, member, index);
        }
    }
    for (rapidjson::SizeType i = 0; part.element && value.IsArray() && i < value.Size(); ++i) {
        readBelow(value[i], *part.element, i);
    }
}

}  // namespace varnock::agent
