#pragma once

/// Marks a scope in which operations of the agent would run under the caller's identity.
///
/// This platform has no impersonation: the guard records the request and does nothing. It surrounds
/// every operation of the agent nevertheless, so that callers need no change for a platform with
/// impersonation.
///
/// Thread-safety: a guard may be used only by the thread that created it.
class ImpersonateGuard {
  public:
    /// Records whether the scope should run as the caller.
    explicit ImpersonateGuard(bool impersonate) : impersonate_(impersonate) {}
    ~ImpersonateGuard() {}
    ImpersonateGuard(const ImpersonateGuard&) = delete;
    ImpersonateGuard& operator=(const ImpersonateGuard&) = delete;

  private:
    [[maybe_unused]] bool impersonate_;
    [[maybe_unused]] unsigned int state_ = 0;
};
