#pragma once

#include <string>
#include <string_view>

#include "catalogue/Row.h"

/// The command-line options of a call, derived from its row.
namespace varnock::catalogue {

/// Flags.
enum Option : unsigned int {
    optionCabinet = 1,
    optionObject = 2,
    optionExt = 4,
    optionValue = 8,
    optionNode = 16,
};

/// The options that the arguments of the call accept.
unsigned int optionsTaken(const Row& row);

/// The accepted options that the call requires.
unsigned int optionsNeeded(const Row& row);

/// The options required because ext, object or cabinet use them.
unsigned int optionsFollowing(const Row& row);

/// The options named in a cell of the column "options".
unsigned int optionsIn(std::string_view cell);

/// "--cabinet N --object N".
std::string optionsText(unsigned int options);

}  // namespace varnock::catalogue
