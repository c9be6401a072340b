#pragma once

#include <time.h>

#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/filter/Pattern.h"
#include "cli/trace/TraceLog.h"

namespace varnockctl {

struct TraceOptions;

/// Recognises the entries with which a start, and each new round, describes process, environment
/// and settings. Takes the entries of one log in their order.
class TraceDescription {
  public:
    /// True if the entry belongs to a description.
    bool holds(const TraceEntry& entry);

  private:
    std::string thread_;  ///< that writes the description; empty outside
};

/// Selects entries by thread, text and time.
class TraceFilter {
  public:
    /// Throws Failure (usage).
    explicit TraceFilter(const TraceOptions& options);

    bool passes(const TraceEntry& entry) const;
    /// False if every entry passes.
    bool selects() const;

  private:
    bool isInTime(const TraceEntry& entry) const;

    std::optional<time_t> since_;
    std::optional<time_t> until_;
    std::vector<std::string> threads_;
    std::vector<std::string> notThreads_;
    std::deque<Pattern> wanted_;
    std::deque<Pattern> unwanted_;
    // Successive entries mostly have the same time.
    mutable std::string lastTime_;
    mutable std::optional<time_t> lastMoment_;
};

}  // namespace varnockctl
