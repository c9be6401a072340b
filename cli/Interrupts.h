#pragma once

#include <signal.h>

#include <atomic>
#include <functional>
#include <thread>

#include "cli/output/Failure.h"

namespace varnockctl {

/// Wakes a poll from another thread.
class Wakeup {
  public:
    /// Throws std::system_error.
    Wakeup();
    ~Wakeup();
    Wakeup(const Wakeup&) = delete;
    Wakeup& operator=(const Wakeup&) = delete;

    /// Ready for reading once wake() was called.
    int fd() const { return fd_; }
    void wake() const;

  private:
    int fd_;
};

/// Lets SIGINT and SIGTERM end the process in time, whatever its threads wait for.
///
/// The two are blocked in all threads and taken by one that does nothing else. It ends the process
/// by the function given, at once, or when a command that ends itself, see Interrupts, has not done
/// so in a moment, or on a second signal. Where that function does not come back, as standard
/// output takes nothing, the process ends all the same. A signal that was ignored when the program
/// started, as of a job in the background, stays ignored.
///
/// One in a process, made before all other threads, and destroyed when the command has ended.
class InterruptHandler {
  public:
    /// Is to end the process with the status of the failure. May return if another thread does so.
    using End = std::function<void(const Failure& interruption)>;

    explicit InterruptHandler(End end);
    ~InterruptHandler();
    InterruptHandler(const InterruptHandler&) = delete;
    InterruptHandler& operator=(const InterruptHandler&) = delete;

  private:
    void handle() const;
    int take(const timespec* limit) const;

    const End end_;
    sigset_t signals_;
    sigset_t before_;
    std::atomic<bool> isOver_ = false;
    std::thread thread_;
};

/// While it lives the command ends itself when it is interrupted, with failure(), or with what it
/// has just done. One at a time.
class Interrupts {
  public:
    Interrupts() : Interrupts(nullptr) {}
    /// Wakes a command that waits. The wake-up outlives this object.
    explicit Interrupts(const Wakeup& wakeup) : Interrupts(&wakeup) {}
    ~Interrupts();
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;

    static bool happened();
    /// REQUIRES: happened().
    static Failure failure();

  private:
    explicit Interrupts(const Wakeup* wakeup);
};

}  // namespace varnockctl
