#include "agent/host/MessageLog.h"

#include <algorithm>

#include "agent/host/Journal.h"

namespace varnock::agent {
namespace {

/// Numbers entries so that those which were read before keep their numbers. The journal has none.
void renumber(LogEntries& entries, const LogEntry& lastBefore) {
    const auto same = [&](const LogEntry& entry) {
        return entry.microseconds == lastBefore.microseconds && entry.text == lastBefore.text;
    };
    const auto found = std::find_if(entries.rbegin(), entries.rend(), same);
    const auto known = static_cast<unsigned>(entries.rend() - found);
    unsigned sequence = lastBefore.sequence - std::min(lastBefore.sequence, known);
    for (LogEntry& entry : entries) {
        entry.sequence = ++sequence;
    }
}

}  // namespace

const std::optional<LogEntries>& MessageLog::read(std::int64_t bootTime) {
    auto journal = readJournal(root_, kCapacity);
    if (journal && entries_ && !entries_->empty() && !isOfKernel_) {
        renumber(*journal, entries_->back());
    }
    isOfKernel_ = !journal;
    entries_ = journal ? std::move(journal) : readKernelLog(root_, bootTime, kCapacity);
    return entries_;
}

}  // namespace varnock::agent
