#include "agent/model/MachineModel.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <stdexcept>

#include "agent/model/JsonText.h"
#include "agent/model/MachineFile.h"
#include "agent/model/Notation.h"

namespace varnock::agent {
namespace {

using catalogue::ModelPath;
using catalogue::Selector;
using catalogue::Shape;
using catalogue::Step;

std::string jsonText(const Node& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    writer.SetIndent(' ', 2);
    value.Accept(writer);
    return buffer.GetString();
}

/// What a machine may have at a path; null if none can have the path.
const Shape* shapeAt(const ModelPath& path) {
    const Shape* shape = &machineShape();
    for (const Step& step : path.steps) {
        const auto member = shape->members.find(step.member);
        if (member == shape->members.end()) {
            return nullptr;
        }
        shape = &member->second;
        if (step.selector != Selector::none) {
            shape = shape->element.get();
        }
        if (shape == nullptr) {
            return nullptr;
        }
    }
    return shape;
}

/// The path of a person. It must be written as this agent writes it.
ModelPath pathOf(const std::string& text) {
    ModelPath path = catalogue::modelPath(text);
    if (path.steps.empty() || pathText(path, {}) != text || shapeAt(path) == nullptr) {
        throw UnknownPath("no machine has " + excerpt(text));
    }
    return path;
}

const Shape& valueShape(const ModelPath& path, const std::string& text) {
    const Shape* shape = shapeAt(path);
    if (shape == nullptr || !shape->value || path.counts) {
        throw std::invalid_argument(text + " is not a single value");
    }
    return *shape;
}

void listValues(const Node& value, const Shape& shape, const std::string& path,
                std::vector<std::string>& paths) {
    if (shape.value) {
        paths.push_back(path);
    } else if (value.IsArray() && shape.element) {
        for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
            listValues(value[i], *shape.element, path + "[" + std::to_string(i) + "]", paths);
        }
    } else if (value.IsObject()) {
        for (const auto& [name, member] : value.GetObject()) {
            const auto known = shape.members.find(textOf(name));
            if (known != shape.members.end()) {
                listValues(member, known->second,
                           path + (path.empty() ? "" : ".") + name.GetString(), paths);
            }
        }
    }
}

/// The value that is overridden, null included; nullptr if its place has been removed since.
Node* overridden(Node& machine, const std::string& text) {
    const ModelPath path = catalogue::modelPath(text);
    const Place place = findPlace(machine, path, {});
    if (place.value != nullptr || place.holder == nullptr || place.steps + 1 != path.steps.size()) {
        return place.value;
    }
    const Step& last = path.steps.back();
    if (place.holder->IsArray()) {
        return last.literal < place.holder->Size() ? &(*place.holder)[last.literal] : nullptr;
    }
    return memberOf(*place.holder, last.member);
}

}  // namespace

MachineModel::MachineModel(Document machine, Clock clock)
    : machine_(std::move(machine)), clock_(std::move(clock)) {}

Place MachineModel::find(const ModelPath& path, const Arguments& arguments) {
    refresh(path, arguments, false);
    return findPlace(machine_, path, arguments);
}

std::optional<double> MachineModel::number(const std::string& text) {
    const ModelPath path = catalogue::modelPath(text);
    const Shape* shape = shapeAt(path);
    const Place place = find(path);
    if (shape == nullptr || !shape->value || place.value == nullptr) {
        return std::nullopt;
    }
    const auto bits = numberIn(dataOf(*place.value, *shape->value, now()));
    return bits ? std::optional<double>(static_cast<std::int32_t>(*bits)) : std::nullopt;
}

bool MachineModel::write(const ModelPath& path, const Arguments& arguments, Node value) {
    const Place place = find(path, arguments);
    if (place.value == nullptr) {
        return false;
    }
    if (Override* covering = overrideOf(*place.value)) {
        covering->machineValue = value;
        return true;
    }
    replace(*place.value, std::move(value), positionText(machine_, path, arguments));
    return true;
}

