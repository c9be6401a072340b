#pragma once

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "util/Ascii.h"

/// Classes of ASCII characters, the same in every locale.
namespace varnock {

constexpr bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}
constexpr bool isLower(char c) {
    return c >= 'a' && c <= 'z';
}
constexpr bool isWordCharacter(char c) {
    return isDigit(c) || isUpper(c) || isLower(c);
}
constexpr bool isHexadecimalDigit(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

constexpr char lowerCase(char c) {
    return isUpper(c) ? static_cast<char>(c - 'A' + 'a') : c;
}
inline std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        c = lowerCase(c);
    }
    return lower;
}

/// The characters of a text that belong to a class.
template <typename Class>
std::string only(std::string_view text, Class belongs) {
    std::string kept;
    std::copy_if(text.begin(), text.end(), std::back_inserter(kept), belongs);
    return kept;
}

}  // namespace varnock
