#pragma once

#include <cimple/config.h>

/// Sets the error text of the calling thread, as in CIMPLE_ERROR(("no such fan: %u", number)).
#define CIMPLE_ERROR(ARGS) ::cimple::Error::set ARGS

CIMPLE_NAMESPACE_BEGIN

/// The text that goes with a failed provider operation. Each thread has one of its own.
class Error {
  public:
    [[gnu::format(printf, 1, 2)]] static void set(const char* format, ...);
    /// Empty if none is set; valid until the thread changes its text.
    static const char* get();
    static void clear();
};

CIMPLE_NAMESPACE_END
