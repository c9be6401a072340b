#include "runtime/trace/EntryHeader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <thread>

#include "runtime/Debug.h"
#include "tests/support/FixedClock.h"
#include "tests/support/ForeignLocale.h"
#include "tests/support/TraceCapture.h"

// The node name that uname returns; null for the real one. An empty name makes uname fail.
namespace {
const char* nodeName = nullptr;
}

extern "C" {
int __real_uname(utsname* system);
int __wrap_uname(utsname* system) {
    if (nodeName == nullptr) {
        return __real_uname(system);
    }
    memset(system, '?', sizeof *system);
    strncpy(system->nodename, nodeName, sizeof system->nodename);
    return *nodeName != '\0' ? 0 : -1;
}
}

namespace varnock {
namespace {

using test::FixedClock;
using test::TraceCapture;
using testing::HasSubstr;

/// Gives the machine another name during its life.
class OtherNodeName {
  public:
    explicit OtherNodeName(const char* name) { nodeName = name; }
    ~OtherNodeName() { nodeName = nullptr; }
    OtherNodeName(const OtherNodeName&) = delete;
    OtherNodeName& operator=(const OtherNodeName&) = delete;
};

constexpr time_t kSomeTime = 1'700'000'000;  ///< Tue Nov 14 22:13:20 2023 UTC

class EntryHeaders : public testing::Test {
  protected:
    EntryHeaders() {
        setenv("TZ", "UTC0", 1);
        tzset();
    }

    std::string write(const std::string& application = "App") {
        char text[EntryHeader::kCapacity];
        const std::string_view header = header_.write(application.c_str(), text);
        EXPECT_EQ(header.data()[header.size()], '\0');
        return std::string(header);
    }

    FixedClock clock_{kSomeTime};
    EntryHeader header_;
};

std::string hostPart() {
    utsname system{};
    uname(&system);
    char name[kShortHostSize];
    shortenHostName(system.nodename, name);
    return name;
}

std::string shortened(const std::string& node) {
    char name[kShortHostSize];
    shortenHostName(node.c_str(), name);
    return name;
}

std::string localTime(time_t time) {
    char text[kTimeTextSize];
    formatLocalTime(time, text);
    return text;
}

TEST_F(EntryHeaders, IsWhatPrintfWouldWrite) {
    char expected[400];
    snprintf(expected, sizeof expected, "%-15.15s %s %s[%016X]: ", "Nov 14 22:13:20",
             hostPart().c_str(), "App", static_cast<std::uint32_t>(pthread_self()));
    EXPECT_EQ(write(), expected);
}

TEST_F(EntryHeaders, FollowsTheClock) {
    EXPECT_EQ(write().substr(0, 15), "Nov 14 22:13:20");
    clock_.set(kSomeTime + 1);
    EXPECT_EQ(write().substr(0, 15), "Nov 14 22:13:21");
    clock_.set(kSomeTime - 24 * 3600 * 12);
    EXPECT_EQ(write().substr(0, 15), "Nov  2 22:13:20");
    clock_.set(0);
    EXPECT_EQ(write().substr(0, 15), "Jan  1 00:00:00");
}

TEST_F(EntryHeaders, ShowsTheEpochInTheFirstEntryOfAll) {
    clock_.set(0);
    EXPECT_EQ(write().substr(0, 15), "Jan  1 00:00:00");
}

TEST_F(EntryHeaders, TheLocaleChangesNoTimes) {
    const test::ForeignLocale locale;
    SKIP_IF_THERE_IS_NO_FOREIGN_LOCALE(locale);
    ASSERT_TRUE(locale.use());
    constexpr time_t may = 1'684'101'600;
    clock_.set(may);
    EXPECT_EQ(write().substr(0, 15), "May 14 22:00:00");
    EXPECT_EQ(localTime(may), "Sun May 14 22:00:00 2023\n");
}

TEST_F(EntryHeaders, ShowsTheCallingThread) {
    std::string other;
    char expected[32] = {};
    std::thread([&] {
        other = write();
        snprintf(expected, sizeof expected,
                 "[%016X]: ", static_cast<std::uint32_t>(pthread_self()));
    }).join();
    EXPECT_EQ(other.substr(other.find('[')), expected);
    EXPECT_NE(other, write());
}

TEST_F(EntryHeaders, CutsAnEndlessApplicationName) {
    EXPECT_EQ(write(std::string(1000, 'a')), write(std::string(259, 'a')));
}

TEST_F(EntryHeaders, ReadsTheHostNameOnceUnlessItIsForgotten) {
    const std::string before = write();
    const OtherNodeName other("another.example.org");
    EXPECT_EQ(write(), before);
    header_.forgetHost();
    EXPECT_EQ(write().substr(0, 31), "Nov 14 22:13:20 another App[000");
}

TEST_F(EntryHeaders, ShowsALongHostName) {
    const std::string longName(64, 'h');
    const OtherNodeName other(longName.c_str());
    EXPECT_EQ(write().substr(15, 38), " " + longName.substr(0, 31) + "* App[");
}

TEST_F(EntryHeaders, HasNoHostWhereTheSystemDoesNotNameIt) {
    const OtherNodeName none("");
    EXPECT_EQ(write().substr(0, 21), "Nov 14 22:13:20  App[");
}

TEST(TraceHost, IsReadAgainByAForkedChild) {
    const TraceCapture trace;
    Debug.Print(0, "parent");
    const OtherNodeName other("child-host");
    Debug.Print(0, "parent");
    const pid_t child = fork();
    if (child == 0) {
        Debug.Print(0, "child");
        _exit(0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    Debug.Print(0, "parent");
    EXPECT_EQ(trace.count("parent"), 3U);
    EXPECT_THAT(trace.lines()[2], HasSubstr(" child-host CIM_Provider["));
    EXPECT_EQ(trace.text().find("child-host"), trace.text().rfind("child-host"));
}

TEST(LocalTime, HasTheFormOfAsctime) {
    setenv("TZ", "UTC0", 1);
    tzset();
    EXPECT_EQ(localTime(kSomeTime), "Tue Nov 14 22:13:20 2023\n");
}

TEST(LocalTime, HasAStandInForTimesBeyondAsctime) {
    EXPECT_EQ(localTime(400'000'000'000), "www mmm dd hh:mm:ss yyyy\n");
    EXPECT_EQ(localTime(std::numeric_limits<time_t>::max()), "www mmm dd hh:mm:ss yyyy\n");
}

TEST(HostName, EndsAtItsFirstDot) {
    EXPECT_EQ(shortened("server.example.org"), "server");
    EXPECT_EQ(shortened("server"), "server");
    EXPECT_EQ(shortened(".example"), "");
    EXPECT_EQ(shortened(""), "");
}

TEST(HostName, IsWholeUpTo31Characters) {
    const std::string name(31, 'h');
    EXPECT_EQ(shortened(name), name);
    EXPECT_EQ(shortened(name + ".example.org"), name);
}

TEST(HostName, IsCutAndMarkedBeyond) {
    const std::string start(31, 'h');
    EXPECT_EQ(shortened(start + "h"), start + "*");
    EXPECT_EQ(shortened(start + "ost.example.org"), start + "*");
    EXPECT_EQ(shortened(std::string(64, 'h')), start + "*");
}

}  // namespace
}  // namespace varnock
