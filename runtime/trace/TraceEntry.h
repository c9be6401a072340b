#pragma once

#include <stdarg.h>

#include <cstddef>
#include <string_view>

#include "runtime/trace/EntryHeader.h"
#include "runtime/trace/TraceFileFormat.h"

namespace varnock {

/// An entry of the calling thread, on its stack. Its message is formatted without the trace lock,
/// so that threads format at the same time. Its header is added under the lock, so that the times
/// of successive entries never go back. Internal.
class TraceEntry {
  public:
    // The members that are not initialised would cost more to fill than to format.
    TraceEntry() {}  // NOLINT(modernize-use-equals-default)
    TraceEntry(const TraceEntry&) = delete;
    TraceEntry& operator=(const TraceEntry&) = delete;

    /// Formats the message and adds a missing newline. False without memory.
    [[nodiscard]] bool format(const char* format, va_list arguments);
    /// Adds the header. Returns the whole entry, which a terminator follows. REQUIRES: format() was
    /// successful, and the caller holds the trace lock.
    std::string_view finish(const char* application);

  private:
    static constexpr std::size_t kLongestHeader = 127;
    static constexpr std::size_t kMessageRoom = 1025;
    static_assert(kLongestHeader + kMessageRoom + 1 <= tracefile::kLongestEntry);

    /// The header ends where the message begins.
    char* message() { return text_ + EntryHeader::kFrontCapacity + kThreadTagLength; }

    char text_[EntryHeader::kFrontCapacity + kThreadTagLength + kMessageRoom + 1];
    char* end_;
};

}  // namespace varnock
