#include "cli/trace/TraceItems.h"

#include <time.h>

#include "cli/filter/Moment.h"
#include "cli/trace/TraceTime.h"

namespace varnockctl {
namespace {

Json orNull(const std::optional<std::int64_t>& number) {
    return number ? Json(*number) : Json();
}

}  // namespace

std::string TraceGap::text() const {
    return "--- " + std::to_string(bytes) + " bytes are missing: " + reason + " ---";
}

Json entryJson(const TraceEntry& entry, JsonAllocator& allocator) {
    const auto moment = traceTime(entry.time, time(nullptr));
    Json item(rapidjson::kObjectType);
    add(item, "time", moment ? text(isoTime(*moment), allocator) : Json(), allocator);
    add(item, "host", entry.host, allocator);
    add(item, "application", entry.application, allocator);
    add(item, "thread", entry.thread, allocator);
    add(item, "message", entry.message, allocator);
    return item;
}

Json gapJson(const TraceGap& gap, JsonAllocator& allocator) {
    Json item(rapidjson::kObjectType);
    for (const char* name : {"time", "host", "application", "thread", "message"}) {
        add(item, name, Json(), allocator);
    }
    Json inner(rapidjson::kObjectType);
    add(inner, "reason", gap.reason, allocator);
    add(inner, "bytes", Json(gap.bytes), allocator);
    add(item, "gap", std::move(inner), allocator);
    return item;
}

Json infoJson(const std::string& path, const TraceLog& log, JsonAllocator& allocator) {
    const TraceHeader& header = log.header();
    Json info(rapidjson::kObjectType);
    add(info, "file", path, allocator);
    add(info, "filePath", header.filePath, allocator);
    add(info, "firstOpen", header.firstOpen, allocator);
    add(info, "lastOpen", header.lastOpen, allocator);
    add(info, "opens", orNull(header.opens), allocator);
    add(info, "wraps", orNull(header.wraps), allocator);
    add(info, "size", orNull(header.size), allocator);
    add(info, "position", orNull(header.position), allocator);
    const bool isEmpty = log.count() == 0;
    add(info, "entries", Json(static_cast<std::uint64_t>(log.count())), allocator);
    add(info, "oldest", isEmpty ? Json() : text(log.oldestTime(), allocator), allocator);
    add(info, "newest", isEmpty ? Json() : text(log.newestTime(), allocator), allocator);
    add(info, "tornBytes", Json(log.tornBytes()), allocator);
    Json problems(rapidjson::kArrayType);
    for (const std::string& problem : log.problems()) {
        problems.PushBack(text(problem, allocator), allocator);
    }
    add(info, "problems", std::move(problems), allocator);
    return info;
}

}  // namespace varnockctl
