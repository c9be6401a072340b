#pragma once

#include <stdio.h>

#include <memory>

#include "runtime/Cancellation.h"

/// Internal, not installed.
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
inline bool closeWritten(FileStream stream) {
    const CancellationGuard wholeClose;
    return fclose(stream.release()) == 0;
}

}  // namespace varnock
