#pragma once

#include <string>

namespace varnockctl {

/// A field of a row, as conditions know it.
struct RowField {
    std::string path;     ///< "limits.low"
    bool isTime = false;  ///< compared with a time instead of a number

    friend bool operator==(const RowField&, const RowField&) = default;
};

}  // namespace varnockctl
