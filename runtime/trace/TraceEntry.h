#pragma once

#include <stdarg.h>

#include <atomic>
#include <cstddef>
#include <string_view>

#include "runtime/trace/EntryHeader.h"
#include "runtime/trace/TraceFileFormat.h"

class CDebug;

namespace varnock {

/// An entry of the calling thread, on its stack. Its message is formatted without the trace lock,
/// so that threads format at the same time. Its header is added under the lock, so that the times
/// of successive entries never go back. The thread that holds the lock may be another one, to which
/// the entry was left. Internal.
class TraceEntry {
  public:
    // The members that are not initialised would cost more to fill than to format.
    explicit TraceEntry(CDebug& trace) : trace_(trace) {}
    TraceEntry(const TraceEntry&) = delete;
    TraceEntry& operator=(const TraceEntry&) = delete;

    /// Formats the message and adds a missing newline. False without memory.
    [[nodiscard]] bool format(const char* format, va_list arguments);
    /// Adds the header. Returns the whole entry, which a terminator follows. REQUIRES: format() was
    /// successful, and the caller holds the trace lock.
    std::string_view finish(const char* application);

    // For the list of the entries that wait to be placed.

    /// Writes the entry to the file of its trace. REQUIRES: the caller holds the trace lock.
    void place();
    /// Asks the processor for what place() will need.
    void prefetch() const;
    /// The next entry of the list.
    TraceEntry* next() const { return next_; }
    void setNext(TraceEntry* next) { next_ = next; }
    /// True once another thread has placed the entry.
    bool isPlaced() const { return isPlaced_.load(std::memory_order_acquire); }
    void setPlaced() { isPlaced_.store(true, std::memory_order_release); }

  private:
    static constexpr std::size_t kLongestHeader = 127;
    static constexpr std::size_t kMessageRoom = 1025;
    static_assert(kLongestHeader + kMessageRoom + 1 <= tracefile::kLongestEntry);

    /// The header ends where the message begins.
    char* message() { return text_ + EntryHeader::kFrontCapacity + kThreadTagLength; }

    CDebug& trace_;
    TraceEntry* next_ = nullptr;
    std::atomic<bool> isPlaced_ = false;
    char text_[EntryHeader::kFrontCapacity + kThreadTagLength + kMessageRoom + 1];
    char* end_;
};

}  // namespace varnock
