#include "cli/trace/TraceCalls.h"

#include <algorithm>
#include <charconv>

#include "cli/calls/Catalogue.h"
#include "cli/trace/TraceTime.h"
#include "transport/SipJson.h"

namespace varnockctl {
namespace {

constexpr std::string_view kEntry = "KRM_TBL             : Kolm::";
constexpr std::string_view kReply = "CSwitchClient::Request: Receive response ";
constexpr std::string_view kStatus = "Status=0x";
constexpr std::int64_t kMicroseconds = 1'000'000;

/// "name(arguments)" of the line with which a call begins; empty for any other line.
std::string_view callIn(std::string_view message) {
    const bool isEntry = message.starts_with(kEntry) && message.ends_with(')') &&
                         message.find("): ") == message.npos && message.find('(') != message.npos;
    return isEntry ? message.substr(kEntry.size()) : std::string_view();
}

/// The status in the line of a reply.
std::optional<unsigned int> statusIn(std::string_view message) {
    const std::size_t at = message.find(kStatus);
    if (!message.starts_with(kReply) || at == message.npos) {
        return std::nullopt;
    }
    const char* const begin = message.data() + at + kStatus.size();
    unsigned int status = 0;
    const auto parsed = std::from_chars(begin, message.data() + message.size(), status, 16);
    return parsed.ec == std::errc{} ? std::optional(status) : std::nullopt;
}

/// The smallest of the sorted times that is not below `percent` of them.
std::int64_t percentile(const std::vector<std::int64_t>& sorted, std::size_t percent) {
    return sorted[(sorted.size() * percent + 99) / 100 - 1];
}

struct Statistics {
    std::uint64_t count = 0;
    std::uint64_t unanswered = 0;
    std::uint64_t failed = 0;
    std::vector<std::int64_t> seconds;
};

Json rowOf(const std::string& name, Statistics& statistics, JsonAllocator& allocator) {
    std::vector<std::int64_t>& times = statistics.seconds;
    std::sort(times.begin(), times.end());
    Json row(rapidjson::kObjectType);
    add(row, "call", name, allocator);
    add(row, "count", Json(statistics.count), allocator);
    add(row, "unanswered", Json(statistics.unanswered), allocator);
    add(row, "failed", Json(statistics.failed), allocator);
    constexpr std::pair<const char*, std::size_t> columns[] = {
        {"p50Seconds", 50}, {"p90Seconds", 90}, {"p99Seconds", 99}, {"maxSeconds", 100}};
    for (const auto& [column, percent] : columns) {
        add(row, column, times.empty() ? Json() : Json(percentile(times, percent)), allocator);
    }
    return row;
}

Json threadNameJson(const TracedCall& call, int process, int thread, JsonAllocator& allocator) {
    Json name(rapidjson::kObjectType);
    add(name, "name", call.thread, allocator);
    Json event(rapidjson::kObjectType);
    add(event, "name", "thread_name", allocator);
    add(event, "ph", "M", allocator);
    add(event, "pid", Json(process), allocator);
    add(event, "tid", Json(thread), allocator);
    add(event, "args", std::move(name), allocator);
    return event;
}

Json spanJson(const TracedCall& call, int process, int thread, JsonAllocator& allocator) {
    Json arguments(rapidjson::kObjectType);
    add(arguments, "call", call.text, allocator);
    add(arguments, "replies", Json(call.replies), allocator);
    add(arguments, "failures", Json(call.failures), allocator);
    Json event(rapidjson::kObjectType);
    add(event, "name", call.name, allocator);
    add(event, "cat", "call", allocator);
    add(event, "ph", "X", allocator);
    add(event, "ts", Json(call.begin), allocator);
    add(event, "dur", Json(call.end - call.begin), allocator);
    add(event, "pid", Json(process), allocator);
    add(event, "tid", Json(thread), allocator);
    add(event, "args", std::move(arguments), allocator);
    return event;
}

}  // namespace

TraceCalls::TraceCalls() {
    for (const CatalogueRow& row : catalogue()) {
        names_.push_back(varnock::catalogue::traceName(row));
        names_.push_back(varnock::catalogue::memberName(row));
    }
    std::sort(names_.begin(), names_.end());
}

/// Never earlier than the entry before, even if the clock was set back.
std::int64_t TraceCalls::timeOf(const TraceEntry& entry) {
    if (entry.time != lastTime_) {
        lastTime_ = entry.time;
        second_ = traceTime(entry.time, now_).value_or(second_ / kMicroseconds) * kMicroseconds;
    }
    last_ = std::max(last_ + 1, second_);
    return last_;
}

void TraceCalls::add(const TraceEntry& entry, std::size_t source) {
    const std::int64_t time = timeOf(entry);
    const auto place = std::pair(source, std::string(entry.thread));
    if (const std::string_view text = callIn(entry.message); !text.empty()) {
        const std::string_view name = text.substr(0, text.find('('));
        if (std::binary_search(names_.begin(), names_.end(), name)) {
            current_[place] = calls_.size();
            calls_.push_back({std::string(name), std::string(text), place.second, source,
                              entry.process, time, time});
        }
    } else if (const auto status = statusIn(entry.message)) {
        if (const auto found = current_.find(place); found != current_.end()) {
            TracedCall& call = calls_[found->second];
            call.end = time;
            ++call.replies;
            call.failures += SipJson::CmdStatusSuccess(*status) ? 0U : 1U;
        }
    }
}

Json statisticsJson(const std::vector<TracedCall>& calls, JsonAllocator& allocator) {
    std::map<std::string, Statistics> byName;
    for (const TracedCall& call : calls) {
        Statistics& statistics = byName[call.name];
        ++statistics.count;
        statistics.unanswered += call.replies == 0 ? 1U : 0U;
        statistics.failed += call.failures > 0 ? 1U : 0U;
        if (call.replies > 0) {
            statistics.seconds.push_back(call.end / kMicroseconds - call.begin / kMicroseconds);
        }
    }
    std::vector<std::pair<const std::string, Statistics>*> ordered;
    ordered.reserve(byName.size());
    for (auto& each : byName) {
        ordered.push_back(&each);
    }
    std::stable_sort(ordered.begin(), ordered.end(), [](const auto* one, const auto* other) {
        return one->second.count > other->second.count;
    });
    Json rows(rapidjson::kArrayType);
    for (auto* each : ordered) {
        rows.PushBack(rowOf(each->first, each->second, allocator), allocator);
    }
    return rows;
}

Json timelineJson(const std::vector<TracedCall>& calls, JsonAllocator& allocator) {
    Json events(rapidjson::kArrayType);
    std::map<std::pair<std::size_t, std::string>, int> threads;
    for (const TracedCall& call : calls) {
        const int process = call.process.value_or(static_cast<pid_t>(call.source) + 1);
        const auto [thread, isNew] = threads.emplace(std::pair(call.source, call.thread),
                                                     static_cast<int>(threads.size()) + 1);
        if (isNew) {
            events.PushBack(threadNameJson(call, process, thread->second, allocator), allocator);
        }
        events.PushBack(spanJson(call, process, thread->second, allocator), allocator);
    }
    Json timeline(rapidjson::kObjectType);
    add(timeline, "traceEvents", std::move(events), allocator);
    add(timeline, "displayTimeUnit", "ms", allocator);
    return timeline;
}

}  // namespace varnockctl
