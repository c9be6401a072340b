#include "cli/trace/TraceMerge.h"

#include <charconv>
#include <limits>

#include "cli/trace/TraceTime.h"
#include "runtime/trace/TraceFileFormat.h"

namespace varnockctl {
namespace {

using namespace varnock::tracefile;

std::optional<pid_t> processIn(std::string_view message) {
    constexpr std::string_view processLine = kProcessLine;
    pid_t process = 0;
    if (!message.starts_with(processLine)) {
        return std::nullopt;
    }
    message.remove_prefix(processLine.size());
    const char* const end = message.data() + message.size();
    const auto parsed = std::from_chars(message.data(), end, process);
    return parsed.ec == std::errc{} && parsed.ptr == end ? std::optional(process) : std::nullopt;
}

/// True if this work cycle is the first of another process: the description precedes it in a new
/// file, and follows it in an existing file.
bool beginsProcess(const std::vector<TraceEntry>& entries, std::size_t cycle) {
    const bool isDescribedBehind =
        cycle + 1 < entries.size() && processIn(entries[cycle + 1].message).has_value();
    return isDescribedBehind || cycle == 0 || entries[cycle - 1].message != kEndOfDescription;
}

/// The entries of one list, with the time of the next one.
class Cursor {
  public:
    Cursor(const std::vector<MergedEntry>& list, time_t now)
        : next_(list.begin()), end_(list.end()), now_(now) {
        look();
    }

    bool isAtEnd() const { return next_ == end_; }
    time_t moment() const { return moment_; }
    const MergedEntry& take() {
        const MergedEntry& taken = *next_++;
        look();
        return taken;
    }

  private:
    /// An entry without a time has the time of its predecessor.
    void look() {
        if (isAtEnd() || next_->entry->time == time_) {
            return;
        }
        time_ = next_->entry->time;
        moment_ = traceTime(time_, now_).value_or(moment_);
    }

    std::vector<MergedEntry>::const_iterator next_;
    std::vector<MergedEntry>::const_iterator end_;
    time_t now_;
    std::string_view time_;
    time_t moment_ = std::numeric_limits<time_t>::min();
};

}  // namespace

std::vector<std::optional<pid_t>> processesOf(const std::vector<TraceEntry>& entries) {
    std::vector<std::optional<pid_t>> processes(entries.size());
    std::size_t begin = 0;  // of the entries of the process
    std::optional<pid_t> process;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].message.starts_with(kWorkCycle) && beginsProcess(entries, i)) {
            begin = i;
            process.reset();
        }
        if (const auto named = processIn(entries[i].message)) {
            for (std::size_t before = begin; !process && before < i; ++before) {
                processes[before] = named;
            }
            process = named;
        }
        processes[i] = process;
    }
    return processes;
}

std::vector<MergedEntry> mergedByTime(const std::vector<std::vector<MergedEntry>>& lists,
                                      time_t now) {
    std::vector<Cursor> cursors;
    std::size_t count = 0;
    for (const auto& list : lists) {
        cursors.emplace_back(list, now);
        count += list.size();
    }
    std::vector<MergedEntry> merged;
    merged.reserve(count);
    while (merged.size() < count) {
        Cursor* earliest = nullptr;
        for (Cursor& cursor : cursors) {
            if (!cursor.isAtEnd() &&
                (earliest == nullptr || cursor.moment() < earliest->moment())) {
                earliest = &cursor;
            }
        }
        merged.push_back(earliest->take());
    }
    return merged;
}

}  // namespace varnockctl
