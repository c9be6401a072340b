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

/// As strtol or strtoul, which is passed, but only ASCII has white space: the functions skip what
/// the locale takes for it.
template <class Number>
Number toNumber(Number (*convert)(const char*, char**, int), const char* text, char** end,
                int base) {
    const char* begin = text;
    while (isSpace(*begin)) {
        ++begin;
    }
    const bool isAscii = static_cast<unsigned char>(*begin) < 0x80;
    char* behind = nullptr;
    const Number number = convert(isAscii ? begin : "", &behind, base);
    if (end != nullptr) {
        *end = const_cast<char*>(isAscii && behind != begin ? behind : text);
    }
    return number;
}

}  // namespace varnock
