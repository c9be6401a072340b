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
    /// Leaves the other one without.
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)) {}
    /// Exchanges both.
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~FileDescriptor() { reset(); }

    /// The number, for a call.
    int get() const { return descriptor_; }
    /// True when there is one.
    explicit operator bool() const { return descriptor_ >= 0; }
    /// Gives it away.
    int release() { return std::exchange(descriptor_, -1); }
    /// Closes it.
    void reset() {
        if (descriptor_ >= 0) {
            CancellationGuard wholeClose;
            close(std::exchange(descriptor_, -1));
        }
    }

  private:
    int descriptor_ = -1;
};

/// Takes over a descriptor that was opened for writing, under another number if it has one of the
/// standard streams: a host may have closed them, and what it prints there later must not get into
/// the file or to the peer.
[[nodiscard]] inline FileDescriptor awayFromStandardStreams(int opened) {
    FileDescriptor file(opened);
    if (opened < 0 || opened > STDERR_FILENO) return file;
    FileDescriptor moved(fcntl(opened, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    const int error = errno;
    file.reset();
    errno = error;
    return moved;
}

}  // namespace varnock
