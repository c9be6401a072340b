#include "examples/provider/ShutdownJob.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <string>
#include <system_error>

#include "tests/support/ElevatedProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

using cimple::Datetime;
using cimple::uint64;
using krm::ShutdownJob;
using Job = cimple::Ref<cimple::KRM_TBLConcreteJob>;

constexpr cimple::uint32 kBefore = 1'699'000'000;
constexpr cimple::uint32 kAfter = 1'700'000'060;
constexpr uint64 kSubmitted = 1'700'000'000'000'000;
constexpr uint64 kMinute = 60'000'000;

ShutdownJob request() {
    return ShutdownJob::ofRequest("SN-7", kSubmitted);
}

TEST(ShutdownJob, RunsWhileTheMachineGoesDown) {
    for (const cimple::uint32 bootTime : {kBefore, 0U}) {
        const Job job = request().instance(kSubmitted + 14 * kMinute, bootTime);
        EXPECT_STREQ(job->InstanceID.value.c_str(), "KRM:Host_RequestState-SN-7-0");
        EXPECT_EQ(job->JobState.value, 4);
        EXPECT_EQ(job->PercentComplete.value, 0);
        EXPECT_EQ(job->TimeSubmitted.value, Datetime(kSubmitted, 0));
        EXPECT_EQ(job->TimeOfLastStateChange.value, Datetime(kSubmitted, 0));
        EXPECT_EQ(job->DeleteOnCompletion.value, true);
        EXPECT_EQ(job->TimeBeforeRemoval.value, Datetime("22001231235959.999999+000"));
        EXPECT_EQ(job->meta_class, &cimple::KRM_TBLConcreteJob::static_meta_class);
    }
}

TEST(ShutdownJob, IsCompletedWhenTheMachineWasBootedSince) {
    for (const uint64 now : {kSubmitted + 2 * kMinute, kSubmitted + 200 * kMinute}) {
        const Job job = request().instance(now, kAfter);
        EXPECT_EQ(job->JobState.value, 7);
        EXPECT_EQ(job->PercentComplete.value, 100);
        EXPECT_EQ(job->OperationalStatus.value, cimple::Array_uint16::make(2, 17));
        EXPECT_EQ(job->TimeOfLastStateChange.value, Datetime(uint64(kAfter) * 1'000'000, 0));
        EXPECT_EQ(job->ErrorDescription.null, 1);
    }
}

TEST(ShutdownJob, HasFailedWhenTheMachineStillRunsLater) {
    const Job job = request().instance(kSubmitted + 15 * kMinute, kBefore);
    EXPECT_EQ(job->JobState.value, 10);
    EXPECT_EQ(job->OperationalStatus.value, cimple::Array_uint16::make(6, 17));
    EXPECT_STREQ(job->ErrorDescription.value.c_str(), "The machine has not gone down.");
    EXPECT_EQ(job->TimeOfLastStateChange.value, Datetime(kSubmitted + 15 * kMinute, 0));
}

TEST(ShutdownJob, IsRemovedSomeTimeAfterItsEnd) {
    ShutdownJob job = request();
    job.timeBeforeRemoval.set(Datetime(5 * kMinute));
    const uint64 end = uint64(kAfter) * 1'000'000;
    EXPECT_FALSE(job.isRemoved(kSubmitted + 10 * kMinute, kBefore));
    EXPECT_FALSE(job.isRemoved(end + 5 * kMinute - 1, kAfter));
    EXPECT_TRUE(job.isRemoved(end + 5 * kMinute, kAfter));
    job.deleteOnCompletion.set(false);
    EXPECT_FALSE(job.isRemoved(end + 5 * kMinute, kAfter));
}

