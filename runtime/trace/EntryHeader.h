#pragma once

#include <pthread.h>
#include <time.h>

#include <cstddef>

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

/// Builds entry headers without a system call. Reads the host name once per process, formats the
/// time once per second, and formats the thread when it changes.
///
/// Thread-safety: callers hold the trace lock.
class EntryHeader {
  public:
    /// Longest header: time, host, an application name of 259 characters, thread.
    static constexpr std::size_t kCapacity =
        tracefile::kTimeLength + 1 + 32 + 1 + 259 + 1 + tracefile::kThreadDigits + 3 + 1;

    constexpr EntryHeader() = default;

    /// Writes the header for the calling thread and the current time, terminated. Returns its
    /// length. REQUIRES: `text` has room for kCapacity characters.
    std::size_t write(const char* application, char* text);
    /// Makes the next entry read the host name again: a forked child may be in another namespace.
    void forgetHost() { hostLength_ = 0; }

  private:
    static constexpr std::size_t kTimeLength = tracefile::kTimeLength;
    static constexpr std::size_t kTagLength = 1 + tracefile::kThreadDigits + 3;

    void refreshTime(time_t now);
    void refreshHost();
    void refreshThread(pthread_t thread);

    time_t second_ = 0;
    bool hasTime_ = false;
    char time_[kTimeLength] = {};
    std::size_t hostLength_ = 0;  ///< 0: not read yet; counts the blanks around the name
    char host_[kShortHostSize + 2] = {};
    pthread_t thread_ = 0;  ///< 0: none yet
    char tag_[kTagLength + 1] = {};
};

/// The instance of the process. Valid before the first constructor and after the last destructor.
EntryHeader& entryHeader();

}  // namespace varnock
