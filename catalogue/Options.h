#pragma once

#include <string>
#include <string_view>

#include "catalogue/Row.h"

/// The options by which a call is made from the command line. They follow from the row.
namespace varnock::catalogue {

/// Flags.
enum Option : unsigned int {
    optionCabinet = 1,
    optionObject = 2,
    optionExt = 4,
    optionValue = 8,
    optionNode = 16,
};

/// The options that the arguments of the call have a place for.
unsigned int optionsTaken(const Row& row);

/// Those of them that the call cannot do without.
unsigned int optionsNeeded(const Row& row);

/// Those that cannot be left out because ext, object or cabinet are made of them.
unsigned int optionsFollowing(const Row& row);

/// The options named in a cell of the column "options".
unsigned int optionsIn(std::string_view cell);

/// "--cabinet N --object N".
std::string optionsText(unsigned int options);

}  // namespace varnock::catalogue
