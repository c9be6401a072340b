#include <cimple/cimple.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "KRM_TBLComputerSystem.h"
#include "KRM_TBLConcreteJob.h"

using namespace cimple;
using Job = KRM_TBLConcreteJob;

namespace {

static_assert(!std::is_convertible_v<int, Get_Instance_Status>);
static_assert(!std::is_convertible_v<Get_Instance_Status, Modify_Instance_Status>);
static_assert(std::is_convertible_v<Get_Instance_Status, int>);

static_assert(LOAD_OK == 0 && LOAD_FAILED == 30 && UNLOAD_OK == 0 && UNLOAD_FAILED == 40);
static_assert(GET_META_CLASS_OK == 0 && CREATE_PROVIDER_OK == 0 && DESTROY_PROVIDER_OK == 0);
static_assert(GET_REPOSITORY_OK == 0 && TIMER_RESCHEDULE == 0 && TIMER_CANCEL == 50);
static_assert(GET_INSTANCE_OK == 0 && GET_INSTANCE_NOT_FOUND == 60);
static_assert(GET_INSTANCE_UNSUPPORTED == 61 && GET_INSTANCE_INVALID_PARAMETER == 62);
static_assert(GET_INSTANCE_ACCESS_DENIED == 63 && GET_INSTANCE_FAILED == 64);
static_assert(ENUM_INSTANCES_OK == 0 && ENUM_INSTANCES_FAILED == 70);
static_assert(ENUM_INSTANCES_ACCESS_DENIED == 71);
static_assert(CREATE_INSTANCE_OK == 0 && CREATE_INSTANCE_DUPLICATE == 80);
static_assert(CREATE_INSTANCE_UNSUPPORTED == 81 && CREATE_INSTANCE_INVALID_PARAMETER == 82);
static_assert(CREATE_INSTANCE_ACCESS_DENIED == 83 && CREATE_INSTANCE_FAILED == 84);
static_assert(DELETE_INSTANCE_OK == 0 && DELETE_INSTANCE_NOT_FOUND == 90);
static_assert(DELETE_INSTANCE_UNSUPPORTED == 91 && DELETE_INSTANCE_ACCESS_DENIED == 92);
static_assert(DELETE_INSTANCE_FAILED == 93);
static_assert(MODIFY_INSTANCE_OK == 0 && MODIFY_INSTANCE_NOT_FOUND == 100);
static_assert(MODIFY_INSTANCE_UNSUPPORTED == 101 && MODIFY_INSTANCE_INVALID_PARAMETER == 102);
static_assert(MODIFY_INSTANCE_ACCESS_DENIED == 103 && MODIFY_INSTANCE_FAILED == 104);
static_assert(ENUM_ASSOCIATOR_NAMES_OK == 0 && ENUM_ASSOCIATOR_NAMES_FAILED == 110);
static_assert(ENUM_ASSOCIATOR_NAMES_UNSUPPORTED == 111);
static_assert(ENUM_ASSOCIATOR_NAMES_ACCESS_DENIED == 112);
static_assert(ENUM_REFERENCES_OK == 0 && ENUM_REFERENCES_FAILED == 120);
static_assert(ENUM_REFERENCES_UNSUPPORTED == 121 && ENUM_REFERENCES_ACCESS_DENIED == 122);
static_assert(INVOKE_METHOD_OK == 0 && INVOKE_METHOD_FAILED == 130);
static_assert(INVOKE_METHOD_UNSUPPORTED == 131 && INVOKE_METHOD_ACCESS_DENIED == 132);
static_assert(ENABLE_INDICATIONS_OK == 0 && ENABLE_INDICATIONS_FAILED == 140);
static_assert(DISABLE_INDICATIONS_OK == 0 && DISABLE_INDICATIONS_FAILED == 150);
static_assert(ENUM_ASSOCIATORS_OK == 0 && ENUM_ASSOCIATORS_FAILED == 170);
static_assert(ENUM_ASSOCIATORS_UNSUPPORTED == 171 && ENUM_ASSOCIATORS_ACCESS_DENIED == 172);
static_assert(OPERATION_GET_META_CLASS == 0 && OPERATION_CREATE_PROVIDER == 1);
static_assert(OPERATION_DESTROY_PROVIDER == 2 && OPERATION_LOAD == 3 && OPERATION_UNLOAD == 4);
static_assert(OPERATION_GET_INSTANCE == 5 && OPERATION_ENUM_INSTANCES == 6);
static_assert(OPERATION_CREATE_INSTANCE == 7 && OPERATION_DELETE_INSTANCE == 8);
static_assert(OPERATION_MODIFY_INSTANCE == 9 && OPERATION_INVOKE_METHOD == 10);
static_assert(OPERATION_ENABLE_INDICATIONS == 11 && OPERATION_DISABLE_INDICATIONS == 12);
static_assert(OPERATION_GET_REPOSITORY == 13 && OPERATION_ENUM_ASSOCIATOR_NAMES == 14);
static_assert(OPERATION_ENUM_REFERENCES == 15 && OPERATION_ENUM_ASSOCIATORS == 16);

/// A provider like a generated one, with one job.
class JobProvider {
  public:
    typedef Job Class;

