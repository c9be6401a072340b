#pragma once

#include "runtime/files/FileDescriptor.h"

/// Internal, not installed.
namespace varnock {

/// The pipe that wakes the event thread for its end. Closed on destruction.
class TerminatePipe {
  public:
    /// Creates a new pipe, away from the standard streams. False, traced, when it cannot be made;
    /// it is closed then.
    bool open();
    bool isOpen() const { return static_cast<bool>(readEnd_); }
    /// Becomes readable with wake(), and stays so; -1 while closed.
    int readEnd() const { return readEnd_.get(); }
    /// Writes the wake-up bytes, if the pipe is open. Traces in any case.
    void wake() const;
    void close();

  private:
    int shownWriteEnd() const;

    FileDescriptor readEnd_;
    FileDescriptor writeEnd_;
    bool wasMade_ = false;
};

}  // namespace varnock
