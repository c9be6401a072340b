#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace varnock::catalogue {

/// Removes the text up to the next separator from the front of `rest` and returns it.
inline std::string_view take(std::string_view& rest, char separator) {
    const std::size_t end = std::min(rest.find(separator), rest.size());
    const std::string_view field = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return field;
}

inline bool mentions(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

/// The text as a literal of C++ or JSON. REQUIRES: no control characters.
inline std::string quoted(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
        }
        out += c;
    }
    return out + '"';
}

}  // namespace varnock::catalogue
