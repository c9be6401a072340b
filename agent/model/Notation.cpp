#include "agent/model/Notation.h"

#include <arpa/inet.h>

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "tools/Hexadecimal.h"

namespace varnock::agent {
namespace {

/// A decimal number at the front of the text, which is removed with the blanks behind it.
std::optional<double> takeNumber(std::string_view& text) {
    text.remove_prefix(text.starts_with('+') ? 1 : 0);
    double number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    if (error != std::errc() || !std::isfinite(number)) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    text.remove_prefix(text.starts_with(' ') ? 1 : 0);
    return number;
}

/// Decimal digits at a place of the text.
std::optional<int> digitsAt(std::string_view text, std::size_t begin, std::size_t count) {
    int number = 0;
    for (const char c : text.substr(begin, count)) {
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        number = number * 10 + (c - '0');
    }
    return number;
}

/// The day of a text that begins with "YYYY-MM-DD".
std::optional<std::chrono::sys_days> dayOf(std::string_view text) {
    if (text.size() < 10 || text[4] != '-' || text[7] != '-') {
        return std::nullopt;
    }
    const auto year = digitsAt(text, 0, 4);
    const auto month = digitsAt(text, 5, 2);
    const auto day = digitsAt(text, 8, 2);
    if (!year || !month || !day) {
        return std::nullopt;
    }
    const std::chrono::year_month_day date{std::chrono::year(*year),
                                           std::chrono::month(static_cast<unsigned>(*month)),
                                           std::chrono::day(static_cast<unsigned>(*day))};
    return date.ok() ? std::optional(std::chrono::sys_days(date)) : std::nullopt;
}

}  // namespace

std::optional<double> parseQuantity(std::string_view text, const catalogue::Unit& unit) {
    const auto number = takeNumber(text);
    if (number) {
        for (const catalogue::Symbol& symbol : unit.symbols) {
            if (text == symbol.text) {
                return *number * symbol.factor;
            }
        }
    }
    return std::nullopt;
}

std::string quantityText(double value, const catalogue::Unit& unit) {
    char number[64];
    std::snprintf(number, sizeof number, "%.15g ", value);
    return number + std::string(unit.symbols.front().text);
}

std::optional<double> parseDuration(std::string_view text) {
    static constexpr catalogue::Symbol kSymbols[] = {
        {"s", 1}, {"", 1}, {"ms", 1e-3}, {"us", 1e-6}, {"min", 60}, {"h", 3600}, {"d", 86400}};
    static constexpr catalogue::Unit kSeconds{"seconds", "20 s", kSymbols};
    const auto seconds = parseQuantity(text, kSeconds);
    return seconds && *seconds >= 0 ? seconds : std::nullopt;
}

std::optional<std::int64_t> parseTime(std::string_view text) {
    constexpr std::size_t kSize = sizeof "2026-11-21T08:00:00Z" - 1;
    const auto day = dayOf(text);
    if (!day || text.size() != kSize || text[10] != 'T' || text[13] != ':' || text[16] != ':' ||
        text[19] != 'Z') {
        return std::nullopt;
    }
    const auto hour = digitsAt(text, 11, 2);
    const auto minute = digitsAt(text, 14, 2);
    const auto second = digitsAt(text, 17, 2);
    if (!hour || !minute || !second || *hour > 23 || *minute > 59 || *second > 59) {
        return std::nullopt;
    }
    return (day->time_since_epoch() + std::chrono::hours(*hour) + std::chrono::minutes(*minute) +
            std::chrono::seconds(*second))
        .count();
}

std::string timeText(std::int64_t seconds) {
    const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text;
}

bool isDate(std::string_view text) {
    return text.size() == 10 && dayOf(text).has_value();
}

std::optional<std::vector<unsigned char>> parseAddress(std::string_view text) {
    char copy[INET6_ADDRSTRLEN] = {};
    if (text.size() >= sizeof copy) {
        return std::nullopt;
    }
    text.copy(copy, text.size());
    std::vector<unsigned char> bytes(4);
    if (inet_pton(AF_INET, copy, bytes.data()) == 1) {
        return bytes;
    }
    bytes.resize(16);
    return inet_pton(AF_INET6, copy, bytes.data()) == 1 ? std::optional(bytes) : std::nullopt;
}

std::optional<std::vector<unsigned char>> parseMac(std::string_view text) {
    constexpr std::size_t kSize = sizeof "02:00:5e:00:53:01" - 1;
    if (text.size() != kSize) {
        return std::nullopt;
    }
    std::vector<unsigned char> bytes;
    for (std::size_t i = 0; i < kSize; i += 3) {
        unsigned char byte = 0;
        const auto [end, error] = std::from_chars(&text[i], &text[i] + 2, byte, 16);
        if (error != std::errc() || end != &text[i] + 2 || (i + 2 < kSize && text[i + 2] != ':')) {
            return std::nullopt;
        }
        bytes.push_back(byte);
    }
    return bytes;
}

std::optional<std::vector<unsigned char>> parseHeader(std::string_view text) {
    constexpr std::size_t kSize = 64;
    const auto bytes = bytesOfDigits(text);
    return bytes && bytes->size() == kSize
               ? std::optional(std::vector<unsigned char>(bytes->begin(), bytes->end()))
               : std::nullopt;
}

std::string addressText(const std::vector<unsigned char>& bytes) {
    char text[INET6_ADDRSTRLEN] = "";
    if (bytes.size() == 4 || bytes.size() == 16) {
        inet_ntop(bytes.size() == 4 ? AF_INET : AF_INET6, bytes.data(), text, sizeof text);
    }
    return text;
}

std::string macText(const std::vector<unsigned char>& bytes) {
    char text[sizeof "02:00:5e:00:53:01"] = "";
    if (bytes.size() == 6) {
        std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1],
                      bytes[2], bytes[3], bytes[4], bytes[5]);
    }
    return text;
}

}  // namespace varnock::agent
