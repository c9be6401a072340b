#include "cli/trace/TraceTime.h"

#include <string>
#include <utility>

#include "cli/filter/Newest.h"

namespace varnockctl {
namespace {

constexpr time_t kDay = 24 * time_t{3600};

std::optional<time_t> parseEntryTime(std::string_view text, time_t now) {
    tm parts{};
    localtime_r(&now, &parts);
    const std::string whole(text);
    const char* const end = strptime(whole.c_str(), "%b %d %H:%M:%S", &parts);
    if (end == nullptr || *end != '\0') {
        return std::nullopt;
    }
    parts.tm_isdst = -1;
    tm thisYear = parts;
    tm lastYear = parts;
    --lastYear.tm_year;
    const time_t time = mktime(&thisYear);
    return time <= now + kDay ? time : mktime(&lastYear);
}

}  // namespace

std::optional<time_t> traceTime(std::string_view text, time_t now) {
    thread_local Newest<std::pair<std::string, time_t>, std::optional<time_t>> newest;
    return newest.get({std::string(text), now}, [&] { return parseEntryTime(text, now); });
}

}  // namespace varnockctl
