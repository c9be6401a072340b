#pragma once

#include <cerrno>
#include <cstddef>

/// Shared by those who read and write sockets without waiting.
namespace varnock::agent {

inline constexpr std::size_t kReceiveSize = 65536;

/// True if the call that failed with this error can be tried again later.
inline bool wouldBlock(int error) {
    return error == EAGAIN || error == EINTR;
}

}  // namespace varnock::agent
