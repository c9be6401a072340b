#pragma once

#include "runtime/files/FileDescriptor.h"

/// Internal, not installed.
namespace varnock {

/// The pipe that tells the event thread to end. Closed on destruction.
class TerminatePipe {
  public:
    /// Closes the current pipe and creates a new one, with descriptors above those of the standard
    /// streams. On failure traces, stays closed and returns false.
    [[nodiscard]] bool open();
    bool isOpen() const { return static_cast<bool>(readEnd_); }
    /// Becomes readable with wake() and stays readable. -1 while closed.
    int readEnd() const { return readEnd_.get(); }
    /// Writes the wake-up bytes if the pipe is open; if that fails, closes the write end, which
    /// wakes the reader too. Always traces.
    void wake();
    void close();

  private:
    int shownWriteEnd() const;

    FileDescriptor readEnd_;
    FileDescriptor writeEnd_;
    bool wasMade_ = false;
};

}  // namespace varnock
