#pragma once

#include <errno.h>

#include <system_error>

namespace varnock::test {

/// Throws what errno says of a call of the system.
[[noreturn]] inline void throwSystemError(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace varnock::test
