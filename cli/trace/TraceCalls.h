#pragma once

#include <sys/types.h>
#include <time.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/output/Json.h"
#include "cli/trace/TraceLog.h"

namespace varnockctl {

/// A typed call as its entries in the trace show it.
struct TracedCall {
    std::string name;    ///< as in the trace
    std::string text;    ///< with its arguments
    std::string thread;  ///< 16 hexadecimal digits
    std::size_t source;  ///< the number of the file
    std::optional<pid_t> process;
    std::int64_t begin;  ///< microseconds since the epoch, of the entry
    std::int64_t end;    ///< of the last reply; without one, of the entry
    unsigned int replies = 0;
    unsigned int failures = 0;  ///< replies with another status than success
};

/// Finds the calls of a trace. The times of entries have a resolution of one second. Within a
/// second, entries are taken as one microsecond apart, in their order, so calls do not overlap
/// those that precede them on their thread.
class TraceCalls {
  public:
    TraceCalls();

    /// The next entry of file `source`. Entries come in the order of time.
    void add(const TraceEntry& entry, std::size_t source);
    /// In the order of their entries.
    const std::vector<TracedCall>& calls() const { return calls_; }

  private:
    std::int64_t timeOf(const TraceEntry& entry);

    std::vector<TracedCall> calls_;
    std::map<std::pair<std::size_t, std::string>, std::size_t> current_;  ///< by source and thread
    std::vector<std::string_view> names_;  ///< of the catalogue, sorted
    std::string lastTime_;
    std::int64_t second_ = 0;
    std::int64_t last_ = 0;
    const time_t now_ = time(nullptr);
};

/// For each name: the number of calls, how many had no reply or a failure, and the percentiles of
/// the time from entry to last reply in seconds. The most frequent first.
Json statisticsJson(const std::vector<TracedCall>& calls, JsonAllocator& allocator);

/// The calls in the trace-event format: {"traceEvents": [...]} with a complete event ("ph": "X") a
/// call and a name a thread.
Json timelineJson(const std::vector<TracedCall>& calls, JsonAllocator& allocator);

}  // namespace varnockctl
