#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "agent/Health.h"

namespace varnock::agent {

/// An entry of the system's log.
struct LogEntry {
    unsigned sequence = 0;
    std::int64_t microseconds = 0;  ///< since the epoch
    unsigned priority = 0;          ///< of syslog: 0 emergency to 7 debug
    std::string text;

    bool operator==(const LogEntry&) const = default;
};

/// The severity of a priority.
Severity severityOf(unsigned priority);

using LogEntries = std::deque<LogEntry>;

/// One record of /dev/kmsg: "PRIORITY,SEQUENCE,MICROSECONDS,FLAGS…;TEXT", with the time since the
/// start of the system, which was `bootTime` seconds since the epoch. Lines after the first have
/// further data and are left out. Nothing if the record has another form.
std::optional<LogEntry> parseKernelRecord(std::string_view record, std::int64_t bootTime);

/// The newest entries of the kernel's log, at most `most`, the oldest first. Nothing if it cannot
/// be read; the system may allow only root to read it.
std::optional<LogEntries> readKernelLog(const std::filesystem::path& root, std::int64_t bootTime,
                                        std::size_t most);

}  // namespace varnock::agent
