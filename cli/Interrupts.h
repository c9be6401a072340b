#pragma once

#include <signal.h>

#include <atomic>
#include <functional>
#include <thread>

#include "cli/output/Failure.h"
#include "cli/output/Output.h"

namespace varnockctl {

/// Wakes a poll from another thread.
class Wakeup {
  public:
    /// Throws std::system_error.
    Wakeup();
    ~Wakeup();
    Wakeup(const Wakeup&) = delete;
    Wakeup& operator=(const Wakeup&) = delete;

    /// Readable after wake().
    int fd() const { return fd_; }
    void wake() const;

  private:
    int fd_;
};

/// Lets SIGINT and SIGTERM end the process in time, whatever its threads wait for.
///
/// Both signals are blocked in all threads and received by a dedicated one, which calls `end` at
/// once. If the command ends itself (see Interrupts), `end` is called only after a short delay or a
/// second signal. The process also ends if `end` blocks because standard output accepts nothing. A
/// signal that was ignored at the start of the program, as in background jobs, stays ignored.
///
/// There is one per process, created before all other threads and destroyed after the command.
class InterruptHandler {
  public:
    /// Ends the process. May return if another thread is ending it. Must not allocate memory.
    using End = std::function<void(const Ending& interruption)>;

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

/// During its lifetime an interrupted command ends itself: with failure(), or with the result of
/// what it has already done. One at a time.
class Interrupts {
  public:
    Interrupts() : Interrupts(nullptr) {}
    /// Also wakes a waiting command. The wake-up must outlive this object.
    explicit Interrupts(const Wakeup& wakeup) : Interrupts(&wakeup) {}
    ~Interrupts();
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;

    static bool happened();
    /// REQUIRES: happened().
    static Failure failure();
    /// REQUIRES: happened().
    static Ending ending();

  private:
    explicit Interrupts(const Wakeup* wakeup);
};

}  // namespace varnockctl