std::string MachineModel::get(const std::string& text) {
    const ModelPath path = pathOf(text);
    refresh(path, {}, true);
    const Place place = findPlace(machine_, path, {});
    if (place.value == nullptr) {
        throw UnknownPath(text + ": " + absenceText(place.absence));
    }
    return presentText(path, *place.value);
}

std::string MachineModel::presentText(const ModelPath& path, const Node& value) {
    if (path.counts) {
        return std::to_string(value.IsArray() ? value.Size() : 0);
    }
    const Shape& shape = *shapeAt(path);
    return shape.value ? jsonText(valueAt(value, *shape.value, now(), heap())) : jsonText(value);
}

std::string MachineModel::look(const std::string& text) {
    return find(pathOf(text)).value != nullptr ? get(text) : "null";
}

std::string MachineModel::source(const std::string& text) {
    const Place place = find(pathOf(text));
    return place.value != nullptr ? jsonText(*place.value) : "null";
}

std::string MachineModel::jsonOf(const Node& value) {
    return jsonText(value);
}

void MachineModel::set(const std::string& given, const std::string& value, const std::string& owner,
                       std::optional<double> seconds) {
    refresh(pathOf(given), {}, false);
    const std::string text = positionText(machine_, pathOf(given), {});
    const ModelPath path = pathOf(text);
    const Shape& shape = valueShape(path, text);
    Node wanted = writtenValue(value, heap());
    if (!wanted.IsNull() && !isValid(wanted, *shape.value)) {
        throw std::invalid_argument(text + ": expected " + expectation(*shape.value) + ", found " +
                                    excerpt(wanted));
    }
    Node& slot = slotFor(path, text);
    const auto ends = seconds ? std::optional(now().sinceStart + *seconds) : std::nullopt;
    const auto same = std::find_if(overrides_.begin(), overrides_.end(),
                                   [&](const Override& each) { return each.path == text; });
    if (same != overrides_.end()) {
        same->owner = owner;
        same->ends = ends;
    } else {
        overrides_.push_back({text, Node(slot, heap()), owner, ends});
    }
    replace(slot, std::move(wanted), text);
}

/// The value at a path; a member that is missing is added.
Node& MachineModel::slotFor(const ModelPath& path, const std::string& text) {
    const Place place = findPlace(machine_, path, {});
    if (place.value != nullptr) {
        return *place.value;
    }
    if (place.holder == nullptr || !place.holder->IsObject() ||
        place.steps + 1 != path.steps.size()) {
        throw UnknownPath(text + ": " + absenceText(place.absence));
    }
    const std::string_view name = path.steps.back().member;
    if (Node* null = memberOf(*place.holder, name)) {
        return *null;
    }
    place.holder->AddMember(
        Node(name.data(), static_cast<rapidjson::SizeType>(name.size()), heap()), Node(), heap());
    return *memberOf(*place.holder, name);
}

bool MachineModel::reset(const std::string& given) {
    const std::string path = positionText(machine_, pathOf(given), {});
    const auto found = std::find_if(overrides_.begin(), overrides_.end(),
                                    [&](const Override& each) { return each.path == path; });
    if (found == overrides_.end()) {
        return false;
    }
    Override ended = std::move(*found);
    overrides_.erase(found);
    restore(ended);
    return true;
}

void MachineModel::resetAll() {
    std::vector<std::string> paths;
    for (const Override& each : overrides_) {
        paths.push_back(each.path);
    }
    // One after the other: the observer may take others back.
    for (const std::string& path : paths) {
        reset(path);
    }
}

const std::vector<Override>& MachineModel::overrides() {
    endOverrides();
    return overrides_;
}

std::vector<std::string> MachineModel::list(std::string_view beginning) {
    refresh({}, {}, true);
    std::vector<std::string> paths;
    listValues(machine_, machineShape(), "", paths);
    std::erase_if(paths, [&](const std::string& each) { return !each.starts_with(beginning); });
    return paths;
}

