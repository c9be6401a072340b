#pragma once

#include <memory>

#include "util/Export.h"

/// The event log of the platform, which Linux does not have. The class exists so that sources that
/// use it compile; it reports nothing. Messages for users go to the trace.
///
/// Thread-safety: an object belongs to one thread.
class VARNOCK_EXPORT CEventLog {
  public:
    CEventLog() = default;
    /// Neither argument is used.
    CEventLog(const char* server, const char* source);

    /// Keeps a copy of the source name; null keeps none. Always 0, no handle.
    int RegisterSource(const char* source, const char* unused = nullptr);
    /// Does nothing and returns 0.
    int Report(const char* text, unsigned short type);
    /// Does nothing and returns 0.
    int Report(unsigned int eventId, unsigned short type, const char** strings,
               unsigned short count, void* data, unsigned int size, unsigned short category);

  private:
    [[maybe_unused]] int handle_ = -1;
    std::unique_ptr<char[]> source_;
    [[maybe_unused]] unsigned int reserved_[2] = {};
};
