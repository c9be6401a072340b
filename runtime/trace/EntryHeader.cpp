#include "runtime/trace/EntryHeader.h"

#include <errno.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <sys/utsname.h>

#include <algorithm>
#include <cstdint>

#include "runtime/process/Clock.h"
#include "runtime/trace/Digits.h"

namespace varnock {
namespace {

constexpr std::size_t kWeekdayLength = 4;
constexpr std::size_t kHostLimit = 31;
constexpr std::size_t kApplicationLimit = 259;

constinit EntryHeader theHeader;

}  // namespace

EntryHeader& entryHeader() {
    return theHeader;
}

void formatLocalTime(time_t time, char (&text)[kTimeTextSize]) {
    const int error = errno;
    tm parts{};
    if (localtime_r(&time, &parts) == nullptr || asctime_r(&parts, text) == nullptr) {
        snprintf(text, sizeof text, "www %s yyyy\n", tracefile::kNoTime);
    }
    errno = error;
}

void shortenHostName(const char* node, char (&text)[kShortHostSize]) {
    const std::size_t length = strcspn(node, ".");
    const std::size_t kept = std::min(length, kHostLimit);
    memcpy(text, node, kept);
    strcpy(text + kept, length > kHostLimit ? "*" : "");
}

void writeThreadTag(char* text) {
    // The thread is shown as 32 bits.
    const EightCharacters digits[] = {
        kEightZeros, eightHexDigits(static_cast<std::uint32_t>(pthread_self()), 'A')};
    static_assert(sizeof digits == tracefile::kThreadDigits);
    *text = '[';
    memcpy(text + 1, digits, sizeof digits);
    memcpy(text + 1 + sizeof digits, tracefile::kBehindThread, sizeof tracefile::kBehindThread - 1);
}

char* EntryHeader::writeFront(const char* application, char* end) {
    if (const time_t now = Clock::instance().wallSecond(); now != second_ || !hasTime_) {
        refreshTime(now);
    }
    if (hostLength_ == 0) {
        refreshHost();
    }
    const std::size_t applicationLength = strnlen(application, kApplicationLimit);
    char* const name = end - applicationLength;
    char* const host = name - hostLength_;
    char* const begin = host - kTimeLength;
    memcpy(begin, time_, kTimeLength);
    memcpy(host, host_, hostLength_);
    memcpy(name, application, applicationLength);
    return begin;
}

std::string_view EntryHeader::write(const char* application, char (&buffer)[kCapacity]) {
    char* const end = buffer + kCapacity - 1;
    char* const tag = end - kThreadTagLength;
    writeThreadTag(tag);
    *end = '\0';
    const char* const begin = writeFront(application, tag);
    return {begin, static_cast<std::size_t>(end - begin)};
}

void EntryHeader::refreshTime(time_t now) {
    char whole[kTimeTextSize];
    formatLocalTime(now, whole);
    memcpy(time_, whole + kWeekdayLength, kTimeLength);
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
