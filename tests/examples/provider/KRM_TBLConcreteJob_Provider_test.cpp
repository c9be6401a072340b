// The job provider as called by the framework.
#include "examples/provider/KRM_TBLConcreteJob_Provider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <vector>

#include "examples/provider/KRM_TBLComputerSystem_Provider.h"
#include "examples/provider/ShutdownJob.h"
#include "tests/examples/provider/SampleAgent.h"

namespace varnock::test {
namespace {

using cimple::KRM_TBLConcreteJob;
using Job = cimple::Ref<KRM_TBLConcreteJob>;

constexpr cimple::uint64 kMinute = 60'000'000;

bool collect(cimple::Instance* instance, cimple::Enum_Instances_Status, void* jobs) {
    static_cast<std::vector<Job>*>(jobs)->emplace_back(instance);
    return true;
}

class ConcreteJobProvider : public testing::Test {
  protected:
    ConcreteJobProvider() {
        ::setenv("CIMPLE_HOME", home.path().c_str(), 1);
        EXPECT_EQ(provider.load(), cimple::LOAD_OK);
    }
    ~ConcreteJobProvider() override { EXPECT_EQ(provider.unload(), cimple::UNLOAD_OK); }

    /// Stores the job of a request made this long ago.
    static void requestedAgo(cimple::uint64 age) {
        krm::keepJob(krm::ShutdownJob::ofRequest("SN-7", krm::timeNow() - age));
    }
    std::vector<Job> enumerate() {
        std::vector<Job> jobs;
        cimple::Enum_Instances_Handler<KRM_TBLConcreteJob> handler(collect, &jobs);
        status = provider.enum_instances(Job(KRM_TBLConcreteJob::create(true)).ptr(), &handler);
        return jobs;
    }
    static Job keysOf(const char* id) {
        Job keys(KRM_TBLConcreteJob::create());
        cimple::nullify_properties(keys.ptr());
        keys->InstanceID.set(id);
        return keys;
    }
    static Job keys() { return keysOf("KRM:Host_RequestState-SN-7-0"); }
    Job get(const Job& model = keys()) {
        KRM_TBLConcreteJob* found = nullptr;
        status = provider.get_instance(model.ptr(), found);
        return Job(found);
    }
    int modify(const Job& model, const Job& wanted) {
        return provider.modify_instance(model.ptr(), wanted.ptr());
    }

