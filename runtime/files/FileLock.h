#pragma once

#include <fcntl.h>
#include <stdio.h>

// Internal, not installed.
namespace varnock {

/// Sets or changes the lock of an open file (F_OFD_SETLK) on its whole length, without waiting.
/// `type` is F_RDLCK or F_WRLCK. False with errno on failure.
[[nodiscard]] inline bool setLock(int file, short type) {
    struct flock whole {};
    whole.l_type = type;
    whole.l_whence = SEEK_SET;
    return fcntl(file, F_OFD_SETLK, &whole) == 0;
}

/// True if another open file has a write lock of that kind, which needs the right to write.
[[nodiscard]] inline bool isWriteLocked(int file) {
    struct flock found {};
    found.l_type = F_WRLCK;
    found.l_whence = SEEK_SET;
    return fcntl(file, F_OFD_GETLK, &found) == 0 && found.l_type == F_WRLCK;
}

}  // namespace varnock
