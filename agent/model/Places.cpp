#include "agent/model/Places.h"

#include "agent/Machine.h"

namespace varnock::agent {
namespace {

using catalogue::ModelPath;
using catalogue::Selector;
using catalogue::Step;

unsigned numberOf(const Step& step, const Arguments& arguments) {
    switch (step.selector) {
        case Selector::cabinet:
            return arguments.cabinet;
        case Selector::object:
            return arguments.object;
        case Selector::ext:
            return arguments.ext;
        case Selector::elementClass:
            return arguments.ext >> 8;
        default:
            return step.literal;
    }
}

bool selectsByText(const Step& step) {
    return step.selector == Selector::name || step.selector == Selector::text;
}

std::string_view selectedText(const Step& step, const Arguments& arguments) {
    return step.selector == Selector::name ? arguments.name : step.text;
}

bool isFirstCabinet(const Step& step, const Arguments& arguments) {
    return step.selector == Selector::cabinet && arguments.cabinet == kNoCabinet;
}

bool isSelected(const Node& element, const Step& step, const Arguments& arguments) {
    const Node* key = memberOf(element, step.key);
    if (key == nullptr) {
        return false;
    }
    return selectsByText(step) ? key->IsString() && textOf(*key) == selectedText(step, arguments)
                               : key->IsUint() && key->GetUint() == numberOf(step, arguments);
}

Node* elementOf(Node& list, const Step& step, const Arguments& arguments) {
    if (step.key.empty() || isFirstCabinet(step, arguments)) {
        const unsigned index = step.key.empty() ? numberOf(step, arguments) : 0;
        const bool exists = index < list.Size() && step.selector != Selector::text;
        return exists ? &list[index] : nullptr;
    }
    for (Node& element : list.GetArray()) {
        if (isSelected(element, step, arguments)) {
            return &element;
        }
    }
    return nullptr;
}

bool isThere(const Node* value) {
    return value != nullptr && !value->IsNull();
}

}  // namespace

bool takeStep(Place& place, const Step& step, const Arguments& arguments) {
    place.holder = place.value;
    place.value = memberOf(*place.value, step.member);
    if (!isThere(place.value)) {
        place.absence = Absence::value;
        return false;
    }
    if (step.selector == Selector::none || step.selector == Selector::from) {
        return true;
    }
    place.holder = place.value;
    place.value = place.value->IsArray() ? elementOf(*place.value, step, arguments) : nullptr;
    if (!isThere(place.value)) {
        place.absence = step.member == "cabinets" ? Absence::cabinet : Absence::object;
        return false;
    }
    return true;
}

Place findPlace(Node& root, const ModelPath& path, const Arguments& arguments) {
    Place place{.value = &root};
    for (const Step& step : path.steps) {
        if (!takeStep(place, step, arguments)) {
            place.value = nullptr;
            return place;
        }
        ++place.steps;
        if (step.selector == Selector::from) {
            break;
        }
    }
    return place;
}

std::string pathText(const ModelPath& path, const Arguments& arguments) {
    std::string text;
    for (const Step& step : path.steps) {
        text.append(text.empty() ? "" : ".").append(step.member);
        if (step.selector == Selector::none) {
            continue;
        }
        text += '[';
        if (isFirstCabinet(step, arguments)) {
            text += '0';
        } else {
            text.append(step.key).append(step.key.empty() ? "" : "=");
            text.append(selectsByText(step) ? std::string(selectedText(step, arguments))
                                            : std::to_string(numberOf(step, arguments)));
            text += step.selector == Selector::from ? ".." : "";
        }
        text += ']';
    }
    return path.counts ? text + ".count" : text;
}

std::string positionText(Node& root, const ModelPath& path, const Arguments& arguments) {
    std::string text;
    Place place{.value = &root};
    for (const Step& step : path.steps) {
        const bool isMissingMember = &step == &path.steps.back() && step.selector == Selector::none;
        if (!takeStep(place, step, arguments) && !isMissingMember) {
            return pathText(path, arguments);
        }
        text.append(text.empty() ? "" : ".").append(step.member);
        if (step.selector != Selector::none && step.selector != Selector::from) {
            text.append("[")
                .append(std::to_string(place.value - place.holder->Begin()))
                .append("]");
        }
    }
    return path.counts ? text + ".count" : text;
}

const char* absenceText(Absence absence) {
    switch (absence) {
        case Absence::cabinet:
            return "the machine has no such cabinet";
        case Absence::object:
            return "the machine has no such object";
        case Absence::value:
            return "the machine does not have this value";
        case Absence::none:
            break;
    }
    return "";
}

}  // namespace varnock::agent
