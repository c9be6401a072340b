#include "agent/host/KernelLog.h"

#include <gtest/gtest.h>

#include "tests/agent/host/KernelLogPipe.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent {
namespace {

TEST(KernelLog, ReadsTheFieldsOfARecord) {
    EXPECT_EQ(parseKernelRecord("4,1035,18732162225,-;EXT4-fs: warning\n", 1000),
              (LogEntry{1035, 19732162225, 4, "EXT4-fs: warning"}));
    EXPECT_EQ(parseKernelRecord("30,7,5140900,-,caller=T1;systemd[1]: up", 0),
              (LogEntry{7, 5140900, 6, "systemd[1]: up"}))
        << "the facility is above the priority";
    EXPECT_EQ(parseKernelRecord("6,2,1000000,-;a; b\n SUBSYSTEM=pci\n DEVICE=+pci\n", 0),
              (LogEntry{2, 1000000, 6, "a; b"}));
    EXPECT_EQ(parseKernelRecord("6,2,1000000,-;", 0), (LogEntry{2, 1000000, 6, ""}));
}

TEST(KernelLog, RejectsOtherTexts) {
    for (const char* text : {"", "x", "6", "6,", "6,1", "6,1,", "6,1,2", "6,1,2,-", "6,1,x,-;t",
                             "x,1,2,-;t", "6,-1,2,-;t", "99999999999,1,2,-;t"}) {
        EXPECT_EQ(parseKernelRecord(text, 0), std::nullopt) << text;
    }
}

TEST(KernelLog, HasASeverityForEachPriority) {
    for (const unsigned priority : {0U, 1U, 2U, 3U}) {
        EXPECT_EQ(severityOf(priority), Severity::error);
    }
    EXPECT_EQ(severityOf(4), Severity::warning);
    for (const unsigned priority : {5U, 6U, 7U, 8U}) {
        EXPECT_EQ(severityOf(priority), Severity::information);
    }
}

TEST(KernelLog, ReadsTheNewestEntries) {
    const varnock::test::TemporaryDirectory root;
    const KernelLogPipe log(root.path());
    EXPECT_EQ(readKernelLog(root.path(), 0, 9), LogEntries());
    for (unsigned i = 0; i < 5; ++i) {
        log.write("6," + std::to_string(i) + ",0,-;entry " + std::to_string(i) + "\n");
    }
    log.write("not a record\n");
    const auto entries = readKernelLog(root.path(), 0, 3);
    ASSERT_TRUE(entries);
    ASSERT_EQ(entries->size(), 3U);
    EXPECT_EQ(entries->front().text, "entry 2");
    EXPECT_EQ(entries->back().text, "entry 4");
}

TEST(KernelLog, IsMissingIfItCannotBeOpened) {
    const varnock::test::TemporaryDirectory root;
    EXPECT_EQ(readKernelLog(root.path(), 0, 9), std::nullopt);
}

}  // namespace
}  // namespace varnock::agent
