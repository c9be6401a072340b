#pragma once

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "catalogue/ModelValue.h"
#include "catalogue/Row.h"

namespace varnock::catalogue {

/// What the description of a machine may hold at one place: an object with members, a list with
/// elements, or a value.
struct Shape {
    std::map<std::string, Shape, std::less<>> members;
    std::shared_ptr<Shape> element;   ///< of a list
    std::string key;                  ///< the member that every element of a list must have
    std::optional<ModelValue> value;  ///< neither object nor list
    std::string description;          ///< of a value: what the calls say about it
};

/// The whole description, from the places that the rows name.
Shape machineShape(std::span<const Row> rows);

/// The same as a JSON schema, draft 4.
std::string machineSchema(const Shape& shape);

}  // namespace varnock::catalogue
