#pragma once

#include <filesystem>

#include "agent/host/KernelLog.h"

namespace varnock::agent {

/// The system's log: the journal, else the log of the kernel. Not thread-safe.
class MessageLog {
  public:
    /// The newest entries only: a request must not keep other clients waiting.
    static constexpr std::size_t kCapacity = 512;

    explicit MessageLog(std::filesystem::path root) : root_(std::move(root)) {}

    /// The entries, the oldest first; nothing if the agent may read neither log. Each keeps its
    /// sequence number, so a client that takes the log in parts can ask from a number on.
    /// `bootTime`: seconds since the epoch, for the kernel's log.
    const std::optional<LogEntries>& read(std::int64_t bootTime);
    /// Whether these are the kernel's, which writes English; programs may write any language.
    bool isOfKernel() const { return isOfKernel_; }

  private:
    std::filesystem::path root_;
    bool isOfKernel_ = false;
    std::optional<LogEntries> entries_;
};

}  // namespace varnock::agent
