#include "agent/host/KernelLog.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>

#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {
namespace {

constexpr unsigned kPriorityMask = 7;
constexpr std::int64_t kMicrosecondsPerSecond = 1000000;
/// More than the kernel keeps with its usual settings; a log that grows all the time is not read
/// for ever.
constexpr unsigned kMostRecords = 65536;

/// The number at the beginning of the text, which is removed with the character after it.
template <typename Number>
bool take(std::string_view& text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end == text.data() + text.size()) {
        return false;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()) + 1);
    return true;
}

enum class Read { record, skipped, end };

/// One read of the device gives one record.
Read readRecord(int fd, std::string& record) {
    std::array<char, 8192> buffer;
    const ssize_t count = read(fd, buffer.data(), buffer.size());
    if (count > 0) {
        record.assign(buffer.data(), static_cast<std::size_t>(count));
        return Read::record;
    }
    // EPIPE: the record was overwritten. EINVAL: it is larger than the buffer.
    return count < 0 && (errno == EPIPE || errno == EINTR || errno == EINVAL) ? Read::skipped
                                                                              : Read::end;
}

}  // namespace

std::optional<LogEntry> parseKernelRecord(std::string_view record, std::int64_t bootTime) {
    LogEntry entry;
    std::int64_t microseconds = 0;
    std::uint64_t sequence = 0;
    if (!take(record, entry.priority) || !take(record, sequence) || !take(record, microseconds)) {
        return std::nullopt;
    }
    const std::size_t text = record.find(';');
    if (text == std::string_view::npos) {
        return std::nullopt;
    }
    record.remove_prefix(text + 1);
    entry.priority &= kPriorityMask;
    entry.sequence = static_cast<unsigned>(sequence);
    entry.microseconds = bootTime * kMicrosecondsPerSecond + microseconds;
    entry.text = record.substr(0, record.find('\n'));
    return entry;
}

Severity severityOf(unsigned priority) {
    constexpr unsigned kErrors = 3;
    constexpr unsigned kWarnings = 4;
    return priority <= kErrors     ? Severity::error
           : priority == kWarnings ? Severity::warning
                                   : Severity::information;
}

std::optional<LogEntries> readKernelLog(const std::filesystem::path& root, std::int64_t bootTime,
                                        std::size_t most) {
    const FileDescriptor fd(
        open((root / "dev/kmsg").c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!fd) {
        return std::nullopt;
    }
    LogEntries entries;
    std::string record;
    for (unsigned i = 0; i < kMostRecords; ++i) {
        const Read result = readRecord(fd.get(), record);
        if (result == Read::end) {
            break;
        }
        auto entry = result == Read::record ? parseKernelRecord(record, bootTime) : std::nullopt;
        if (entry) {
            entries.push_back(std::move(*entry));
        }
        if (entries.size() > most) {
            entries.pop_front();
        }
    }
    return entries;
}

}  // namespace varnock::agent
