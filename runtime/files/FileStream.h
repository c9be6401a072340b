#pragma once

#include <stdio.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "runtime/threads/Cancellation.h"

// Internal, not installed.
namespace varnock {

/// Closes a stream, also while a cancelled thread unwinds.
struct StreamCloser {
    void operator()(FILE* stream) const {
        const CancellationGuard wholeClose;
        fclose(stream);
    }
};

/// Owns a stdio stream; null is none.
using FileStream = std::unique_ptr<FILE, StreamCloser>;

/// Flushes and closes; false when anything written could not be.
[[nodiscard]] inline bool closeWritten(FileStream stream) {
    const CancellationGuard wholeClose;
    return fclose(stream.release()) == 0;
}

/// Opens an existing file as fopen(path, mode) does; null, with errno, for what is no regular file:
/// to open a pipe would wait for its other end, and a device may have none.
[[nodiscard]] FileStream openRegularFile(const char* path, const char* mode);

/// Writes all of it to a descriptor; false with errno when no byte goes any further.
[[nodiscard]] bool writeAt(int file, const char* data, std::size_t length, std::int64_t offset);

/// Puts the names beside a file, its own among them, on the disk; false when that fails.
[[nodiscard]] bool syncDirectoryOf(const char* path);

}  // namespace varnock
