#include "cli/filter/Moment.h"

#include <charconv>
#include <utility>

#include "cli/filter/Newest.h"
#include "cli/output/Failure.h"

namespace varnockctl {
namespace {

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
    constexpr std::pair<char, time_t> units[] = {
        {'s', 1}, {'m', 60}, {'h', 3600}, {'d', 24 * 3600}};
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

std::optional<double> parseIsoTime(const std::string& text) {
    tm parts{};
    parts.tm_isdst = -1;
    const char* rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    if (rest == nullptr) {
        return std::nullopt;
    }
    const char* const end = text.data() + text.size();
    double fraction = 0;
    if (*rest == '.') {
        rest = std::from_chars(rest, end, fraction, std::chars_format::fixed).ptr;
    }
    const bool isUniversal = *rest == 'Z';
    if (rest + (isUniversal ? 1 : 0) != end) {
        return std::nullopt;
    }
    return static_cast<double>(isUniversal ? timegm(&parts) : mktime(&parts)) + fraction;
}

}  // namespace

std::optional<time_t> momentIn(const std::string& text, time_t now) {
    if (text == "boot") {
        timespec sinceBoot{};
        clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
        return now - sinceBoot.tv_sec;
    }
    if (const auto ago = parseAgo(text, now)) {
        return ago;
    }
    tm midnight = localTime(now);
    midnight.tm_hour = midnight.tm_min = midnight.tm_sec = 0;
    for (const char* format : {"%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M",
                               "%Y-%m-%dT%H:%M", "%Y-%m-%d", "%H:%M:%S", "%H:%M"}) {
        if (auto parts = parse(text, format, midnight)) {
            return mktime(&*parts);
        }
    }
    return std::nullopt;
}

time_t parseMoment(const std::string& text, time_t now, const char* option) {
    const auto moment = momentIn(text, now);
    if (!moment) {
        throw Failure(ExitStatus::usage,
                      std::string(option) + ": \"" + text + "\" is not " + kMomentExamples);
    }
    return *moment;
}

std::string isoTime(time_t time) {
    thread_local Newest<time_t, std::string> newest;
    return newest.get(time, [&] {
        const tm parts = localTime(time);
        char text[32];
        return std::string(text, strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts));
    });
}

std::optional<double> isoSeconds(const std::string& text) {
    thread_local Newest<std::string, std::optional<double>> newest;
    return newest.get(text, [&] { return parseIsoTime(text); });
}

}  // namespace varnockctl
