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

/// Flushes and closes; false if any of the output was lost.
[[nodiscard]] inline bool closeWritten(FileStream stream) {
    const CancellationGuard wholeClose;
    return fclose(stream.release()) == 0;
}

/// Opens an existing regular file as fopen(path, mode) does. Null with errno on failure, EINVAL for
/// any other kind of file: opening a pipe would wait for its other end, and reading a device might
/// never end.
[[nodiscard]] FileStream openRegularFile(const char* path, const char* mode);

/// Writes the whole of `data` at an offset; false with errno on failure.
[[nodiscard]] bool writeAt(int file, const char* data, std::size_t length, std::int64_t offset);

/// Syncs the directory of a file to the disk; false on failure.
[[nodiscard]] bool syncDirectoryOf(const char* path);

}  // namespace varnock
