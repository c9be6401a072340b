#include "cli/trace/TraceProcesses.h"

#include <algorithm>
#include <charconv>

#include "runtime/trace/TraceFileFormat.h"

namespace varnockctl {
namespace {

using namespace varnock::tracefile;

/// A damaged file must not fill the memory: it may name a process in every entry.
constexpr std::size_t kMostRanges = 1'000'000;

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

}  // namespace

void TraceProcesses::begin(std::size_t number) {
    if (ranges_.back().begin == number) {
        ranges_.back().process.reset();
    } else if (ranges_.size() < kMostRanges) {
        ranges_.push_back({number, std::nullopt});
    }
}

void TraceProcesses::add(std::string_view message) {
    const std::size_t number = count_++;
    const auto named = processIn(message);
    // The description of a new file precedes the work cycle, that of an existing file follows it.
    if (isUndecided_ && named) {
        begin(number - 1);
    }
    const bool isCycle = message.starts_with(kWorkCycle);
    if (isCycle && !isDescribed_) {
        begin(number);
    }
    isUndecided_ = isCycle && isDescribed_;
    isDescribed_ = message == kEndOfDescription;
    if (named && ranges_.back().process && ranges_.back().process != named) {
        begin(number);
    }
    if (named) {
        ranges_.back().process = named;
    }
}

std::optional<pid_t> TraceProcesses::of(std::size_t number) const {
    const auto next = std::upper_bound(
        ranges_.begin(), ranges_.end(), number,
        [](std::size_t wanted, const Range& range) { return wanted < range.begin; });
    return std::prev(next)->process;
}

}  // namespace varnockctl
