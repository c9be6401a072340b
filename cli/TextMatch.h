#pragma once

#include <algorithm>
#include <cctype>
#include <string_view>

namespace varnockctl {

/// True if the text contains the pattern, ignoring case.
inline bool containsIgnoringCase(std::string_view text, std::string_view pattern) {
    const auto equal = [](unsigned char a, unsigned char b) {
        return std::tolower(a) == std::tolower(b);
    };
    return std::search(text.begin(), text.end(), pattern.begin(), pattern.end(), equal) !=
           text.end();
}

}  // namespace varnockctl
