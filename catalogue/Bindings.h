#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/ModelPath.h"
#include "catalogue/Row.h"

/// The commands of the rows, each with the place in the model that answers it.
namespace varnock::catalogue {

struct Binding {
    const Row* row;
    unsigned opcode;
    std::optional<unsigned> ext;     ///< nothing: every extension
    std::optional<unsigned> object;  ///< nothing: every object
    std::string_view reply;          ///< the part of the cell for this command
    std::string path;
    /// The extension is only its low byte: the high byte is any class of components.
    bool ofElement = false;
};

/// All commands that the model answers, in the order of the rows; a sequence of commands has one
/// binding for each. Component texts of the classes with places of their own are bound for each
/// class, those of other classes to the list of elements.
std::vector<Binding> bindings(std::span<const Row> rows);

}  // namespace varnock::catalogue