    Load_Status load() {
        Ref<Job> job(Job::create(true));
        job->InstanceID.set("job");
        job->JobState.set(4);
        return map_.insert(job.steal()) == 0 ? LOAD_OK : LOAD_FAILED;
    }
    Unload_Status unload() {
        map_.clear();
        return UNLOAD_OK;
    }
    Get_Instance_Status get_instance(const Job* model, Job*& instance) {
        return map_.get_instance(model, instance);
    }
    Enum_Instances_Status enum_instances(const Job* model, Enum_Instances_Handler<Job>* handler) {
        return map_.enum_instances(model, handler);
    }
    Create_Instance_Status create_instance(Job* instance) { return map_.create_instance(instance); }
    Delete_Instance_Status delete_instance(const Job* instance) {
        return map_.delete_instance(instance);
    }
    Modify_Instance_Status modify_instance(const Job* model, const Job* instance) {
        return map_.modify_instance(model, instance);
    }
    Invoke_Method_Status KillJob(const Job* self, const Property<boolean>& DeleteOnKill,
                                 Property<uint32>& return_value) {
        Job* job = map_.lookup(self);
        if (!job) {
            return INVOKE_METHOD_FAILED;
        }
        job->JobState.set(9);
        if (!DeleteOnKill.null && DeleteOnKill.value) {
            map_.delete_instance(self);
        }
        return_value.set(0);
        return INVOKE_METHOD_OK;
    }

  private:
    Instance_Map<Job> map_;
};

/// Indications need their own class in the schema; the handler works with any class.
class JobWatcher {
  public:
    ~JobWatcher() { disable_indications(); }
    Enable_Indications_Status enable_indications(Indication_Handler<Job>* handler) {
        handler_.reset(handler);
        return ENABLE_INDICATIONS_OK;
    }
    Disable_Indications_Status disable_indications() {
        handler_.reset();
        return DISABLE_INDICATIONS_OK;
    }
    bool announce(const char* id) {
        Ref<Job> job(Job::create(true));
        job->InstanceID.set(id);
        return handler_->handle(job.steal());
    }

  private:
    std::unique_ptr<Indication_Handler<Job>> handler_;
};

/// The framework's handling of the received instances.
struct Collector {
    std::vector<std::string> ids;
    std::vector<int> statuses;
    size_t wanted = 100;
    int lastCalls = 0;

    static bool take(Instance* instance, Enum_Instances_Status status, void* self) {
        auto& collector = *static_cast<Collector*>(self);
        collector.statuses.push_back(status);
        return collector.add(instance);
    }
    static bool takeIndication(Instance* instance, void* self) {
        return static_cast<Collector*>(self)->add(instance);
    }

    bool add(Instance* instance) {
        if (!instance) {
            lastCalls++;
            return false;
        }
        const Ref<Job> job(instance);
        if (!job) {
            return false;
        }
        ids.push_back(job->InstanceID.value.c_str());
        return ids.size() < wanted;
    }
};

Collector enumerate(JobProvider& provider, size_t wanted = 100) {
    Collector collector;
    collector.wanted = wanted;
    const Ref<Job> model(Job::create(true));
    Enum_Instances_Handler<Job> handler(Collector::take, &collector);
    const Enum_Instances_Status status = provider.enum_instances(model.ptr(), &handler);
    Collector::take(nullptr, status, &collector);
    return collector;
}

Ref<Job> jobNamed(const char* id) {
    Ref<Job> job(Job::create(true));
    job->InstanceID.set(id);
    return job;
}

class JobProviderOperations : public testing::Test {
  protected:
    JobProviderOperations() { provider_.load(); }
    JobProvider provider_;
};

}  // namespace

TEST_F(JobProviderOperations, GetGivesACloneThatTheCallerOwns) {
    Job* found = nullptr;
    ASSERT_EQ(provider_.get_instance(jobNamed("job").ptr(), found), GET_INSTANCE_OK);
    Ref<Job> job(found);
    EXPECT_EQ(job.count(), 1U);
    job->JobState.set(7);
    ASSERT_EQ(provider_.get_instance(jobNamed("job").ptr(), found), GET_INSTANCE_OK);
    EXPECT_EQ(found->JobState.value, 4);
    Job::destroy(found);
    EXPECT_EQ(provider_.get_instance(jobNamed("absent").ptr(), found), GET_INSTANCE_NOT_FOUND);
}

