#pragma once

/// Marks a scope in which operations of the agent would run under the caller's identity.
///
/// This platform has no impersonation: the guard records the wish and does nothing. It stands
/// around every operation of the agent all the same, so that a platform that has it needs no
/// change in the callers.
///
/// Thread-safety: a guard belongs to the thread that made it.
class ImpersonateGuard {
  public:
    /// Records whether the scope is to run as the caller.
    explicit ImpersonateGuard(bool impersonate) : impersonate_(impersonate) {}
    ~ImpersonateGuard() {}
    ImpersonateGuard(const ImpersonateGuard&) = delete;
    ImpersonateGuard& operator=(const ImpersonateGuard&) = delete;

  private:
    [[maybe_unused]] bool impersonate_;
    [[maybe_unused]] unsigned int state_ = 0;
};
