#pragma once

#include <sys/resource.h>

#include <cstdint>

namespace varnock::test {

/// Lowers the file size limit of the process for a scope. A write beyond the limit fails, and sends
/// SIGXFSZ to the writing thread.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(std::int64_t length) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit lower{static_cast<rlim_t>(length), before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &lower);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

  private:
    rlimit before_{};
};

}  // namespace varnock::test