    TemporaryDirectory home;
    SampleAgent sample;
    cimple::KRM_TBLConcreteJob_Provider provider;
    int status = -1;
};

TEST_F(ConcreteJobProvider, WithoutARequestThereIsNoJob) {
    EXPECT_TRUE(enumerate().empty());
    EXPECT_EQ(status, cimple::ENUM_INSTANCES_OK);
    EXPECT_FALSE(get());
    EXPECT_EQ(status, cimple::GET_INSTANCE_NOT_FOUND);
    EXPECT_EQ(provider.delete_instance(keys().ptr()), cimple::DELETE_INSTANCE_NOT_FOUND);
    EXPECT_EQ(modify(keys(), keys()), cimple::MODIFY_INSTANCE_NOT_FOUND);
}

TEST_F(ConcreteJobProvider, TheJobOfARequestIsReadBackAndEnds) {
    cimple::KRM_TBLComputerSystem_Provider systems;
    cimple::Ref<cimple::KRM_TBLComputerSystem> self(cimple::KRM_TBLComputerSystem::create(true));
    cimple::nullify_properties(self.ptr());
    self->Name.set("SN-7");
    self->CreationClassName.set("KRM_TBLComputerSystem");
    const cimple::Property<cimple::uint16> restart = {10, 0};
    cimple::Property<cimple::uint32> result;
    cimple::CIM_ConcreteJob* given = nullptr;
    ASSERT_EQ(
        systems.RequestStateChange(self.ptr(), restart, given, {cimple::Datetime(), 1}, result),
        cimple::INVOKE_METHOD_OK);
    const Job job(given);
    const Job read = get(job);
    ASSERT_TRUE(read);
    EXPECT_TRUE(cimple::identical(read.ptr(), job.ptr()));
    EXPECT_EQ(read->JobState.value, 4);
    ASSERT_EQ(enumerate().size(), 1U);

    sample.boot(static_cast<unsigned int>(krm::timeNow() / 1'000'000) + 60);
    EXPECT_EQ(get()->JobState.value, 7);
    EXPECT_EQ(enumerate()[0]->PercentComplete.value, 100);
}

TEST_F(ConcreteJobProvider, OtherKeysAreNotFound) {
    requestedAgo(kMinute);
    EXPECT_FALSE(get(keysOf("KRM:Host_RequestState-SN-8-0")));
    EXPECT_EQ(status, cimple::GET_INSTANCE_NOT_FOUND);
    EXPECT_EQ(provider.delete_instance(keysOf("x").ptr()), cimple::DELETE_INSTANCE_NOT_FOUND);
    EXPECT_TRUE(get());
}

TEST_F(ConcreteJobProvider, AnAbsentAgentIsNotAFailure) {
    requestedAgo(kMinute);
    sample.agent.stop();
    EXPECT_EQ(get()->JobState.value, 4);
    requestedAgo(16 * kMinute);
    EXPECT_EQ(get()->JobState.value, 10);
}

TEST_F(ConcreteJobProvider, RefusedAccessIsAccessDenied) {
    requestedAgo(kMinute);
    sample.refuse(0xE204);
    EXPECT_FALSE(get());
    EXPECT_EQ(status, cimple::GET_INSTANCE_ACCESS_DENIED);
    EXPECT_TRUE(enumerate().empty());
    EXPECT_EQ(status, cimple::ENUM_INSTANCES_ACCESS_DENIED);
    EXPECT_EQ(provider.delete_instance(keys().ptr()), cimple::DELETE_INSTANCE_ACCESS_DENIED);
    EXPECT_EQ(modify(keys(), keys()), cimple::MODIFY_INSTANCE_ACCESS_DENIED);
}

TEST_F(ConcreteJobProvider, TwoPropertiesSayWhenItIsRemoved) {
    requestedAgo(20 * kMinute);  // it has failed five minutes ago
    Job model = keys();
    model->TimeBeforeRemoval.set(0);
    Job wanted = keys();
    wanted->TimeBeforeRemoval.set(30 * kMinute);
    ASSERT_EQ(modify(model, wanted), cimple::MODIFY_INSTANCE_OK);
    EXPECT_EQ(get()->TimeBeforeRemoval.value, cimple::Datetime(30 * kMinute));
    wanted->TimeBeforeRemoval.set(kMinute);
    model->DeleteOnCompletion.set(false);
    wanted->DeleteOnCompletion.set(false);
    ASSERT_EQ(modify(model, wanted), cimple::MODIFY_INSTANCE_OK);
    EXPECT_EQ(get()->DeleteOnCompletion.value, false);
    wanted->DeleteOnCompletion.set(true);
    ASSERT_EQ(modify(model, wanted), cimple::MODIFY_INSTANCE_OK);
    EXPECT_FALSE(get());
    EXPECT_TRUE(enumerate().empty());
}

TEST_F(ConcreteJobProvider, ARequestThatCannotBeMetAsAWholeSetsNothing) {
    requestedAgo(kMinute);
    Job model = keys();
    model->DeleteOnCompletion.set(false);
    model->JobState.set(0);
    Job wanted = keys();
    wanted->DeleteOnCompletion.set(false);
    wanted->JobState.set(7);
    EXPECT_EQ(modify(model, wanted), cimple::MODIFY_INSTANCE_UNSUPPORTED);
    model->JobState.clear();
    wanted->DeleteOnCompletion.clear();
    EXPECT_EQ(modify(model, wanted), cimple::MODIFY_INSTANCE_UNSUPPORTED);
    EXPECT_EQ(get()->DeleteOnCompletion.value, true);
    EXPECT_EQ(get()->JobState.value, 4);
}

TEST_F(ConcreteJobProvider, AWholeInstanceSaysNothingOfNullsAndDefaults) {
    requestedAgo(kMinute);
    const Job all(KRM_TBLConcreteJob::create());
    Job wanted = keys();
    wanted->DeleteOnCompletion.set(false);
    wanted->JobRunTimes.set(1);
    wanted->TimeBeforeRemoval.set(5 * kMinute);
    EXPECT_EQ(modify(all, wanted), cimple::MODIFY_INSTANCE_OK);
    EXPECT_EQ(get()->DeleteOnCompletion.value, false);
    EXPECT_TRUE(get()->TimeBeforeRemoval.value.is_timestamp());
}

TEST_F(ConcreteJobProvider, CanBeForgotten) {
    requestedAgo(kMinute);
    EXPECT_EQ(provider.delete_instance(keys().ptr()), cimple::DELETE_INSTANCE_OK);
    EXPECT_FALSE(get());
}

TEST_F(ConcreteJobProvider, CannotBeMadeOrStopped) {
    requestedAgo(kMinute);
    cimple::Property<cimple::uint32> result;
    EXPECT_EQ(provider.create_instance(keys().ptr()), cimple::CREATE_INSTANCE_UNSUPPORTED);
    EXPECT_EQ(provider.KillJob(keys().ptr(), {}, result), cimple::INVOKE_METHOD_UNSUPPORTED);
    EXPECT_EQ(provider.RequestStateChange(keys().ptr(), {}, {}, result),
              cimple::INVOKE_METHOD_UNSUPPORTED);
    EXPECT_EQ(get()->JobState.value, 4);
}

TEST_F(ConcreteJobProvider, AFileThatCannotBeReadIsAFailure) {
    ::setenv("CIMPLE_HOME", "/nonexistent/directory", 1);
    EXPECT_FALSE(get());
    EXPECT_EQ(status, cimple::GET_INSTANCE_FAILED);
    EXPECT_THAT(cimple::Error::get(), testing::HasSubstr("/nonexistent/directory/krm-job"));
    EXPECT_EQ(provider.delete_instance(keys().ptr()), cimple::DELETE_INSTANCE_FAILED);
}

}  // namespace
}  // namespace varnock::test
