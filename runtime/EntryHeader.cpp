#include "runtime/EntryHeader.h"

#include <errno.h>
#include <pthread.h>
#include <string.h>
#include <sys/utsname.h>

#include <algorithm>
#include <cstdint>

#include "runtime/Clock.h"

namespace varnock {
namespace {

constexpr std::size_t kWeekdayLength = 4;
constexpr std::size_t kTimeLength = 15;
constexpr std::size_t kHostLimit = 31;
constexpr std::size_t kApplicationLimit = 259;

constinit EntryHeader theHeader;

/// The low 32 bits of the thread's id, as 16 digits.
char* appendThread(char* end) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    const auto id = static_cast<std::uint32_t>(pthread_self());
    memset(end, '0', 8);
    for (int shift = 28, i = 8; shift >= 0; shift -= 4, ++i) {
        end[i] = kDigits[(id >> shift) & 0xF];
    }
    return end + 16;
}

}  // namespace

EntryHeader& entryHeader() {
    return theHeader;
}

void formatLocalTime(time_t time, char (&text)[kTimeTextSize]) {
    const int error = errno;
    tm parts{};
    if (localtime_r(&time, &parts) == nullptr || asctime_r(&parts, text) == nullptr) {
        strcpy(text, "www mmm dd hh:mm:ss yyyy\n");
    }
    errno = error;
}

void shortenHostName(const char* node, char (&text)[kShortHostSize]) {
    const std::size_t length = strcspn(node, ".");
    const std::size_t kept = std::min(length, kHostLimit);
    memcpy(text, node, kept);
    strcpy(text + kept, length > kHostLimit ? "*" : "");
}

std::size_t EntryHeader::write(const char* application, char* text) {
    const time_t now = Clock::instance().wallSecond();
    if (!hasTime_ || now != second_) {
        refreshTime(now);
    }
    if (hostLength_ == 0) {
        refreshHost();
    }
    char* end = text;
    memcpy(end, time_ + kWeekdayLength, kTimeLength);
    end += kTimeLength;
    memcpy(end, host_, hostLength_);
    end += hostLength_;
    const std::size_t applicationLength = strnlen(application, kApplicationLimit);
    memcpy(end, application, applicationLength);
    end += applicationLength;
    *end++ = '[';
    end = appendThread(end);
    memcpy(end, "]: ", 4);
    return static_cast<std::size_t>(end - text) + 3;
}

void EntryHeader::refreshTime(time_t now) {
    formatLocalTime(now, time_);
    second_ = now;
    hasTime_ = true;
}

void EntryHeader::refreshHost() {
    utsname system{};
    if (uname(&system) != 0) {
        system.nodename[0] = '\0';
    }
    char name[kShortHostSize];
    shortenHostName(system.nodename, name);
    host_[0] = ' ';
    strcpy(host_ + 1, name);
    hostLength_ = strlen(name) + 2;
    host_[hostLength_ - 1] = ' ';
}

}  // namespace varnock
