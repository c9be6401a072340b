#include "runtime/trace/TraceFileFormat.h"

#include <gtest/gtest.h>

#include <string>

namespace varnock::tracefile {
namespace {

TEST(TraceFileFormat, EndsEachLabelWithAColonBeforeTheBlankInFrontOfTheValue) {
    for (const std::string_view label : kLabels) {
        EXPECT_EQ(label.size(), kValueColumn - 1) << label;
        EXPECT_EQ(label.back(), ':') << label;
    }
}

TEST(TraceFileFormat, LeavesRoomForTheBarAndTheNewlineBehindEachValue) {
    EXPECT_EQ(offsetOfValue(kFilePath), 35U);
    EXPECT_EQ(offsetOfValue(kCurrentWritePosition), 515U);
    EXPECT_EQ(kValueColumn + kValueWidth + 2, kLineLength);
    EXPECT_LT(kNumberDigits, kValueWidth);
}

TEST(TraceFileFormat, HasTheFieldsAndTheirRuleBeforeTheEntries) {
    EXPECT_LT((kFieldCount + 1) * kLineLength, static_cast<std::size_t>(kEntriesBegin));
}

TEST(TraceFileFormat, RoundsLengthsUpToWholeRecords) {
    EXPECT_EQ(roundUpToRecords(0), 0);
    EXPECT_EQ(roundUpToRecords(1), 1024);
    EXPECT_EQ(roundUpToRecords(1024), 1024);
    EXPECT_EQ(roundUpToRecords(1025), 2048);
    EXPECT_EQ(roundUpToRecords(kLargestSize), std::int64_t{1} << 31);
}

TEST(TraceFileFormat, LeavesMoreThanOneRecordAndAtMostTwoBehindADescription) {
    for (std::int64_t end = kEntriesBegin; end <= 3 * kRecordSize; ++end) {
        const std::int64_t next = behindDescription(end);
        EXPECT_EQ(next % kRecordSize, 0) << end;
        EXPECT_GT(next, end + kRecordSize) << end;
        EXPECT_LE(next, end + 2 * kRecordSize) << end;
    }
}

TEST(TraceFileFormat, NamesTheFileAfterApplicationAndLetter) {
    char path[64];
    makePath(path, sizeof path, "/var/log/qxmond", "CIM_Provider", 'b');
    EXPECT_STREQ(path, "/var/log/qxmond/log.CIM_Provider_b");
    char cut[8];
    makePath(cut, sizeof cut, "/logs", "App", 'a');
    EXPECT_STREQ(cut, "/logs/l");
}

}  // namespace
}  // namespace varnock::tracefile
