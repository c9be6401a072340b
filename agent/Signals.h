#pragma once

#include <signal.h>

#include <initializer_list>

namespace varnock::agent {

/// Blocks signals during its lifetime, as sd-event requires; threads that are started meanwhile
/// keep them blocked.
class BlockedSignals {
  public:
    /// All of them.
    BlockedSignals() {
        sigset_t set;
        sigfillset(&set);
        pthread_sigmask(SIG_BLOCK, &set, &before_);
    }
    BlockedSignals(std::initializer_list<int> signals) {
        sigset_t set;
        sigemptyset(&set);
        for (const int signal : signals) {
            sigaddset(&set, signal);
        }
        pthread_sigmask(SIG_BLOCK, &set, &before_);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

    /// The previous mask, for a child process.
    const sigset_t& before() const { return before_; }

  private:
    sigset_t before_;
};

}  // namespace varnock::agent
