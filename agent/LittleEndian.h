#pragma once

#include <string_view>
#include <vector>

/// Appending to the bytes of a reply, numbers in little-endian order.
namespace varnock::agent {

inline void appendByte(std::vector<unsigned char>& bytes, unsigned value) {
    bytes.push_back(static_cast<unsigned char>(value & 0xFF));
}

inline void appendWord(std::vector<unsigned char>& bytes, unsigned value) {
    appendByte(bytes, value);
    appendByte(bytes, value >> 8);
}

inline void appendDword(std::vector<unsigned char>& bytes, unsigned value) {
    appendWord(bytes, value);
    appendWord(bytes, value >> 16);
}

/// With the NUL behind it.
inline void appendText(std::vector<unsigned char>& bytes, std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    bytes.push_back(0);
}

}  // namespace varnock::agent
