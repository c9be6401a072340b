#pragma once

#include <cimple/config.h>

/// Sets the error text of the calling thread, as in CIMPLE_ERROR(("no such fan: %u", number)). A
/// statement with its semicolon, for use within the namespace of the framework.
#define CIMPLE_ERROR(ARGS) \
    do {                   \
        Error::set ARGS;   \
    } while (0);

CIMPLE_NAMESPACE_BEGIN

/// The text of a failed provider operation. Each thread has its own.
class Error {
  public:
    /// REQUIRES: the text is shorter than 128 bytes. A longer one is truncated; a debug build ends
    /// the process.
    [[gnu::format(printf, 1, 2)]] static void set(const char* format, ...);
    /// Empty if none is set; valid until the thread changes its text.
    static const char* get();
    static void clear();
};

CIMPLE_NAMESPACE_END
