#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "runtime/Debug.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TraceCapture.h"
#include "tests/support/TraceFile.h"

namespace varnock::test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// The program is linked statically and with the shared library. In the second case it may hold
/// copies of the objects of the library.
class ProcessObjects : public testing::TestWithParam<const char*> {
  protected:
    static bool isShared() { return GetParam() == std::string(TRACE_LIFETIME_SHARED); }

    TemporaryDirectory directory_;
    ProcessResult result_ =
        runProcess({GetParam()}, {{"QX_SYSTEM_DIR", directory_.file("missing")},
                                  {"QX_LOG_RINGBUF_DIR", directory_.path().string()}});

    std::vector<std::string> traced(const std::string& text) const {
        std::vector<std::string> found;
        for (const std::string& line : linesOf(result_.err)) {
            const std::string message = withoutEntryHeader(line);
            if (message.find(text) != message.npos) {
                found.push_back(line);
            }
        }
        return found;
    }
};

TEST_P(ProcessObjects, AreBuiltBeforeAllOthersAndDestroyedAfterThem) {
    ASSERT_EQ(result_.status, 0) << result_.err;
    // The objects of a shared library are built before those of the program and destroyed after
    // them. In a static program, an object with an earlier priority is built before them and
    // destroyed after them.
    const std::string outside = isShared() ? "active" : "quiet";
    const std::string outsideOn = isShared() ? "on" : "off";
    EXPECT_THAT(linesOf(result_.out),
                ElementsAre("before " + outside, "before " + outsideOn, "static-begin active",
                            "static-begin on", "main active", "main on", "static-end active",
                            "static-end on", "after " + outside, "after " + outsideOn));
}

TEST_P(ProcessObjects, TraceQuietlyWhileThereIsNoTrace) {
    if (isShared()) {
        GTEST_SKIP() << "the program cannot be earlier than the library";
    }
    for (const std::string when : {"before", "after"}) {
        const auto lines = traced(when);
        ASSERT_EQ(lines.size(), 1U) << result_.err;
        EXPECT_EQ(withoutEntryHeader(lines[0]), "PrintAlways " + when);
        EXPECT_THAT(lines[0], Not(HasSubstr("CIM_Provider")));
    }
}

TEST_P(ProcessObjects, TraceFromTheFirstStaticObjectOn) {
    for (const std::string when : {"static-begin", "main", "static-end"}) {
        const auto lines = traced(when);
        ASSERT_EQ(lines.size(), 3U) << result_.err;
        EXPECT_THAT(lines, Each(HasSubstr(" CIM_Provider[")));
        EXPECT_EQ(withoutEntryHeader(lines[0]), "Print " + when);
        EXPECT_EQ(withoutEntryHeader(lines[1]), "PrintIt current " + when);
        EXPECT_EQ(withoutEntryHeader(lines[2]), "PrintAlways " + when);
    }
}

TEST_P(ProcessObjects, WriteTheStartUpHeaderOnce) {
    EXPECT_EQ(traced("Varnock Agent CIM_Provider Version=\"7.00-10\"").size(), 1U);
    EXPECT_EQ(traced("# End of header.").size(), 1U);
}

TEST_P(ProcessObjects, WriteToTheRingBufferWhereThereIsARegistry) {
    std::ofstream(directory_.file("registry")) << "[HKEY_LOCAL_MACHINE]\n\n\n";
    const ProcessResult result =
        runProcess({GetParam()}, {{"QX_SYSTEM_DIR", directory_.path().string()},
                                  {"QX_LOG_RINGBUF_DIR", directory_.path().string()},
                                  {"QX_LOG_RINGBUF_WEIGHT", "1"}});
    EXPECT_EQ(result.status, 0) << result.err;
    const auto messages = TraceFile(directory_.file("log.CIM_Provider_a")).messages();
    for (const std::string when : {"static-begin", "main", "static-end"}) {
        for (const std::string how :
             {"Print ", "PrintIt current ", "PrintIt ring buffer ", "PrintAlways "}) {
            EXPECT_THAT(messages, Contains(how + when));
        }
    }
    const bool hasOutside = std::count(messages.begin(), messages.end(), "Print after") != 0;
    EXPECT_EQ(hasOutside, isShared());
}

INSTANTIATE_TEST_SUITE_P(Linkage, ProcessObjects,
                         testing::Values(TRACE_LIFETIME_STATIC, TRACE_LIFETIME_SHARED),
                         [](const auto& program) {
                             return program.index == 0 ? "Static" : "Shared";
                         });

}  // namespace
}  // namespace varnock::test