std::vector<Listed> MachineModel::values(std::string_view beginning) {
    std::vector<Listed> values;
    for (std::string& text : list(beginning)) {
        const ModelPath path = catalogue::modelPath(text);
        const Place place = findPlace(machine_, path, {});
        std::string value = place.value != nullptr ? presentText(path, *place.value) : "null";
        values.push_back({std::move(text), std::move(value)});
    }
    return values;
}

std::string MachineModel::save() {
    refresh({}, {}, true);
    Document copy;
    copy.CopyFrom(machine_, copy.GetAllocator());
    for (const Override& each : overrides()) {
        if (Node* const value = overridden(copy, each.path)) {
            value->CopyFrom(each.machineValue, copy.GetAllocator());
        }
    }
    return jsonText(copy) + "\n";
}

/// The observer hears of it if it makes a difference.
void MachineModel::replace(Node& value, Node by, const std::string& path) {
    const bool isSame = value == by;
    value = by;
    if (!isSame && observer_) {
        observer_(path);
    }
}

void MachineModel::refresh(const ModelPath& path, const Arguments& arguments, bool isWhole) {
    endOverrides();
    if (refresh_) {
        refresh_(path, arguments, isWhole);
    }
}

void MachineModel::put(Node& holder, std::string_view name, Node value) {
    Node* const there = memberOf(holder, name);
    if (there != nullptr) {
        merge(*there, std::move(value));
        if (there->IsNull() && overrideOf(*there) == nullptr) {
            holder.EraseMember(Node(rapidjson::StringRef(name.data(), name.size())));
        }
    } else if (!value.IsNull()) {
        holder.AddMember(Node(name.data(), static_cast<rapidjson::SizeType>(name.size()), heap()),
                         value, heap());
    }
}

/// Values below this one may be overridden, too.
void MachineModel::merge(Node& value, Node present) {
    if (!overrides_.empty() && value.IsArray() && present.IsArray()) {
        mergeElements(value, present);
    } else if (!overrides_.empty() && value.IsObject() && present.IsObject()) {
        mergeMembers(value, present);
    } else {
        Override* const covering = overrideOf(value);
        (covering != nullptr ? covering->machineValue : value) = present;
    }
}

void MachineModel::mergeElements(Node& list, Node& present) {
    while (list.Size() > present.Size()) {
        list.PopBack();
    }
    for (rapidjson::SizeType i = 0; i < present.Size(); ++i) {
        if (i < list.Size()) {
            merge(list[i], std::move(present[i]));
        } else {
            list.PushBack(present[i], heap());
        }
    }
}

void MachineModel::mergeMembers(Node& object, Node& present) {
    std::vector<std::string> gone;
    for (const auto& [name, member] : std::as_const(object).GetObject()) {
        if (memberOf(present, textOf(name)) == nullptr) {
            gone.emplace_back(textOf(name));
        }
    }
    for (auto member = present.MemberBegin(); member < present.MemberEnd(); ++member) {
        put(object, textOf(member->name), std::move(member->value));
    }
    for (const std::string& name : gone) {
        put(object, name, Node());
    }
}

void MachineModel::endOverrides() {
    if (overrides_.empty()) {
        return;
    }
    const double time = now().sinceStart;
    for (auto each = overrides_.begin(); each != overrides_.end();) {
        if (each->ends && *each->ends <= time) {
            Override ended = std::move(*each);
            overrides_.erase(each);
            restore(ended);
            each = overrides_.begin();  // the observer may have changed the list
        } else {
            ++each;
        }
    }
}

void MachineModel::restore(Override& ended) {
    if (Node* const value = overridden(machine_, ended.path)) {
        replace(*value, std::move(ended.machineValue), ended.path);
    }
}

Override* MachineModel::overrideOf(const Node& value) {
    const auto found = std::find_if(
        overrides_.begin(), overrides_.end(),
        [&](const Override& each) { return overridden(machine_, each.path) == &value; });
    return found != overrides_.end() ? &*found : nullptr;
}

}  // namespace varnock::agent
