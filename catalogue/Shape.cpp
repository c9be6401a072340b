#include "catalogue/Shape.h"

#include "catalogue/Bindings.h"
#include "catalogue/Text.h"

namespace varnock::catalogue {
namespace {

using Kind = ModelValue::Kind;

/// The members of the elements of a reply with a form of its own.
struct FormMember {
    std::string_view reply;
    const char* member;  ///< empty: the elements of the list themselves are values
    ModelValue value;
    bool isKey = false;
};

const FormMember kFormMembers[] = {
    {"log entries", "number", {.kind = Kind::number}, true},
    {"log entries", "id", {.kind = Kind::number}},
    {"log entries", "time", {.kind = Kind::time}},
    {"log entries",
     "severity",
     {.kind = Kind::code, .vocabulary = findVocabulary("severity"), .most = 0xFF}},
    {"log entries", "text", {.kind = Kind::text}},
    {"power samples", "time", {.kind = Kind::time}},
    {"power samples",
     "average",
     {.kind = Kind::quantity, .unit = findUnit("watts"), .most = 0xFFFF}},
    {"power samples",
     "minimum",
     {.kind = Kind::quantity, .unit = findUnit("watts"), .most = 0xFFFF}},
    {"power samples",
     "maximum",
     {.kind = Kind::quantity, .unit = findUnit("watts"), .most = 0xFFFF}},
    {"power samples", "void", {.kind = Kind::flag}},
    {"PCI addresses", "bus", {.kind = Kind::number, .most = 0xFF}},
    {"PCI addresses", "device", {.kind = Kind::number, .most = 0x1F}},
    {"PCI addresses", "function", {.kind = Kind::number, .most = 0x07}},
    {"PCI addresses", "header", {.kind = Kind::header}},
    {"PCI addresses", "vendorId", {.kind = Kind::number, .most = 0xFFFF}},
    {"PCI addresses", "deviceId", {.kind = Kind::number, .most = 0xFFFF}},
    {"PCI addresses", "subsystemVendorId", {.kind = Kind::number, .most = 0xFFFF}},
    {"PCI addresses", "subsystemId", {.kind = Kind::number, .most = 0xFFFF}},
    {"PCI addresses", "revision", {.kind = Kind::number, .most = 0xFF}},
    {"PCI addresses", "baseClass", {.kind = Kind::number, .most = 0xFF}},
    {"PCI addresses", "subclass", {.kind = Kind::number, .most = 0xFF}},
    {"PCI addresses", "interface", {.kind = Kind::number, .most = 0xFF}},
    {"PCI addresses", "primaryBus", {.kind = Kind::number, .most = 0xFF}},
    {"PCI addresses", "secondaryBus", {.kind = Kind::number, .most = 0xFF}},
    {"components", "class", {.kind = Kind::number, .most = 0xFF}, true},
    {"components", "manufacturer", {.kind = Kind::text}},
    {"components", "name", {.kind = Kind::text}},
    {"components", "partNumber", {.kind = Kind::text}},
    {"components", "description", {.kind = Kind::text}},
    {"components", "manufactureDate", {.kind = Kind::date}},
    {"components", "version", {.kind = Kind::text}},
    {"components", "serialNumber", {.kind = Kind::text}},
    {"components", "number", {.kind = Kind::number}},
    {"components", "instanceId", {.kind = Kind::text}},
    {"components", "location", {.kind = Kind::text}},
    {"parent", "class", {.kind = Kind::number, .most = 0xFFFF}, true},
    {"parent", "object", {.kind = Kind::number, .most = 0xFFFF}},
    {"parent", "parentClass", {.kind = Kind::number, .most = 0xFFFF}},
    {"parent", "parentObject", {.kind = Kind::number, .most = 0xFFFF}},
    {"parent", "parentCabinet", {.kind = Kind::number, .most = 0xFFFF}},
};

Shape& elementOf(Shape& list) {
    if (!list.element) {
        list.element = std::make_shared<Shape>();
    }
    return *list.element;
}

/// The alarm identity is no list: which object answers is part of it.
void addAlarmIdentity(Shape& place) {
    place.members["text"].value = {.kind = Kind::text};
    place.members["object"].value = {.kind = Kind::number, .most = 0xFFFF};
}

/// True if the reply has a form of its own.
bool addForm(Shape& place, std::string_view reply) {
    if (reply == "alarm identity") {
        addAlarmIdentity(place);
        return true;
    }
    bool found = reply == "PCI header" || reply == "none";
    for (const FormMember& each : kFormMembers) {
        if (each.reply == reply) {
            Shape& element = elementOf(place);
            element.members[each.member].value = each.value;
            element.key = each.isKey ? each.member : element.key;
            found = true;
        }
    }
    return found;
}

void addKey(Shape& element, const Step& step) {
    element.key = step.key;
    std::optional<ModelValue>& value = element.members[std::string(step.key)].value;
    if (!value) {
        value = {.kind = step.selector == Selector::name ? Kind::text : Kind::number};
    }
}

void add(Shape& root, const Binding& binding) {
    Shape* place = &root;
    const ModelPath path = modelPath(binding.path);
    for (const Step& step : path.steps) {
        place = &place->members[std::string(step.member)];
        if (step.selector != Selector::none) {
            place = &elementOf(*place);
        }
        if (!step.key.empty()) {
            addKey(*place, step);
        }
    }
    if (path.counts) {
        elementOf(*place);
    } else if (!addForm(*place, binding.row->coding == "clear" ? "log entries" : binding.reply)) {
        const ModelValue value = modelValue(*binding.row, binding.reply);
        // The narrowest field of several limits the value.
        if (!place->value || value.most < place->value->most || value.least > place->value->least) {
            place->value = value;
        }
        place->description = binding.row->description;
    }
}

}  // namespace

Shape machineShape(std::span<const Row> rows) {
    Shape shape;
    const std::vector<Binding> all = bindings(rows);
    for (const Binding& binding : all) {
        add(shape, binding);
    }
    shape.members["description"].value = {.kind = Kind::text};
    shape.members["$schema"].value = {.kind = Kind::text};
    return shape;
}

}  // namespace varnock::catalogue
