#pragma once

#include <sys/resource.h>

namespace varnock::agent {

/// Lets this process open as many descriptors as the system permits, one for each client, during
/// its lifetime.
class MoreDescriptors {
  public:
    MoreDescriptors() {
        if (getrlimit(RLIMIT_NOFILE, &before_) == 0 && before_.rlim_cur < before_.rlim_max) {
            const rlimit most{before_.rlim_max, before_.rlim_max};
            isRaised_ = setrlimit(RLIMIT_NOFILE, &most) == 0;
        }
    }
    ~MoreDescriptors() { restore(); }
    MoreDescriptors(const MoreDescriptors&) = delete;
    MoreDescriptors& operator=(const MoreDescriptors&) = delete;

    /// For a child process: many programs expect the usual limit.
    void restore() const {
        if (isRaised_) {
            setrlimit(RLIMIT_NOFILE, &before_);
        }
    }

  private:
    rlimit before_{};
    bool isRaised_ = false;
};

}  // namespace varnock::agent
