#pragma once

#include <cstring>
#include <memory>

/// Internal, not installed.
namespace varnock {

/// An owned copy of a text; null gives null. Throws std::bad_alloc.
inline std::unique_ptr<char[]> copyText(const char* text) {
    if (text == nullptr) {
        return nullptr;
    }
    const std::size_t size = std::strlen(text) + 1;
    std::unique_ptr<char[]> copy(new char[size]);
    std::memcpy(copy.get(), text, size);
    return copy;
}

}  // namespace varnock
