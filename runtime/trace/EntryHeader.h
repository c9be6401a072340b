#pragma once

#include <time.h>

#include <cstddef>
#include <string_view>

#include "runtime/trace/TraceFileFormat.h"

// The header of a trace entry, "Mmm dd hh:mm:ss host application[thread]: ". Internal.
namespace varnock {

inline constexpr std::size_t kTimeTextSize = 44;   ///< a time and its terminator
inline constexpr std::size_t kShortHostSize = 33;  ///< a name, "*" and the terminator

/// The local time in the form of asctime_r, "Www Mmm dd hh:mm:ss yyyy\n", or "www mmm dd hh:mm:ss
/// yyyy\n" for a time that asctime_r cannot show.
void formatLocalTime(time_t time, char (&text)[kTimeTextSize]);

/// A node name up to its first dot. A name with more than 31 characters is cut to 31 and "*".
void shortenHostName(const char* node, char (&text)[kShortHostSize]);

/// "[thread]: " of the calling thread, without terminator.
inline constexpr std::size_t kThreadTagLength =
    1 + tracefile::kThreadDigits + sizeof tracefile::kBehindThread - 1;
void writeThreadTag(char* text);

/// Builds entry headers without a system call. Reads the host name once per process, and formats
/// the time once per second.
///
/// Thread-safety: callers hold the trace lock.
class EntryHeader {
  public:
    /// Longest header before the thread: time, host, an application name of 259 characters.
    static constexpr std::size_t kFrontCapacity = tracefile::kTimeLength + 1 + 32 + 1 + 259;
    /// Longest header, with its terminator.
    static constexpr std::size_t kCapacity = kFrontCapacity + kThreadTagLength + 1;

    constexpr EntryHeader() = default;

    /// Writes the current time, the host and the application, so that they end at `end`. Returns
    /// their beginning. REQUIRES: there is room for kFrontCapacity characters.
    char* writeFront(const char* application, char* end);
    /// Writes a whole header for the calling thread, terminated, somewhere in the buffer.
    std::string_view write(const char* application, char (&buffer)[kCapacity]);
    /// Makes the next entry read the host name again: a forked child may be in another namespace.
    void forgetHost() { hostLength_ = 0; }

  private:
    static constexpr std::size_t kTimeLength = tracefile::kTimeLength;

    void refreshTime(time_t now);
    void refreshHost();

    time_t second_ = 0;
    bool hasTime_ = false;
    char time_[kTimeLength] = {};
    std::size_t hostLength_ = 0;  ///< 0: not read yet; counts the blanks around the name
    char host_[kShortHostSize + 2] = {};
};

/// The instance of the process. Valid before the first constructor and after the last destructor.
EntryHeader& entryHeader();

}  // namespace varnock
