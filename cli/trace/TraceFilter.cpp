#include "cli/trace/TraceFilter.h"

#include <algorithm>

#include "cli/Commands.h"
#include "cli/filter/Moment.h"
#include "cli/output/Failure.h"
#include "cli/trace/TraceTime.h"
#include "runtime/trace/TraceFileFormat.h"

namespace varnockctl {
namespace {

using namespace varnock::tracefile;

/// A thread as the file shows it, from hexadecimal digits with or without leading zeros.
std::string threadDigits(const std::string& text, const char* option) {
    std::string digits = text.starts_with("0x") || text.starts_with("0X") ? text.substr(2) : text;
    std::transform(digits.begin(), digits.end(), digits.begin(),
                   [](char c) { return c >= 'a' && c <= 'f' ? static_cast<char>(c - 32) : c; });
    if (digits.empty() || digits.size() > kThreadDigits ||
        digits.find_first_not_of("0123456789ABCDEF") != digits.npos) {
        throw Failure(ExitStatus::usage, std::string(option) + ": \"" + text +
                                             "\" is not a thread: up to 16 hexadecimal digits");
    }
    return digits.insert(0, kThreadDigits - digits.size(), '0');
}

std::optional<time_t> momentOf(const std::string& text, const char* option) {
    return text.empty() ? std::nullopt : std::optional(parseMoment(text, time(nullptr), option));
}

}  // namespace

bool TraceDescription::holds(const TraceEntry& entry) {
    if (entry.message.starts_with(kDescription)) {
        thread_ = entry.thread;
    }
    if (entry.thread != thread_) {
        return false;
    }
    // A description may have been overwritten in part.
    if (entry.message.starts_with(kWorkCycle)) {
        thread_.clear();
        return false;
    }
    if (entry.message == kEndOfDescription) {
        thread_.clear();
    }
    return true;
}

TraceFilter::TraceFilter(const TraceOptions& options)
    : since_(momentOf(options.since, "--since")), until_(momentOf(options.until, "--until")) {
    for (const std::string& text : options.grep) {
        wanted_.emplace_back(text, "--grep");
    }
    for (const std::string& text : options.exclude) {
        unwanted_.emplace_back(text, "--exclude");
    }
    for (const std::string& text : options.threads) {
        threads_.push_back(threadDigits(text, "--thread"));
    }
    for (const std::string& text : options.notThreads) {
        notThreads_.push_back(threadDigits(text, "--not-thread"));
    }
}

bool TraceFilter::selects() const {
    return since_ || until_ || !threads_.empty() || !notThreads_.empty() || !wanted_.empty() ||
           !unwanted_.empty();
}

bool TraceFilter::passes(const TraceEntry& entry) const {
    const auto matches = [&](const Pattern& pattern) { return pattern.matches(entry.message); };
    const auto isThread = [&](const std::string& thread) { return thread == entry.thread; };
    return isInTime(entry) &&
           (threads_.empty() || std::any_of(threads_.begin(), threads_.end(), isThread)) &&
           std::none_of(notThreads_.begin(), notThreads_.end(), isThread) &&
           (wanted_.empty() || std::any_of(wanted_.begin(), wanted_.end(), matches)) &&
           std::none_of(unwanted_.begin(), unwanted_.end(), matches);
}

bool TraceFilter::isInTime(const TraceEntry& entry) const {
    if (!since_ && !until_) {
        return true;
    }
    if (entry.time != lastTime_) {
        lastTime_ = entry.time;
        lastMoment_ = traceTime(entry.time, time(nullptr));
    }
    return lastMoment_ && (!since_ || *lastMoment_ >= *since_) &&
           (!until_ || *lastMoment_ < *until_);
}

}  // namespace varnockctl
