#include "CIM/Provider/Include/HelperComputerSystem.h"

#include <KRM_TBLComputerSystem.h>
#include <KRM_TBLConcreteJob.h>
#include <cimple/cimple.h>
#include <gtest/gtest.h>
#include <limits.h>

#include <string>

#include "CIM/Provider/Include/Exceptions.h"

namespace provider {
namespace {

using cimple::Datetime;
using cimple::uint64;

TEST(HelperComputerSystem, RaisesWithoutCalls) {
    EXPECT_THROW(createCSKey(nullptr), BaseException);
    EXPECT_THROW(createComputerSystemKeys(nullptr), BaseException);
}

class ShutdownJob : public testing::Test {
  protected:
    cimple::Ref<cimple::KRM_TBLComputerSystem> system =
        cimple::Ref<cimple::KRM_TBLComputerSystem>(cimple::KRM_TBLComputerSystem::create(true));
};

TEST_F(ShutdownJob, SaysThatTheChangeIsRunning) {
    system->Name.set("ABC123");
    const cimple::Ref<cimple::KRM_TBLConcreteJob> job = createShutdownJob(system.ptr());
    EXPECT_EQ(job.count(), 1u);
    EXPECT_EQ(job->InstanceID.null, 0);
    EXPECT_STREQ(job->InstanceID.value.c_str(), "KRM:Host_RequestState-ABC123-0");
    EXPECT_EQ(job->Name.null, 0);
    EXPECT_STREQ(job->Name.value.c_str(), "KRM:Host_RequestState-ABC123-0");
    EXPECT_EQ(job->JobState.null, 0);
    EXPECT_EQ(job->JobState.value, 4);
    EXPECT_EQ(job->TimeBeforeRemoval.null, 0);
    EXPECT_STREQ(job->TimeBeforeRemoval.value.ascii().c_str(), "22001231235959.999999+000");
    EXPECT_EQ(job->PercentComplete.null, 0);
    EXPECT_EQ(job->PercentComplete.value, 0);
    EXPECT_EQ(job->OperationalStatus.null, 0);
    ASSERT_EQ(job->OperationalStatus.value.size(), 1u);
    EXPECT_EQ(job->OperationalStatus.value[0], 2);
    EXPECT_EQ(job->DeleteOnCompletion.null, 0);
    EXPECT_TRUE(job->DeleteOnCompletion.value);
    EXPECT_NE(job->ElementName.null, 0);
}

TEST_F(ShutdownJob, NullNameAddsNothing) {
    EXPECT_STREQ(createShutdownJob(system.ptr())->InstanceID.value.c_str(),
                 "KRM:Host_RequestState--0");
    EXPECT_STREQ(createShutdownJob(nullptr)->InstanceID.value.c_str(), "KRM:Host_RequestState--0");
}

TEST(ToDatetime, SecondsGiveATimestamp) {
    const Datetime time = toDatetime(5);
    EXPECT_TRUE(time.is_timestamp());
    EXPECT_EQ(time.usec(), 5000000u);
    EXPECT_EQ(time.offset(), 0);
    EXPECT_TRUE(toDatetime(0) == Datetime(uint64(0), 0));
}

TEST(ToDatetime, SecondsBeforeTheEpochWrapAround) {
    EXPECT_EQ(toDatetime(-1).usec(), static_cast<uint64>(-1000000));
    EXPECT_EQ(toDatetime(LONG_MIN).usec(), 0u);
    EXPECT_EQ(toDatetime(LONG_MAX).usec(), static_cast<uint64>(LONG_MAX) * 1000000u);
}

TEST(ToDatetime, OffsetIsTakenOffAndCarried) {
    EXPECT_TRUE(toDatetime(100, 1) == Datetime(uint64(40000000), 1));
    EXPECT_TRUE(toDatetime(61, 1) == Datetime(uint64(1000000), 1));
    EXPECT_TRUE(toDatetime(100, -1) == Datetime(uint64(160000000), -1));
    EXPECT_TRUE(toDatetime(-5, -1) == Datetime(uint64(55000000), -1));
    EXPECT_TRUE(toDatetime(100, 0) == Datetime(uint64(100000000), 0));
}

TEST(ToDatetime, OffsetNotBelowTheSecondsIsDropped) {
    EXPECT_TRUE(toDatetime(60, 1) == Datetime(uint64(60000000), 0));
    EXPECT_TRUE(toDatetime(59, 1) == Datetime(uint64(59000000), 0));
    EXPECT_TRUE(toDatetime(0, 0) == Datetime(uint64(0), 0));
    EXPECT_TRUE(toDatetime(-60, -1) == toDatetime(-60));
}

TEST(ToDatetime, OffsetsAreSecondsOfThirtyTwoBits) {
    // 35791395 minutes are 2147483700 seconds, which is -2147483596 in 32 bits.
    EXPECT_TRUE(toDatetime(0, 35791395) == Datetime(uint64(2147483596) * 1000000u, 35791395));
    const Datetime last = toDatetime(LONG_MAX, -1);
    EXPECT_EQ(last.usec(), (static_cast<uint64>(LONG_MAX) + 60u) * 1000000u);
    EXPECT_EQ(last.offset(), -1);
}

TEST(ToDatetime, TextIsParsed) {
    EXPECT_STREQ(toDatetime("22001231235959.999999-330").ascii().c_str(),
                 "22001231235959.999999-330");
    const Datetime interval = toDatetime("00000001020304.000005:000");
    EXPECT_TRUE(interval.is_interval());
    EXPECT_EQ(interval.usec(), 93784000005u);
}

TEST(ToDatetime, TextThatIsNoDatetimeGivesTheZeroInterval) {
    for (const char* text :
         {"", "garbage", "22001231235959.999999+00", "22001231235959.999999+0000",
          "2200123123595\xC3\xBC.99999+000", "**************.******+***"}) {
        EXPECT_TRUE(toDatetime(text) == Datetime()) << text;
    }
}

TEST(StringConversion, KeepsTheBytes) {
    EXPECT_EQ(StringToSTDSTRING(cimple::String("M\xC3\xBCnchen \xFF")), "M\xC3\xBCnchen \xFF");
    EXPECT_EQ(StringToSTDSTRING(cimple::String()), "");
    EXPECT_STREQ(STDSTRINGToString("M\xC3\xBCnchen \xFF").c_str(), "M\xC3\xBCnchen \xFF");
    EXPECT_EQ(STDSTRINGToString(std::string()).size(), 0u);
}

TEST(StringConversion, EndsAtTheFirstNul) {
    EXPECT_EQ(STDSTRINGToString(std::string("ab\0cd", 5)).size(), 2u);
    EXPECT_EQ(StringToSTDSTRING(cimple::String("ab\0cd", 5)), "ab");
}

}  // namespace
}  // namespace provider
