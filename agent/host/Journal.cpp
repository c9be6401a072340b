#include "agent/host/Journal.h"

#include <systemd/sd-journal.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "agent/host/Files.h"

namespace varnock::agent {
namespace {

/// The priority that syslog gives an entry without one.
constexpr unsigned kNotice = 5;

struct Close {
    void operator()(sd_journal* journal) const { sd_journal_close(journal); }
};
using OpenJournal = std::unique_ptr<sd_journal, Close>;

OpenJournal openJournal(const std::filesystem::path& root) {
    sd_journal* journal = nullptr;
    const int result = root == "/"
                           ? sd_journal_open(&journal, SD_JOURNAL_LOCAL_ONLY | SD_JOURNAL_SYSTEM)
                           : sd_journal_open_directory(&journal, root.c_str(), SD_JOURNAL_OS_ROOT);
    return OpenJournal(result >= 0 ? journal : nullptr);
}

/// The journal has fields as "NAME=value".
std::optional<std::string> field(sd_journal* journal, std::string_view name) {
    const void* data = nullptr;
    std::size_t size = 0;
    if (sd_journal_get_data(journal, std::string(name).c_str(), &data, &size) < 0 ||
        size <= name.size()) {
        return std::nullopt;
    }
    return std::string(static_cast<const char*>(data), size).substr(name.size() + 1);
}

/// The entry as a line of a system log: "sshd: message".
std::optional<LogEntry> entryAt(sd_journal* journal) {
    std::uint64_t time = 0;
    auto message = field(journal, "MESSAGE");
    if (!message || sd_journal_get_realtime_usec(journal, &time) < 0) {
        return std::nullopt;
    }
    const auto program = field(journal, "SYSLOG_IDENTIFIER");
    const auto priority = field(journal, "PRIORITY");
    LogEntry entry;
    entry.microseconds = static_cast<std::int64_t>(time);
    entry.priority = priority ? parseDecimal(*priority).value_or(kNotice) : kNotice;
    entry.text = program ? *program + ": " + *message : std::move(*message);
    return entry;
}

}  // namespace

std::optional<LogEntries> readJournal(const std::filesystem::path& root, std::size_t most) {
    const OpenJournal journal = openJournal(root);
    if (journal == nullptr || sd_journal_seek_tail(journal.get()) < 0) {
        return std::nullopt;
    }
    LogEntries entries;
    while (entries.size() < most && sd_journal_previous(journal.get()) > 0) {
        if (auto entry = entryAt(journal.get())) {
            entries.push_front(std::move(*entry));
        }
    }
    // A journal that the agent may not read looks empty.
    if (entries.empty()) {
        return std::nullopt;
    }
    unsigned sequence = 0;
    for (LogEntry& entry : entries) {
        entry.sequence = ++sequence;
    }
    return entries;
}

}  // namespace varnock::agent
