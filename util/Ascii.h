#pragma once

/// Character classes of ASCII, whatever the locale. Internal, shared with the tools.
namespace varnock {

/// True for '0' to '9'.
constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// True for white space.
constexpr bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The capital of 'a' to 'z'; any other character as it is.
constexpr char upperCase(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

}  // namespace varnock
