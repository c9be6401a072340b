#include <cimple/cimple.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "KRM_TBLComputerSystem.h"
#include "KRM_TBLConcreteJob.h"

using namespace cimple;

namespace {

struct Expected {
    const char* name;
    Type type;
    bool isArray = false;
    bool isKey = false;
};

const std::vector<Expected> kManagedElement = {
    {"Caption", STRING}, {"Description", STRING}, {"ElementName", STRING}};

std::vector<Expected> managedSystemElement(bool nameIsKey) {
    auto all = kManagedElement;
    all.insert(all.end(), {{"InstallDate", DATETIME},
                           {"Name", STRING, false, nameIsKey},
                           {"OperationalStatus", UINT16, true},
                           {"StatusDescriptions", STRING, true},
                           {"Status", STRING},
                           {"HealthState", UINT16}});
    return all;
}

std::vector<Expected> concreteJob() {
    auto all = managedSystemElement(false);
    all.insert(all.end(), {{"JobStatus", STRING},
                           {"TimeSubmitted", DATETIME},
                           {"ScheduledStartTime", DATETIME},
                           {"StartTime", DATETIME},
                           {"ElapsedTime", DATETIME},
                           {"JobRunTimes", UINT32},
                           {"RunMonth", UINT8},
                           {"RunDay", SINT8},
                           {"RunDayOfWeek", SINT8},
                           {"RunStartInterval", DATETIME},
                           {"LocalOrUtcTime", UINT16},
                           {"UntilTime", DATETIME},
                           {"Notify", STRING},
                           {"Owner", STRING},
                           {"Priority", UINT32},
                           {"PercentComplete", UINT16},
                           {"DeleteOnCompletion", BOOLEAN},
                           {"ErrorCode", UINT16},
                           {"ErrorDescription", STRING},
                           {"RecoveryAction", UINT16},
                           {"OtherRecoveryAction", STRING},
                           {"InstanceID", STRING, false, true},
                           {"JobState", UINT16},
                           {"TimeOfLastStateChange", DATETIME},
                           {"TimeBeforeRemoval", DATETIME}});
    return all;
}

std::vector<Expected> computerSystem() {
    auto all = managedSystemElement(true);
    all.insert(all.end(), {{"EnabledState", UINT16},
                           {"OtherEnabledState", STRING},
                           {"RequestedState", UINT16},
                           {"EnabledDefault", UINT16},
                           {"TimeOfLastStateChange", DATETIME},
                           {"CreationClassName", STRING, false, true},
                           {"NameFormat", STRING},
                           {"PrimaryOwnerName", STRING},
                           {"PrimaryOwnerContact", STRING},
                           {"Roles", STRING, true},
                           {"OtherIdentifyingInfo", STRING, true},
                           {"IdentifyingDescriptions", STRING, true},
                           {"Dedicated", UINT16, true},
                           {"OtherDedicatedDescriptions", STRING, true},
                           {"ResetCapability", UINT16},
                           {"PowerManagementCapabilities", UINT16, true}});
    return all;
}

void expectProperties(const Meta_Class& meta, const std::vector<Expected>& expected) {
    size_t keys = 0;
    for (size_t i = 0; i < expected.size(); i++) {
        ASSERT_LT(i, meta.num_meta_features);
        const auto* property = static_cast<const Meta_Property*>(meta.meta_features[i]);
        SCOPED_TRACE(expected[i].name);
        ASSERT_TRUE(property->flags & CIMPLE_FLAG_PROPERTY);
        EXPECT_STREQ(property->name, expected[i].name);
        EXPECT_EQ(property->type, expected[i].type);
        EXPECT_EQ(property->subscript, expected[i].isArray ? -1 : 0);
        EXPECT_EQ((property->flags & (1U << 21)) != 0, expected[i].isKey);
        EXPECT_EQ(find_property(&meta, expected[i].name), property);
        keys += expected[i].isKey;
    }
    EXPECT_EQ(meta.num_keys, keys);
}

void expectChain(const Meta_Class* meta, const std::vector<const char*>& names) {
    for (const char* name : names) {
        ASSERT_NE(meta, nullptr);
        EXPECT_STREQ(meta->name, name);
        meta = meta->super_meta_class;
    }
    EXPECT_EQ(meta, nullptr);
}

/// The names of the properties that are not null.
std::set<std::string> present(const Instance* instance) {
    std::set<std::string> names;
    for (size_t i = 0; i < instance->meta_class->num_meta_features; i++) {
        const Meta_Feature* feature = instance->meta_class->meta_features[i];
        if (!(feature->flags & CIMPLE_FLAG_PROPERTY)) {
            continue;
        }
        const auto* property = static_cast<const Meta_Property*>(feature);
        if (!reinterpret_cast<const uint8*>(instance)[property->null_offset]) {
            names.insert(property->name);
        }
    }
    return names;
}

template <class X>
class EveryClass : public testing::Test {};
using Classes = testing::Types<CIM_ManagedElement, CIM_ManagedSystemElement, CIM_LogicalElement,
                               CIM_Job, CIM_ConcreteJob, CIM_EnabledLogicalElement, CIM_System,
                               CIM_ComputerSystem, KRM_TBLConcreteJob, KRM_TBLComputerSystem>;

}  // namespace

