#include <cimple/Datetime.h>

#include <sys/time.h>

#include <cstring>
#include <ctime>

CIMPLE_NAMESPACE_BEGIN

const uint64 Datetime::USEC = 1;
const uint64 Datetime::MSEC = 1000;
const uint64 Datetime::SEC = 1000000;
const uint64 Datetime::MIN = 60000000;
const uint64 Datetime::HOUR = 3600000000;
const uint64 Datetime::DAY = 86400000000;

namespace {

constexpr size_t textLength = 25;
constexpr size_t pointPosition = 14;
constexpr size_t signPosition = 21;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// True if a text has the right length, digits and separators. Does not check whether its last
/// three digits are valid for an interval.
bool isWellFormed(const char* s) {
    if (!s || ::strnlen(s, textLength + 1) != textLength) {
        return false;
    }
    for (size_t i = 0; i < textLength; i++) {
        if (i != pointPosition && i != signPosition && !isDigit(s[i])) {
            return false;
        }
    }
    return s[pointPosition] == '.' && std::strchr(":+-", s[signPosition]) != nullptr;
}

uint32 number(const char* digits, size_t count) {
    uint32 value = 0;
    for (size_t i = 0; i < count; i++) {
        value = value * 10 + static_cast<uint32>(digits[i] - '0');
    }
    return value;
}

std::tm localTime(uint64 usec) {
    std::tm fields{};
    const auto seconds = static_cast<std::time_t>(usec / Datetime::SEC);
    ::localtime_r(&seconds, &fields);
    return fields;
}

uint32 asUnsigned(int value) {
    return static_cast<uint32>(value);
}

}  // namespace

Datetime::Rep* Datetime::makeRep(uint64 usec, sint32 offset, bool isTimestamp) {
    return new Rep{{1}, offset, usec, isTimestamp};
}

void Datetime::replace(uint64 usec, sint32 offset, bool isTimestamp) {
    if (Atomic_get(&rep_->refs) == 1) {
        *rep_ = Rep{{1}, offset, usec, isTimestamp};
        return;
    }
    Rep* rep = makeRep(usec, offset, isTimestamp);
    release();
    rep_ = rep;
}

Datetime::Datetime(const char* s) : Datetime(uint64(0), 0) {
    set(s);
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment) -- the count is raised before it is lowered
Datetime& Datetime::operator=(const Datetime& x) noexcept {
    Atomic_inc(&x.rep_->refs);
    release();
    rep_ = x.rep_;
    return *this;
}

void Datetime::set(uint64 usec, sint32 offset) {
    replace(usec, offset, true);
}

void Datetime::set(uint64 usec) {
    replace(usec, 0, false);
}

bool Datetime::set(const char* s) {
    if (!isWellFormed(s)) {
        return false;
    }
    const uint32 usecs = number(s + 15, 6);
    const uint32 last = number(s + 22, 3);
    if (s[signPosition] == ':') {
        if (last != 0) {
            return false;
        }
        set_interval(number(s, 8), number(s + 8, 2), number(s + 10, 2), number(s + 12, 2), usecs);
        return true;
    }
    const auto utc = static_cast<sint32>(last);
    set_timestamp(number(s, 4), number(s + 4, 2), number(s + 6, 2), number(s + 8, 2),
                  number(s + 10, 2), number(s + 12, 2), usecs, s[signPosition] == '-' ? -utc : utc);
    return true;
}

void Datetime::get_interval(uint32& days, uint32& hours, uint32& minutes, uint32& seconds,
                            uint32& usecs) {
    const uint64 value = usec();
    days = static_cast<uint32>(value / DAY);
    hours = static_cast<uint32>(value % DAY / HOUR);
    minutes = static_cast<uint32>(value % HOUR / MIN);
    seconds = static_cast<uint32>(value % MIN / SEC);
    usecs = static_cast<uint32>(value % SEC);
}

void Datetime::set_interval(uint32 days, uint32 hours, uint32 minutes, uint32 seconds,
                            uint32 usecs) {
    set(days * DAY + hours * HOUR + minutes * MIN + seconds * SEC + usecs);
}

void Datetime::get_timestamp(uint32& year, uint32& month, uint32& day, uint32& hours,
                             uint32& minutes, uint32& seconds, uint32& usecs, sint32& utc) const {
    const std::tm fields = localTime(usec());
    year = asUnsigned(fields.tm_year) + 1900;
    month = asUnsigned(fields.tm_mon) + 1;
    day = asUnsigned(fields.tm_mday);
    hours = asUnsigned(fields.tm_hour);
    minutes = asUnsigned(fields.tm_min);
    seconds = asUnsigned(fields.tm_sec);
    usecs = static_cast<uint32>(usec() % SEC);
    utc = offset();
}

void Datetime::set_timestamp(uint32 year, uint32 month, uint32 day, uint32 hours, uint32 minutes,
                             uint32 seconds, uint32 usecs, sint32 utc) {
    std::tm fields{};
    fields.tm_year = static_cast<int>(year - 1900);
    fields.tm_mon = static_cast<int>(month - 1);
    fields.tm_mday = static_cast<int>(day);
    fields.tm_hour = static_cast<int>(hours);
    fields.tm_min = static_cast<int>(minutes);
    fields.tm_sec = static_cast<int>(seconds);
    fields.tm_isdst = -1;
    set(static_cast<uint64>(std::mktime(&fields)) * SEC + usecs, utc);
}

int Datetime::format(char* buffer, size_t size, bool pretty) const {
    if (is_interval()) {
        return std::snprintf(buffer, size,
                             pretty ? "%08llu %02llu %02llu %02llu.%06llu:000"
                                    : "%08llu%02llu%02llu%02llu.%06llu:000",
                             usec() / DAY, usec() % DAY / HOUR, usec() % HOUR / MIN,
                             usec() % MIN / SEC, usec() % SEC);
    }
    uint32 year;
    uint32 month;
    uint32 day;
    uint32 hours;
    uint32 minutes;
    uint32 seconds;
    uint32 usecs;
    sint32 utc;
    get_timestamp(year, month, day, hours, minutes, seconds, usecs, utc);
    return std::snprintf(
        buffer, size,
        pretty ? "%04u/%02u/%02u %02u:%02u:%02u.%06u%c%03u" : "%04u%02u%02u%02u%02u%02u.%06u%c%03u",
        year, month, day, hours, minutes, seconds, usecs, utc < 0 ? '-' : '+',
        utc < 0 ? 0U - asUnsigned(utc) : asUnsigned(utc));
}

void Datetime::ascii(char buffer[BUFFER_SIZE], bool pretty) const {
    format(buffer, BUFFER_SIZE, pretty);
}

String Datetime::ascii(bool pretty) const {
    char buffer[2 * BUFFER_SIZE];
    return String(buffer, static_cast<size_t>(format(buffer, sizeof buffer, pretty)));
}

void Datetime::print(FILE* file, bool pretty) const {
    std::fprintf(file, "%s\n", ascii(pretty).c_str());
}

Datetime Datetime::now() {
    timeval time{};
    struct timezone zone {};
    ::gettimeofday(&time, &zone);
    return Datetime(static_cast<uint64>(time.tv_sec) * SEC + static_cast<uint64>(time.tv_usec),
                    -zone.tz_minuteswest);
}

CIMPLE_NAMESPACE_END
