#include "runtime/trace/EntryHeader.h"

#include <errno.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <sys/utsname.h>

#include <algorithm>
#include <cstdint>

#include "runtime/process/Clock.h"

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

std::size_t EntryHeader::write(const char* application, char* text) {
    if (const time_t now = Clock::instance().wallSecond(); now != second_ || !hasTime_) {
        refreshTime(now);
    }
    if (hostLength_ == 0) {
        refreshHost();
    }
    if (const pthread_t thread = pthread_self(); thread != thread_) {
        refreshThread(thread);
    }
    const std::size_t applicationLength = strnlen(application, kApplicationLimit);
    memcpy(text, time_, kTimeLength);
    memcpy(text + kTimeLength, host_, hostLength_);
    char* const rest = text + kTimeLength + hostLength_;
    memcpy(rest, application, applicationLength);
    memcpy(rest + applicationLength, tag_, sizeof tag_);
    return kTimeLength + hostLength_ + applicationLength + kTagLength;
}

void EntryHeader::refreshTime(time_t now) {
    char whole[kTimeTextSize];
    formatLocalTime(now, whole);
    memcpy(time_, whole + kWeekdayLength, kTimeLength);
    second_ = now;
    hasTime_ = true;
}

void EntryHeader::refreshThread(pthread_t thread) {
    snprintf(tag_, sizeof tag_, "[%0*X%s", static_cast<int>(tracefile::kThreadDigits),
             static_cast<std::uint32_t>(thread), tracefile::kBehindThread);
    thread_ = thread;
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