TYPED_TEST_SUITE(EveryClass, Classes);

TYPED_TEST(EveryClass, OffsetsArePlacesWithinTheInstance) {
    const Meta_Class& meta = TypeParam::static_meta_class;
    EXPECT_EQ(meta.size, sizeof(TypeParam));
    size_t last = sizeof(Instance) - 1;
    for (size_t i = 0; i < meta.num_meta_features; i++) {
        if (!(meta.meta_features[i]->flags & CIMPLE_FLAG_PROPERTY)) {
            continue;
        }
        const auto* property = static_cast<const Meta_Property*>(meta.meta_features[i]);
        EXPECT_GT(property->offset, last);
        EXPECT_GT(property->null_offset, property->offset);
        EXPECT_LT(property->null_offset, meta.size);
        last = property->null_offset;
    }
}

TYPED_TEST(EveryClass, CreatesClonesAndDestroys) {
    Ref<TypeParam> a(TypeParam::create(true));
    a->Caption.set("caption");
    Ref<TypeParam> b(a->clone());
    EXPECT_TRUE(identical(a.ptr(), b.ptr()));
    EXPECT_TRUE(is_a<CIM_ManagedElement>(b.ptr()));
}

TEST(GeneratedClasses, ConcreteJobHasThePropertiesOfTheSchema) {
    expectProperties(KRM_TBLConcreteJob::static_meta_class, concreteJob());
    expectProperties(CIM_ConcreteJob::static_meta_class, concreteJob());
    expectChain(&KRM_TBLConcreteJob::static_meta_class,
                {"KRM_TBLConcreteJob", "CIM_ConcreteJob", "CIM_Job", "CIM_LogicalElement",
                 "CIM_ManagedSystemElement", "CIM_ManagedElement"});
}

TEST(GeneratedClasses, ComputerSystemHasThePropertiesOfTheSchema) {
    expectProperties(KRM_TBLComputerSystem::static_meta_class, computerSystem());
    expectProperties(CIM_ComputerSystem::static_meta_class, computerSystem());
    expectChain(
        &KRM_TBLComputerSystem::static_meta_class,
        {"KRM_TBLComputerSystem", "CIM_ComputerSystem", "CIM_System", "CIM_EnabledLogicalElement",
         "CIM_LogicalElement", "CIM_ManagedSystemElement", "CIM_ManagedElement"});
}

TEST(GeneratedClasses, NameIsAKeyOnlyFromTheSystemOn) {
    const auto isKey = [](const Meta_Class& meta) {
        return (find_property(&meta, "Name")->flags & CIMPLE_FLAG_KEY) != 0;
    };
    EXPECT_FALSE(isKey(CIM_EnabledLogicalElement::static_meta_class));
    EXPECT_TRUE(isKey(CIM_System::static_meta_class));
    EXPECT_EQ(CIM_EnabledLogicalElement::static_meta_class.num_keys, 0U);
    EXPECT_EQ(CIM_Job::static_meta_class.num_keys, 0U);
}

