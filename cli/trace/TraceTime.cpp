#include "cli/trace/TraceTime.h"

#include <charconv>

#include "cli/output/Failure.h"

namespace varnockctl {
namespace {

constexpr time_t kDay = 24 * time_t{3600};

/// Local time; nothing unless strptime accepts the whole text.
std::optional<tm> parse(const std::string& text, const char* format, const tm& defaults) {
    tm parts = defaults;
    const char* end = strptime(text.c_str(), format, &parts);
    if (end == nullptr || *end != '\0') {
        return std::nullopt;
    }
    parts.tm_isdst = -1;
    return parts;
}

tm localTime(time_t time) {
    tm parts{};
    localtime_r(&time, &parts);
    return parts;
}

std::optional<time_t> parseAgo(const std::string& text, time_t now) {
    constexpr std::pair<char, time_t> units[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', kDay}};
    unsigned int count = 0;
    const char* const last = text.data() + text.size() - (text.empty() ? 0 : 1);
    const auto parsed = std::from_chars(text.data(), last, count);
    if (text.empty() || parsed.ec != std::errc{} || parsed.ptr != last) {
        return std::nullopt;
    }
    for (const auto& [letter, seconds] : units) {
        if (*last == letter) {
            return now - static_cast<time_t>(count) * seconds;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<time_t> traceTime(std::string_view text, time_t now) {
    tm today = localTime(now);
    const auto parts = parse(std::string(text), "%b %d %H:%M:%S", today);
    if (!parts) {
        return std::nullopt;
    }
    tm thisYear = *parts;
    tm lastYear = *parts;
    --lastYear.tm_year;
    const time_t time = mktime(&thisYear);
    return time <= now + kDay ? time : mktime(&lastYear);
}

time_t parseMoment(const std::string& text, time_t now) {
    if (const auto ago = parseAgo(text, now)) {
        return *ago;
    }
    tm midnight = localTime(now);
    midnight.tm_hour = midnight.tm_min = midnight.tm_sec = 0;
    for (const char* format : {"%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M",
                               "%Y-%m-%dT%H:%M", "%Y-%m-%d", "%H:%M:%S", "%H:%M"}) {
        if (auto parts = parse(text, format, midnight)) {
            return mktime(&*parts);
        }
    }
    throw Failure(
        ExitStatus::usage,
        "--since: \"" + text + "\" is not a time such as 2026-11-21 10:00, 10:00 or 15m (ago)");
}

std::string isoTime(time_t time) {
    const tm parts = localTime(time);
    char text[32];
    return {text, strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts)};
}

}  // namespace varnockctl
