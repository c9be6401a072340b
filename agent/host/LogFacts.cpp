// The system's log as the message log.

#include "agent/host/HostFact.h"

namespace varnock::agent {
namespace {

constexpr const char* kNoLog = "the agent may read neither the journal nor the kernel's log";
constexpr const char* kNoLanguage =
    "the agent may read no log, or only the journal, where each program writes its own language";
/// The number of the language in Windows.
constexpr unsigned kEnglish = 9;
constexpr std::int64_t kMicroseconds = 1000000;
constexpr std::size_t kLongestText = 4096;
/// The systems' logs overwrite their oldest entries.
constexpr unsigned kOverwrites = 0;

const std::optional<LogEntries>& readLog(Host& host) {
    return host.log.read(host.activity.bootTime().value_or(0));
}

Node entryNode(const NodeBuilder& builder, const LogEntry& entry) {
    return builder.object({{"number", entry.sequence},
                           {"time", static_cast<unsigned>(entry.microseconds / kMicroseconds)},
                           {"severity", static_cast<unsigned>(severityOf(entry.priority))},
                           {"text", entry.text.substr(0, kLongestText)}});
}

/// The language in which all texts are.
Number language(Host& host) {
    return readLog(host) && host.log.isOfKernel() ? Number(kEnglish) : std::nullopt;
}

/// A number that holds for any log that the agent may read.
template <unsigned number>
Answer ofAnyLog(Host& host, unsigned) {
    return readLog(host) ? Number(number) : std::nullopt;
}

constexpr HostFact kLogFacts[] = {
    {"cabinets[].messageLog.available", ofAnyLog<1>, kNoLog},
    {"cabinets[].messageLog.capacity", ofAnyLog<MessageLog::kCapacity>, kNoLog},
    {"cabinets[].messageLog.stopsWhenFull", ofAnyLog<kOverwrites>, kNoLog},
    {"cabinets[].messageLog.entries",
     [](Host& host, unsigned, const NodeBuilder& builder) {
         const auto& entries = readLog(host);
         return entries ? builder.list(*entries, entryNode) : Node();
     },
     kNoLog},
    {"cabinets[].messageLog.languages",
     [](Host& host, unsigned, const NodeBuilder& builder) {
         const Number only = language(host);
         return only ? builder.values(std::vector{*only}) : Node();
     },
     kNoLanguage},
    {"cabinets[].messageLog.language",
     [](Host& host, unsigned) -> Answer { return language(host); }, kNoLanguage},
};

}  // namespace

std::span<const HostFact> logFacts() {
    return kLogFacts;
}

}  // namespace varnock::agent
