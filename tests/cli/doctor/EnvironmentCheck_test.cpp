#include "cli/doctor/EnvironmentCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnockctl {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// "problem: TEXT" or "note: TEXT" for each; all of them have a fix.
std::vector<std::string> findingsOf(const std::vector<std::string>& environment) {
    std::vector<const char*> pointers;
    for (const std::string& variable : environment) {
        pointers.push_back(variable.c_str());
    }
    pointers.push_back(nullptr);
    std::vector<std::string> found;
    for (const Finding& finding : checkEnvironment(pointers.data())) {
        EXPECT_EQ(finding.check, "environment");
        EXPECT_NE(finding.fix, "");
        found.push_back((finding.state == Finding::State::note ? "note: " : "problem: ") +
                        finding.text);
    }
    return found;
}

class EnvironmentCheck : public testing::Test {
  protected:
    varnock::test::TemporaryDirectory directory_;
};

TEST_F(EnvironmentCheck, FindsNothingWrongWithGoodValuesAndOtherPrograms) {
    EXPECT_THAT(findingsOf({}), IsEmpty());
    EXPECT_THAT(findingsOf({"PATH=", "QX_REPO=", "QX_LOG_RINGBUF_WEIGHT_OTHER=x", "nonsense",
                            "QX_LOG_RINGBUF_DIR=" + directory_.path().string(),
                            "QX_CPUINFO_FILE=/proc/cpuinfo", "QX_LOG_DEBUG_LEVEL=255",
                            "QX_LOG_RINGBUF_WEIGHT=-1", "TraceFileLimit=2",
                            "QX_LOG_NOHDR_TOSDTERR=1", "QX_LOG_RINGBUF_PER_PROCESS=1"}),
                IsEmpty());
}

TEST_F(EnvironmentCheck, TellsWhatNumbersCountAs) {
    EXPECT_THAT(
        findingsOf({"QX_LOG_DEBUG_LEVEL=few", "QX_LOG_RINGBUF_WEIGHT=3x", "QX_LOG_NOHDR_TOSDTERR=-",
                    "TraceFileLimit=3", "QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER=0x10"}),
        ElementsAre("problem: QX_LOG_DEBUG_LEVEL is \"few\": not a number, which counts as 0",
                    "problem: QX_LOG_RINGBUF_WEIGHT is \"3x\": only the digits before \"x\" "
                    "are read",
                    "problem: QX_LOG_NOHDR_TOSDTERR is \"-\": not a number, which counts as 0",
                    "note: TraceFileLimit is 3, which counts as 2",
                    "problem: QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER is \"0x10\": only the "
                    "digits before \"x10\" are read"));
}

TEST_F(EnvironmentCheck, NumbersMayHaveASign) {
    EXPECT_THAT(findingsOf({"QX_LOG_DEBUG_LEVEL=+5"}), testing::IsEmpty());
}

TEST_F(EnvironmentCheck, LooksForDirectoriesAndFiles) {
    varnock::test::writeFile(directory_.file("file"), "");
    const std::string file = directory_.file("file");
    EXPECT_THAT(
        findingsOf({"QX_SYSTEM_DIR=" + directory_.file("none"), "QX_LOG_RINGBUF_DIR=" + file,
                    "QX_RAGD_SOCKET_DIR=.", "QX_MEMORY_DEVICE=" + file + "/x"}),
        ElementsAre(
            "problem: QX_SYSTEM_DIR is " + directory_.file("none") + ": No such file or directory",
            "problem: QX_LOG_RINGBUF_DIR is " + file + ", which is not a directory",
            "note: QX_RAGD_SOCKET_DIR is ., relative to each program's working directory",
            "problem: QX_MEMORY_DEVICE is " + file + "/x: Not a directory"));
}

TEST_F(EnvironmentCheck, NamesVariablesWithoutEffect) {
    EXPECT_THAT(
        findingsOf({"QX_SYSTEM_DIR=", "QX_LOG_DEBUG_LEVEL="}),
        ElementsAre("problem: QX_SYSTEM_DIR is set to the empty text, which counts as set",
                    "problem: QX_LOG_DEBUG_LEVEL is set to the empty text, which counts as set"));
    EXPECT_THAT(findingsOf({"QX_LOG_NOHDR_TOSTDERR=1"}),
                ElementsAre("note: QX_LOG_NOHDR_TOSTDERR is set, but nothing reads it"));
}

}  // namespace
}  // namespace varnockctl
