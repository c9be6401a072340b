#pragma once

#include <algorithm>
#include <string_view>

#include "util/Ascii.h"

namespace varnockctl {

/// True if the text contains the pattern, ignoring case.
inline bool containsIgnoringCase(std::string_view text, std::string_view pattern) {
    const auto equal = [](char a, char b) {
        return varnock::upperCase(a) == varnock::upperCase(b);
    };
    return std::search(text.begin(), text.end(), pattern.begin(), pattern.end(), equal) !=
           text.end();
}

}  // namespace varnockctl
