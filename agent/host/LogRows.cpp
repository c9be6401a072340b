// The system's log as the message log.

#include "agent/host/HostRow.h"

namespace varnock::agent {
namespace {

constexpr const char* kNoLog = "the agent may read neither the journal nor the kernel's log";
constexpr const char* kNoLanguage =
    "the agent may read no log, or only the journal, where each program writes its own language";
/// The number of the language in Windows.
constexpr unsigned kEnglish = 9;
/// Of one reply; the bytes take up to four times as much in its text.
constexpr std::size_t kLargestChunk = std::size_t{16} << 10;
constexpr std::int64_t kMicroseconds = 1000000;
constexpr std::size_t kEntryHead = 15;
constexpr std::size_t kLongestText = 4096;
/// The systems' logs overwrite their oldest entries.
constexpr unsigned kOverwrites = 0;

const std::optional<LogEntries>& readLog(Host& host) {
    return host.log.read(host.activity.bootTime().value_or(0));
}

/// The total length as a word, sequence number, message number and time as double words, the
/// severity as a byte, the text with its NUL. The texts have no message numbers.
void appendEntry(Bytes& bytes, const LogEntry& entry) {
    const std::string text = entry.text.substr(0, kLongestText);
    appendWord(bytes, static_cast<unsigned>(kEntryHead + text.size() + 1));
    appendDword(bytes, entry.sequence);
    appendDword(bytes, 0);
    appendDword(bytes, static_cast<unsigned>(entry.microseconds / kMicroseconds));
    appendByte(bytes, static_cast<unsigned>(severityOf(entry.priority)));
    appendText(bytes, text);
}

/// From the entry with the number on, or a later one: as many as a reply holds.
std::optional<Bytes> chunk(Host& host, unsigned number) {
    const auto& entries = readLog(host);
    if (!entries) {
        return std::nullopt;
    }
    Bytes bytes;
    for (const LogEntry& entry : *entries) {
        if (entry.sequence >= number && bytes.size() < kLargestChunk) {
            appendEntry(bytes, entry);
        }
    }
    return bytes;
}

/// The language in which all texts are.
Number language(Host& host) {
    return readLog(host) && host.log.isOfKernel() ? Number(kEnglish) : std::nullopt;
}

std::optional<Bytes> languages(Host& host) {
    const Number only = language(host);
    if (!only) {
        return std::nullopt;
    }
    Bytes bytes;
    appendWord(bytes, *only);
    return bytes;
}

constexpr HostRow kLogRows[] = {
    {0x0B01, 0, Objects::first,
     [](Host& host, const Command&) -> Answer { return readLog(host) ? Number(1) : std::nullopt; },
     kNoLog},
    {0x0B0C, 0, Objects::first,
     [](Host& host, const Command&) -> Answer {
         return readLog(host) ? Number(static_cast<unsigned>(MessageLog::kCapacity)) : std::nullopt;
     },
     kNoLog},
    {0x0B10, kAnyExtension, Objects::any,
     [](Host& host, const Command& c) -> Answer { return chunk(host, c.object); }, kNoLog},
    {0x0B13, 0, Objects::none,
     [](Host& host, const Command&) -> Answer {
         const auto& entries = readLog(host);
         return entries ? Number(static_cast<unsigned>(entries->size())) : std::nullopt;
     },
     kNoLog},
    {0x0B20, 0, Objects::none, [](Host& host, const Command&) -> Answer { return languages(host); },
     kNoLanguage},
    {kConfigurationRead, 0x000E, Objects::none,
     [](Host& host, const Command&) -> Answer { return language(host); }, kNoLanguage},
    {kConfigurationRead, 0x0007, Objects::none,
     [](Host& host, const Command&) -> Answer {
         return readLog(host) ? Number(kOverwrites) : std::nullopt;
     },
     kNoLog},
};

}  // namespace

std::span<const HostRow> logRows() {
    return kLogRows;
}

}  // namespace varnock::agent
