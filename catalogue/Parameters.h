#pragma once

#include <string_view>
#include <vector>

#include "catalogue/Row.h"

namespace varnock::catalogue {

struct Parameter {
    std::string_view type;
    std::string_view name;  ///< empty for a tag
};

/// The parameters of a call's C++ member.
std::vector<Parameter> parametersOf(const Row& row);

/// The same as C++ text; empty for none.
std::string_view parameterList(const Row& row);

}  // namespace varnock::catalogue
