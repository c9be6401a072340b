#pragma once

#include <cimple/config.h>

CIMPLE_NAMESPACE_BEGIN

/// A UCS-2 character of the CIM type char16. A plain value: distinct objects may be used by
/// distinct threads.
class char16 {
  public:
    char16() noexcept : code_(0) {}
    char16(uint16 code) noexcept : code_(code) {}
    char16& operator=(uint16 code) noexcept {
        code_ = code;
        return *this;
    }

    uint16 code() const noexcept { return code_; }
    void code(uint16 code) noexcept { code_ = code; }

  private:
    uint16 code_;
};

inline bool operator==(const char16& a, const char16& b) {
    return a.code() == b.code();
}
inline bool operator!=(const char16& a, const char16& b) {
    return a.code() != b.code();
}
inline bool operator<(const char16& a, const char16& b) {
    return a.code() < b.code();
}
inline bool operator<=(const char16& a, const char16& b) {
    return a.code() <= b.code();
}
inline bool operator>(const char16& a, const char16& b) {
    return a.code() > b.code();
}
inline bool operator>=(const char16& a, const char16& b) {
    return a.code() >= b.code();
}

inline void __clear(char16& value) {
    value = uint16(0);
}

CIMPLE_NAMESPACE_END
