#pragma once

#include <unistd.h>

#include <utility>

#include "runtime/Cancellation.h"

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

}  // namespace varnock
