#pragma once

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "runtime/threads/Cancellation.h"

namespace varnock {

/// Owns a file descriptor; -1 is none. Internal.
class FileDescriptor {
  public:
    FileDescriptor() = default;
    /// Takes over an open descriptor.
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    /// Leaves the other object empty.
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)) {}
    /// Swaps the two descriptors.
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~FileDescriptor() { reset(); }

    /// The descriptor, -1 for none.
    int get() const { return descriptor_; }
    /// True if there is a descriptor.
    explicit operator bool() const { return descriptor_ >= 0; }
    /// Gives up the ownership and returns the descriptor.
    int release() { return std::exchange(descriptor_, -1); }
    /// Closes the descriptor.
    void reset() {
        if (descriptor_ >= 0) {
            CancellationGuard wholeClose;
            close(std::exchange(descriptor_, -1));
        }
    }

  private:
    int descriptor_ = -1;
};

/// Takes over a descriptor that was opened for writing. Moves it to another number if it has that
/// of a standard stream: a host may have closed those, and its later output must not reach the file
/// or the peer.
[[nodiscard]] inline FileDescriptor awayFromStandardStreams(int opened) {
    FileDescriptor file(opened);
    if (opened < 0 || opened > STDERR_FILENO) {
        return file;
    }
    FileDescriptor moved(fcntl(opened, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    const int error = errno;
    file.reset();
    errno = error;
    return moved;
}

}  // namespace varnock