TEST(ShutdownJob, IsRemovedAtAPointInTime) {
    ShutdownJob job = request();
    EXPECT_FALSE(job.isRemoved(kSubmitted + 1'000'000 * kMinute, kAfter));
    EXPECT_TRUE(job.isRemoved(8'000'000'000'000'000, kAfter));
    job.timeBeforeRemoval.set(Datetime(kSubmitted, 0));
    EXPECT_FALSE(job.isRemoved(kSubmitted + kMinute, kBefore));
    EXPECT_TRUE(job.isRemoved(kSubmitted + 2 * kMinute, kAfter));
}

TEST(ShutdownJob, IsReadBackFromItsText) {
    ShutdownJob job = request();
    job.system = "two\nlines";
    for (const Datetime& time : {Datetime(7 * kMinute), Datetime(kSubmitted, -60)}) {
        job.timeBeforeRemoval.set(time);
        job.deleteOnCompletion.set(!job.deleteOnCompletion.value);
        const auto read = ShutdownJob::parse(job.text());
        ASSERT_TRUE(read.has_value());
        EXPECT_EQ(read->system, "two\nlines");
        EXPECT_EQ(read->submitted, kSubmitted);
        EXPECT_EQ(read->deleteOnCompletion, job.deleteOnCompletion);
        EXPECT_EQ(read->timeBeforeRemoval, job.timeBeforeRemoval);
    }
    const std::string text = job.text();
    for (const std::string& other :
         {std::string(), std::string("KRM job 2\n1 1 1 1 0\nx"), std::string("KRM job 1\n1 1\n"),
          std::string("KRM job 1\n1 7 1 1 0\nx"), text.substr(0, text.find("two") - 1)}) {
        EXPECT_FALSE(ShutdownJob::parse(other).has_value()) << other;
    }
}

/// Both places that can store a job.
class KeptJob : public testing::TestWithParam<bool> {
  protected:
    KeptJob() {
        if (GetParam()) {
            ::setenv("CIMPLE_HOME", home.path().c_str(), 1);
        } else {
            ::unsetenv("CIMPLE_HOME");
        }
    }
    TemporaryDirectory home;
};

TEST_P(KeptJob, IsTheLastOne) {
    EXPECT_FALSE(krm::lastJob().has_value());
    krm::keepJob(request());
    EXPECT_EQ(krm::lastJob()->text(), request().text());
    const ShutdownJob later = ShutdownJob::ofRequest("S", kSubmitted + 1);
    krm::keepJob(later);
    EXPECT_EQ(krm::lastJob()->text(), later.text());
}

TEST_P(KeptJob, IsReplacedUnlessThereIsAnother) {
    const ShutdownJob later = ShutdownJob::ofRequest("S", kSubmitted + 1);
    krm::keepJob(request());
    EXPECT_FALSE(krm::replaceJob(later, std::nullopt));
    EXPECT_TRUE(krm::replaceJob(request(), later));
    EXPECT_EQ(krm::lastJob()->text(), later.text());
    EXPECT_TRUE(krm::replaceJob(later, std::nullopt));
    EXPECT_FALSE(krm::lastJob().has_value());
}

INSTANTIATE_TEST_SUITE_P(InMemoryAndFile, KeptJob, testing::Bool());

TEST(KeptJobFile, IsForTheOtherProcesses) {
    const TemporaryDirectory home;
    ::setenv("CIMPLE_HOME", home.path().c_str(), 1);
    std::ofstream(home.file("krm-job")) << request().text();
    EXPECT_EQ(krm::lastJob()->text(), request().text());
}

TEST(KeptJobFile, OfTheEnvironmentIsIgnoredInAnElevatedProcess) {
    const TemporaryDirectory home;
    ::setenv("CIMPLE_HOME", home.path().c_str(), 1);
    std::ofstream(home.file("krm-job")) << request().text();
    const ElevatedProcess elevated;
    EXPECT_FALSE(krm::lastJob().has_value());
    const ShutdownJob later = ShutdownJob::ofRequest("S", kSubmitted + 1);
    krm::keepJob(later);
    EXPECT_EQ(krm::lastJob()->text(), later.text()) << "in memory";
    EXPECT_EQ(readFile(home.file("krm-job")), request().text());
}

TEST(KeptJobFile, ThatCannotBeHadIsAFailure) {
    ::setenv("CIMPLE_HOME", "/nonexistent/directory", 1);
    EXPECT_THROW(krm::lastJob(), std::system_error);
    EXPECT_THROW(krm::keepJob(request()), std::system_error);
}

}  // namespace
}  // namespace varnock::test