TEST(GeneratedClasses, CreateWithDefaultsSetsThoseOfTheSchemaOnly) {
    Ref<KRM_TBLConcreteJob> job(KRM_TBLConcreteJob::create(true));
    EXPECT_EQ(present(job.ptr()), (std::set<std::string>{"JobRunTimes", "TimeBeforeRemoval"}));
    EXPECT_EQ(job->JobRunTimes.value, 1U);
    EXPECT_TRUE(job->TimeBeforeRemoval.value == Datetime(uint64(300000000)));

    Ref<KRM_TBLComputerSystem> system(KRM_TBLComputerSystem::create(true));
    EXPECT_EQ(present(system.ptr()),
              (std::set<std::string>{"EnabledState", "RequestedState", "EnabledDefault"}));
    EXPECT_EQ(system->EnabledState.value, 5);
    EXPECT_EQ(system->RequestedState.value, 12);
    EXPECT_EQ(system->EnabledDefault.value, 2);
}

TEST(GeneratedClasses, CreateWithoutDefaultsIsZeroAndNeverNull) {
    Ref<KRM_TBLConcreteJob> job(KRM_TBLConcreteJob::create());
    EXPECT_EQ(present(job.ptr()).size(), concreteJob().size());
    EXPECT_EQ(job->JobRunTimes.value, 0U);
    EXPECT_TRUE(job->TimeBeforeRemoval.value == Datetime());
    EXPECT_TRUE(job->InstanceID.value.empty());
    EXPECT_EQ(job->OperationalStatus.value.size(), 0U);
    EXPECT_FALSE(job->DeleteOnCompletion.value);
    Ref<KRM_TBLComputerSystem> system(KRM_TBLComputerSystem::create(false));
    EXPECT_EQ(present(system.ptr()).size(), computerSystem().size());
    EXPECT_TRUE(keys_non_null(system.ptr()));
}

TEST(GeneratedClasses, FeaturesAreFoundByNameInAnyCase) {
    const Meta_Class* meta = &KRM_TBLConcreteJob::static_meta_class;
    EXPECT_NE(find_property(meta, "jobstate"), nullptr);
    EXPECT_EQ(find_property(meta, "KillJob"), nullptr);
    EXPECT_EQ(find_property(meta, "absent"), nullptr);
    EXPECT_EQ(find_reference(meta, "JobState"), nullptr);
    ASSERT_NE(find_method(meta, "killjob"), nullptr);
    EXPECT_EQ(find_method(meta, "KillJob")->meta_class, &CIM_Job_KillJob_method::static_meta_class);
    EXPECT_NE(find_method(meta, "RequestStateChange"), nullptr);
    EXPECT_EQ(find_method(meta, "SetPowerState"), nullptr);
    const Meta_Class* system = &KRM_TBLComputerSystem::static_meta_class;
    EXPECT_NE(find_method(system, "RequestStateChange"), nullptr);
    EXPECT_NE(find_method(system, "SetPowerState"), nullptr);
}

TEST(GeneratedClasses, MethodParametersAreNeverNullAtFirst) {
    Ref<KRM_TBLConcreteJob_KillJob_method> kill(KRM_TBLConcreteJob_KillJob_method::create());
    EXPECT_STREQ(class_name_of(kill.ptr()), "KillJob");
    EXPECT_EQ(kill->DeleteOnKill.null, 0);
    EXPECT_EQ(kill->return_value.null, 0);
    Ref<KRM_TBLConcreteJob_RequestStateChange_method> change(
        KRM_TBLConcreteJob_RequestStateChange_method::create());
    EXPECT_STREQ(class_name_of(change.ptr()), "RequestStateChange");
    EXPECT_EQ(change->RequestedState.null, 0);
    EXPECT_TRUE(change->TimeoutPeriod.value == Datetime());
    Ref<KRM_TBLComputerSystem_SetPowerState_method> power(
        KRM_TBLComputerSystem_SetPowerState_method::create());
    EXPECT_EQ(power->PowerState.null, 0);
}

TEST(GeneratedClasses, SystemStateChangeRefersToAJob) {
    using Method = KRM_TBLComputerSystem_RequestStateChange_method;
    Ref<Method> change(Method::create());
    EXPECT_EQ(change->Job, nullptr);
    const Meta_Reference* job = find_reference(&Method::static_meta_class, "job");
    ASSERT_NE(job, nullptr);
    EXPECT_EQ(job->meta_class, &CIM_ConcreteJob::static_meta_class);
    EXPECT_EQ(job->subscript, 0);
}
