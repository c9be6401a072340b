#include "cli/trace/TraceMerge.h"

#include <limits>

#include "cli/trace/TraceTime.h"

namespace varnockctl {
namespace {

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
