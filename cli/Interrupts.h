#pragma once

namespace varnockctl {

/// Wakes a poll from another thread or from a signal handler.
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

/// Lets SIGINT and SIGTERM end an endless command in an orderly way; a second one ends the process.
/// One at a time.
class Interrupts {
  public:
    explicit Interrupts(const Wakeup& wakeup);
    ~Interrupts();
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;

    static bool happened();
};

}  // namespace varnockctl
