#pragma once

#include <signal.h>

#include "runtime/threads/Cancellation.h"

// Internal, not installed.
namespace varnock {

/// Makes a write beyond the file size limit (RLIMIT_FSIZE) an ordinary failure for a scope: the
/// call fails with EFBIG, and the host does not get the signal SIGXFSZ. Blocks the signal for the
/// calling thread, and at the end takes the one that the thread has caused. Neither the action of
/// the signal nor another thread is affected. Keeps errno.
///
/// The scope must include the closing of a stream, which may write. The thread is not cancelled
/// meanwhile. Thread-safety: an object belongs to the thread that made it.
class FileSizeSignal {
  public:
    FileSizeSignal();
    ~FileSizeSignal();
    FileSizeSignal(const FileSizeSignal&) = delete;
    FileSizeSignal& operator=(const FileSizeSignal&) = delete;

  private:
    const CancellationGuard wholeScope_;
    sigset_t before_;
    bool isHostsOwn_ = false;  ///< a signal was pending before, and stays
};

}  // namespace varnock