TEST_F(JobProviderOperations, EnumerationHandsInstancesOverAndEndsWithNull) {
    provider_.create_instance(jobNamed("second").ptr());
    const Collector collector = enumerate(provider_);
    EXPECT_EQ(collector.ids, (std::vector<std::string>{"job", "second"}));
    EXPECT_EQ(collector.statuses, (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(collector.lastCalls, 1);
}

TEST_F(JobProviderOperations, EnumerationStopsWhenNoMoreAreWanted) {
    provider_.create_instance(jobNamed("second").ptr());
    EXPECT_EQ(enumerate(provider_, 1).ids, (std::vector<std::string>{"job"}));
}

TEST_F(JobProviderOperations, CreateAndDelete) {
    const Ref<Job> job = jobNamed("new");
    EXPECT_EQ(provider_.create_instance(jobNamed("new").ptr()), CREATE_INSTANCE_OK);
    EXPECT_EQ(provider_.create_instance(jobNamed("new").ptr()), CREATE_INSTANCE_DUPLICATE);
    EXPECT_EQ(provider_.delete_instance(job.ptr()), DELETE_INSTANCE_OK);
    EXPECT_EQ(provider_.delete_instance(job.ptr()), DELETE_INSTANCE_NOT_FOUND);
}

TEST_F(JobProviderOperations, ModifyChangesWhatTheModelNames) {
    Ref<Job> model = jobNamed("job");
    nullify_non_keys(model.ptr());
    model->PercentComplete.set(0);
    Ref<Job> values = jobNamed("job");
    values->PercentComplete.set(80);
    values->JobState.set(7);
    EXPECT_EQ(provider_.modify_instance(model.ptr(), values.ptr()), MODIFY_INSTANCE_OK);
    Job* found = nullptr;
    ASSERT_EQ(provider_.get_instance(model.ptr(), found), GET_INSTANCE_OK);
    const Ref<Job> job(found);
    EXPECT_EQ(job->PercentComplete.value, 80);
    EXPECT_EQ(job->JobState.value, 4);
    EXPECT_EQ(provider_.modify_instance(jobNamed("absent").ptr(), values.ptr()),
              MODIFY_INSTANCE_NOT_FOUND);
}

TEST_F(JobProviderOperations, InvokesAMethod) {
    Property<boolean> deleteOnKill = {true, 0};
    Property<uint32> result;
    result.clear();
    const Ref<Job> self = jobNamed("job");
    EXPECT_EQ(provider_.KillJob(self.ptr(), deleteOnKill, result), INVOKE_METHOD_OK);
    EXPECT_EQ(result.null, 0);
    EXPECT_EQ(provider_.KillJob(self.ptr(), deleteOnKill, result), INVOKE_METHOD_FAILED);
    EXPECT_EQ(provider_.unload(), UNLOAD_OK);
}

TEST(IndicationHandler, DeliversAndMakesALastCallAtTheEnd) {
    Collector collector;
    JobWatcher watcher;
    watcher.enable_indications(new Indication_Handler<Job>(Collector::takeIndication, &collector));
    EXPECT_TRUE(watcher.announce("one"));
    EXPECT_EQ(collector.lastCalls, 0);
    watcher.disable_indications();
    EXPECT_EQ(collector.ids, (std::vector<std::string>{"one"}));
    EXPECT_EQ(collector.lastCalls, 1);
}

static_assert(std::is_same_v<Enum_Associator_Names_Proc,
                             bool (*)(const Instance*, Enum_Associator_Names_Status, void*)>);
static_assert(std::is_same_v<Enum_Associators_Proc,
                             bool (*)(const Instance*, Enum_Associators_Status, void*)>);
static_assert(
    std::is_same_v<Enum_References_Proc, bool (*)(Instance*, Enum_References_Status, void*)>);

TEST(AssociationHandlers, PassTheirStatusType) {
    int calls = 0;
    const auto count = [](auto* instance, auto status, void* data) {
        ++*static_cast<int*>(data);
        unref(instance);
        return status == 0;
    };
    Enum_Associator_Names_Handler<Instance> names(count, &calls);
    Enum_Associators_Handler<Instance> objects(count, &calls);
    Enum_References_Handler<Job> references(count, &calls);
    EXPECT_TRUE(names.handle(Job::create()));
    EXPECT_TRUE(objects.handle(Job::create()));
    EXPECT_TRUE(references.handle(Job::create()));
    EXPECT_EQ(calls, 3);
}
