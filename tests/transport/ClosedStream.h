#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace varnock::test {

/// Closes a standard stream, as some hosts do, and restores it in the destructor. Meanwhile the
/// next descriptor that is opened gets its number.
class ClosedStream {
  public:
    explicit ClosedStream(int number) : number_(number), kept_(fcntl(number, F_DUPFD_CLOEXEC, 10)) {
        close(number_);
    }
    ~ClosedStream() {
        if (kept_ >= 0) {
            dup2(kept_, number_);
            close(kept_);
        }
    }
    ClosedStream(const ClosedStream&) = delete;
    ClosedStream& operator=(const ClosedStream&) = delete;

  private:
    int number_;
    int kept_;  ///< -1 if it was already closed
};

}  // namespace varnock::test
