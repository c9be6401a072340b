#include <cimple/cimple.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include "tests/support/ElevatedProcess.h"
#include "tests/support/TemporaryDirectory.h"

using namespace cimple;
using testing::ContainsRegex;

namespace {

std::string contents(const std::string& file) {
    std::ifstream stream(file);
    return (std::ostringstream() << stream.rdbuf()).str();
}

}  // namespace

TEST(Log, AppendsALineForEachLevel) {
    const varnock::test::TemporaryDirectory home;
    ::setenv("CIMPLE_HOME", home.path().c_str(), 1);
    CIMPLE_FATAL(("one %d", 1));
    CIMPLE_ERR(("two"));
    CIMPLE_WARN(("three"));
    CIMPLE_INFO(("four"));
    CIMPLE_DBG(("five"));
    const std::string text = contents(home.file("messages"));
    EXPECT_THAT(text, ContainsRegex("FATAL [^ ]*Log_test.cpp\\([0-9]+\\): one 1\n"));
    EXPECT_THAT(text, ContainsRegex(" ERR [^\n]*: two\n"));
    EXPECT_THAT(text, ContainsRegex(" WARN [^\n]*: three\n"));
    EXPECT_THAT(text, ContainsRegex(" INFO [^\n]*: four\n"));
    EXPECT_THAT(text, ContainsRegex(" DBG [^\n]*: five\n"));
}

TEST(Log, IsSilentWithoutADirectory) {
    ::unsetenv("CIMPLE_HOME");
    CIMPLE_ERR(("dropped"));
    ::setenv("CIMPLE_HOME", "", 1);
    CIMPLE_ERR(("dropped"));
    ::setenv("CIMPLE_HOME", "/nonexistent/directory", 1);
    testing::internal::CaptureStderr();
    CIMPLE_ERR(("dropped"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Log, IgnoresTheDirectoryOfTheEnvironmentInAnElevatedProcess) {
    const varnock::test::TemporaryDirectory home;
    ::setenv("CIMPLE_HOME", home.path().c_str(), 1);
    {
        const varnock::test::ElevatedProcess elevated;
        CIMPLE_ERR(("dropped"));
        EXPECT_NE(::access(home.file("messages").c_str(), F_OK), 0);
    }
    CIMPLE_ERR(("kept"));
    EXPECT_THAT(contents(home.file("messages")), ContainsRegex("^[^\n]*: kept\n$"));
}

TEST(Log, CanBeSwitchedOff) {
    const varnock::test::TemporaryDirectory home;
    ::setenv("CIMPLE_HOME", home.path().c_str(), 1);
    _log_enabled_state = false;
    CIMPLE_ERR(("dropped"));
    _log_enabled_state = true;
    EXPECT_EQ(contents(home.file("messages")), "");
}

TEST(Log, TextsHaveTheLimitOfErrors) {
    const varnock::test::TemporaryDirectory home;
    ::setenv("CIMPLE_HOME", home.path().c_str(), 1);
    CIMPLE_ERR(("%127s", "x"));
    EXPECT_THAT(contents(home.file("messages")), testing::HasSubstr(std::string(126, ' ') + "x\n"));
    EXPECT_DEBUG_DEATH(CIMPLE_ERR(("%128s", "x")), "a text of 128 characters");
}

TEST(Log, LevelsAreOrdered) {
    EXPECT_TRUE(LL_FATAL < LL_ERR && LL_ERR < LL_WARN && LL_WARN < LL_INFO && LL_INFO < LL_DBG);
}
