#include <cimple/cimple.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <type_traits>

#include "KRM_TBLComputerSystem.h"
#include "KRM_TBLConcreteJob.h"

using namespace cimple;
using Job = KRM_TBLConcreteJob;
using System = KRM_TBLComputerSystem;
using ChangeRequest = CIM_EnabledLogicalElement_RequestStateChange_method;

namespace {

template <class X>
concept Newable = requires {
    new X;
};
template <class X>
concept Deletable = requires(X* x) {
    delete x;
};
template <class X>
concept DestroysItself = requires(X* x) {
    x->destroy();
};
template <class X>
concept DestroysConst = requires(const X* x) {
    X::destroy(x);
};
template <class X>
concept DestroysConstInstance = requires(const X* x) {
    destroy(x);
};
template <class X>
concept HasMeta = requires {
    X::meta;
};

static_assert(sizeof(Instance) == 24);
static_assert(!std::is_default_constructible_v<Job> && !std::is_destructible_v<Job>);
static_assert(!std::is_copy_constructible_v<Job> && !std::is_copy_assignable_v<Job>);
static_assert(!Newable<Job> && !Deletable<Job>);
static_assert(!DestroysItself<Job> && !DestroysConst<Job> && !DestroysConstInstance<Job>);
static_assert(!HasMeta<Job>);
static_assert(!std::is_convertible_v<Job*, CIM_Job*>);
static_assert(std::is_convertible_v<Job*, Instance*>);
static_assert(!std::is_base_of_v<CIM_Job, Job>);
static_assert(std::is_class_v<cast<Job*>> && std::is_convertible_v<cast<Job*>, Job*>);

Ref<System> systemNamed(const char* name) {
    Ref<System> system(System::create(true));
    system->Name.set(name);
    system->CreationClassName.set("KRM_TBLComputerSystem");
    return system;
}

/// A request that refers to a job: the one class with a reference.
Ref<ChangeRequest> requestWithJob() {
    Ref<ChangeRequest> request(ChangeRequest::create());
    request->Job = CIM_ConcreteJob::create(true);
    request->Job->InstanceID.set("job");
    request->RequestedState.set(4);
    return request;
}

std::string printed(const Instance* instance, bool keys_only) {
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::tmpfile(), std::fclose);
    fprint(file.get(), instance, keys_only);
    std::string text(static_cast<size_t>(std::ftell(file.get())), '\0');
    std::rewind(file.get());
    EXPECT_EQ(std::fread(text.data(), 1, text.size(), file.get()), text.size());
    return text;
}

}  // namespace

TEST(Instance, CreatedOnesCarryMagicCountAndClass) {
    Ref<Job> job(Job::create());
    EXPECT_EQ(job->__magic, 0xF00DFACE);
    EXPECT_EQ(job.count(), 1U);
    EXPECT_EQ(job->meta_class, &Job::static_meta_class);
    EXPECT_TRUE(job->__name_space.empty());
    EXPECT_STREQ(class_name_of(job.ptr()), "KRM_TBLConcreteJob");
}

TEST(Instance, CreateByMetaClass) {
    Ref<Instance> job(create(&Job::static_meta_class, true));
    const Job* created = cast<Job*>(job.ptr());
    ASSERT_NE(created, nullptr);
    EXPECT_EQ(created->JobRunTimes.value, 1U);
    Ref<Instance> bare(create(&Instance::static_meta_class, true));
    EXPECT_EQ(bare.count(), 1U);
}

TEST(Instance, DestroyIgnoresTheCount) {
    CIM_ConcreteJob* job = CIM_ConcreteJob::create();
    ref(job);
    ChangeRequest* request = ChangeRequest::create();
    request->Job = job;
    ref(request);
    ChangeRequest::destroy(request);
    EXPECT_EQ(Atomic_get(&job->__refs), 1) << "what it refers to is given up";
    unref(job);
}

TEST(Instance, CloneIsDeepAndKeepsTheClass) {
    Ref<Job> job(Job::create(true));
    job->Name.set("n");
    job->OperationalStatus.set(Array_uint16::make(2));
    job->__name_space = "root/cimv2";
    ref(job.ptr());
    const CIM_Job* base = cast<CIM_Job*>(job.ptr());
    ASSERT_NE(base, nullptr);
    Ref<Instance> copied(base->clone());
    unref(job.ptr());
    ASSERT_TRUE(is_a<Job>(copied.ptr()));
    EXPECT_EQ(copied.count(), 1U);
    EXPECT_TRUE(identical(copied.ptr(), job.ptr()));
    Job* changed = cast<Job*>(copied.ptr());
    ASSERT_NE(changed, nullptr);
    changed->OperationalStatus.value[0] = 3;
    EXPECT_EQ(job->OperationalStatus.value[0], 2);
    EXPECT_FALSE(identical(copied.ptr(), job.ptr()));
}

TEST(Instance, CloneCopiesWhatIsReferredTo) {
    Ref<ChangeRequest> request = requestWithJob();
    Ref<ChangeRequest> copied(request->clone());
    ASSERT_NE(copied->Job, nullptr);
    EXPECT_NE(copied->Job, request->Job);
    EXPECT_TRUE(copied->Job->InstanceID.value == "job");
    EXPECT_EQ(Atomic_get(&copied->Job->__refs), 1);
}

TEST(Instance, OwnerReleasesItsReferences) {
    CIM_ConcreteJob* job = CIM_ConcreteJob::create();
    ref(job);
    {
        Ref<ChangeRequest> request(ChangeRequest::create());
        request->Job = job;
    }
    EXPECT_EQ(Atomic_get(&job->__refs), 1);
    unref(job);
}

TEST(Instance, KeyCloneKeepsKeysOnly) {
    Ref<System> system = systemNamed("A");
    system->Caption.set("c");
    system->__name_space = "root";
    Ref<Instance> base(key_clone(system.ptr()));
    const System* keys = cast<System*>(base.ptr());
    ASSERT_NE(keys, nullptr);
    EXPECT_TRUE(keys->Name.value == "A");
    EXPECT_EQ(keys->Name.null, 0);
    EXPECT_EQ(keys->Caption.null, 1);
    EXPECT_EQ(keys->EnabledState.null, 1);
    EXPECT_TRUE(keys->__name_space.empty());
}

TEST(Instance, KeyEqualityLooksAtKeysOnly) {
    Ref<System> a = systemNamed("A");
    Ref<System> b = systemNamed("A");
    b->Caption.set("other");
    EXPECT_TRUE(key_eq(a.ptr(), b.ptr()));
    b->Name.set("B");
    EXPECT_FALSE(key_eq(a.ptr(), b.ptr()));
    b->Name.set("A");
    b->Name.null = 1;
    EXPECT_FALSE(key_eq(a.ptr(), b.ptr()));
}

TEST(Instance, KeyEqualityAcceptsOtherClasses) {
    Ref<System> a = systemNamed("A");
    Ref<CIM_System> b(CIM_System::create(true));
    b->Name.set("A");
    b->CreationClassName.set("KRM_TBLComputerSystem");
    EXPECT_TRUE(key_eq(a.ptr(), b.ptr()));
    EXPECT_FALSE(identical(a.ptr(), b.ptr()));
    Ref<Job> job(Job::create());
    EXPECT_FALSE(key_eq(a.ptr(), job.ptr()));
    EXPECT_FALSE(key_eq(job.ptr(), a.ptr()));
}

TEST(Instance, IdenticalComparesNameSpaceAndReferences) {
    Ref<ChangeRequest> a = requestWithJob();
    Ref<ChangeRequest> b(a->clone());
    EXPECT_TRUE(identical(a.ptr(), b.ptr()));
    b->__name_space = "root";
    EXPECT_FALSE(identical(a.ptr(), b.ptr()));
    b->__name_space = "";
    b->Job->InstanceID.set("other");
    EXPECT_FALSE(identical(a.ptr(), b.ptr()));
    unref(b->Job);
    b->Job = nullptr;
    EXPECT_FALSE(identical(a.ptr(), b.ptr()));
    EXPECT_FALSE(identical(b.ptr(), a.ptr()));
    EXPECT_TRUE(identical(b.ptr(), Ref<ChangeRequest>(b->clone()).ptr()));
}

TEST(Instance, NullStatesFlipWithoutTouchingValues) {
    Ref<System> system = systemNamed("A");
    nullify_keys(system.ptr());
    EXPECT_EQ(system->Name.null, 1);
    EXPECT_TRUE(system->Name.value == "A");
    EXPECT_EQ(system->EnabledState.null, 0);
    de_nullify_keys(system.ptr());
    EXPECT_EQ(system->Name.null, 0);
    EXPECT_EQ(system->Caption.null, 1);
    nullify_non_keys(system.ptr());
    EXPECT_EQ(system->EnabledState.null, 1);
    EXPECT_EQ(system->EnabledState.value, 5);
    EXPECT_EQ(system->Name.null, 0);
    de_nullify_properties(system.ptr());
    EXPECT_EQ(system->Caption.null, 0);
    nullify_properties(system.ptr());
    EXPECT_EQ(system->Name.null, 1);
    EXPECT_EQ(system->Roles.null, 1);
}

TEST(Instance, NullifyLeavesReferences) {
    Ref<ChangeRequest> request = requestWithJob();
    nullify_properties(request.ptr());
    EXPECT_EQ(request->RequestedState.null, 1);
    EXPECT_NE(request->Job, nullptr);
}

TEST(Instance, KeysNonNull) {
    Ref<System> system = systemNamed("A");
    EXPECT_TRUE(keys_non_null(system.ptr()));
    system->CreationClassName.clear();
    EXPECT_FALSE(keys_non_null(system.ptr()));
    Ref<Job> job(Job::create());
    EXPECT_TRUE(keys_non_null(job.ptr()));
}

TEST(Instance, CopyTakesEverything) {
    Ref<System> a = systemNamed("A");
    a->Roles.set(Array_String::make("r"));
    Ref<System> b(System::create());
    copy(b.ptr(), a.ptr());
    EXPECT_TRUE(identical(a.ptr(), b.ptr()));
    copy(a.ptr(), a.ptr());
    EXPECT_TRUE(identical(a.ptr(), b.ptr()));
}

TEST(Instance, CopyReplacesReferences) {
    Ref<ChangeRequest> a = requestWithJob();
    Ref<ChangeRequest> b = requestWithJob();
    a->Job->InstanceID.set("new");
    copy(b.ptr(), a.ptr());
    EXPECT_TRUE(b->Job->InstanceID.value == "new");
    EXPECT_NE(a->Job, b->Job);
}

TEST(Instance, CopyOfNoReferenceGivesTheOldOneUp) {
    const Ref<ChangeRequest> source(ChangeRequest::create());
    Ref<ChangeRequest> dest = requestWithJob();
    Ref<CIM_ConcreteJob> old(dest->Job);
    ref(old.ptr());
    copy(dest.ptr(), source.ptr());
    EXPECT_EQ(dest->Job, nullptr);
    EXPECT_EQ(old.count(), 1U);
}

TEST(Instance, CopyOfItselfLeavesItsReferences) {
    Ref<ChangeRequest> request = requestWithJob();
    const CIM_ConcreteJob* job = request->Job;
    copy(request.ptr(), request.ptr());
    copy(request.ptr(), request.ptr(), request.ptr());
    copy_keys(request.ptr(), request.ptr());
    EXPECT_EQ(request->Job, job);
    EXPECT_TRUE(request->Job->InstanceID.value == "job");
}

TEST(Instance, PropertiesOfOneNameAndOtherTypesAreNeitherCopiedNorEqual) {
    // The class of another module, in which the key is a number, or an array.
    const auto* key = find_property(&Job::static_meta_class, "InstanceID");
    for (const bool isArray : {false, true}) {
        Meta_Property other = *key;
        other.type = isArray ? other.type : UINT32;
        other.subscript = isArray ? -1 : 0;
        const Meta_Feature* const features[] = {&other};
        Meta_Class foreign = Job::static_meta_class;
        foreign.meta_features = features;
        foreign.num_meta_features = 1;
        foreign.num_keys = 1;
        Ref<Instance> dest(create(&foreign));
        Ref<Job> job(Job::create(true));
        job->InstanceID.set("id");
        copy(dest.ptr(), job.ptr());
        EXPECT_TRUE(static_cast<Job*>(dest.ptr())->InstanceID.value.empty()) << isArray;
        EXPECT_FALSE(key_eq(job.ptr(), dest.ptr())) << isArray;
        EXPECT_FALSE(key_eq(dest.ptr(), job.ptr())) << isArray;
    }
}

TEST(Instance, CopyWithAModelTakesWhatIsNonNullThere) {
    Ref<System> source = systemNamed("A");
    source->Caption.set("c");
    source->Description.set("d");
    Ref<System> model(System::create(true));
    nullify_properties(model.ptr());
    model->Caption.set("");
    model->Name.set("");
    Ref<System> dest = systemNamed("B");
    copy(dest.ptr(), source.ptr(), model.ptr());
    EXPECT_TRUE(dest->Caption.value == "c");
    EXPECT_TRUE(dest->Name.value == "A");
    EXPECT_EQ(dest->Description.null, 1);
}

TEST(Instance, CopyWithAModelTakesTheReferencesThatAreThere) {
    const Ref<ChangeRequest> source = requestWithJob();
    const Ref<ChangeRequest> withJob = requestWithJob();
    const Ref<ChangeRequest> withoutJob(ChangeRequest::create());
    Ref<ChangeRequest> dest(ChangeRequest::create());
    copy(dest.ptr(), source.ptr(), withoutJob.ptr());
    EXPECT_EQ(dest->Job, nullptr);
    copy(dest.ptr(), source.ptr(), systemNamed("another class").ptr());
    EXPECT_EQ(dest->Job, nullptr);
    copy(dest.ptr(), source.ptr(), withJob.ptr());
    ASSERT_NE(dest->Job, nullptr);
    EXPECT_TRUE(dest->Job->InstanceID.value == "job");
}

TEST(Instance, CopyLeavesOutWhatTheOtherClassDoesNotHave) {
    Ref<System> dest = systemNamed("A");
    copy(dest.ptr(), requestWithJob().ptr());
    EXPECT_TRUE(dest->Name.value == "A");
    EXPECT_FALSE(identical(requestWithJob().ptr(), dest.ptr()));
    EXPECT_FALSE(identical(dest.ptr(), requestWithJob().ptr()));
}

TEST(Instance, CopyKeysTakesKeys) {
    Ref<System> source = systemNamed("A");
    source->Caption.set("c");
    Ref<System> dest(System::create(true));
    copy_keys(dest.ptr(), source.ptr());
    EXPECT_TRUE(dest->Name.value == "A");
    EXPECT_EQ(dest->Caption.null, 1);
}

TEST(Instance, FilterKeepsListedPropertiesAndKeys) {
    Ref<System> system = systemNamed("A");
    system->Caption.set("c");
    const char* const names[] = {"caption", nullptr};
    filter_properties(system.ptr(), names);
    EXPECT_EQ(system->Caption.null, 0);
    EXPECT_EQ(system->Name.null, 0);
    EXPECT_EQ(system->EnabledState.null, 1);
    filter_properties(system.ptr(), names, false);
    EXPECT_EQ(system->Name.null, 1);
    EXPECT_EQ(system->Caption.null, 0);
}

TEST(Instance, ClearEmptiesAndNullifies) {
    Ref<ChangeRequest> request = requestWithJob();
    clear(request.ptr());
    EXPECT_EQ(request->RequestedState.null, 1);
    EXPECT_EQ(request->RequestedState.value, 0);
    EXPECT_EQ(request->Job, nullptr);
}

TEST(Instance, ClearLeavesTheMethodsOfTheClass) {
    Ref<Job> job(Job::create(true));
    job->InstanceID.set("id");
    job->OperationalStatus.set(Array_uint16::make(2));
    job->DeleteOnCompletion.set(true);
    clear(job.ptr());
    EXPECT_EQ(job->InstanceID.null, 1);
    EXPECT_TRUE(job->InstanceID.value.empty());
    EXPECT_EQ(job->OperationalStatus.value.size(), 0U);
    EXPECT_FALSE(job->DeleteOnCompletion.value);
    EXPECT_NE(find_method(job->meta_class, "KillJob"), nullptr);
}

TEST(Instance, CastFollowsTheClassHierarchy) {
    Ref<Job> job(Job::create());
    const Instance* base = job.ptr();
    Job* same = cast<Job*>(base);
    CIM_ManagedElement* root = cast<CIM_ManagedElement*>(base);
    CIM_ConcreteJob* parent = cast<CIM_ConcreteJob*>(base);
    System* other = cast<System*>(base);
    Instance* instance = cast<Instance*>(base);
    Job* fromNull = cast<Job*>(static_cast<const Instance*>(nullptr));
    EXPECT_EQ(same, base);
    EXPECT_NE(root, nullptr);
    EXPECT_NE(parent, nullptr);
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(instance, base);
    EXPECT_EQ(fromNull, nullptr);
    Ref<CIM_Job> plain(CIM_Job::create());
    Job* down = cast<Job*>(plain.ptr());
    EXPECT_EQ(down, nullptr);
}

TEST(Instance, IsAFollowsTheClassHierarchy) {
    Ref<Job> job(Job::create());
    EXPECT_TRUE(is_a<Job>(job.ptr()));
    EXPECT_TRUE(is_a<CIM_ManagedSystemElement>(job.ptr()));
    EXPECT_TRUE(is_a<Instance>(job.ptr()));
    EXPECT_FALSE(is_a<System>(job.ptr()));
    EXPECT_FALSE(is_a<CIM_System>(job.ptr()));
}

TEST(Instance, ClassNamesAreComparedInAnyCase) {
    Meta_Class foreign = Job::static_meta_class;
    foreign.name = "krm_tblCONCRETEjob";
    foreign.super_meta_class = nullptr;
    Ref<Instance> job(create(&foreign));
    EXPECT_TRUE(is_a<Job>(job.ptr()));
    EXPECT_FALSE(is_a<CIM_Job>(job.ptr()));
    job.reset();
}

TEST(Instance, BaseLayoutIsAPrefix) {
    Ref<Job> job(Job::create(true));
    job->Name.set("n");
    job->PercentComplete.set(42);
    const CIM_Job* base = cast<CIM_Job*>(job.ptr());
    ASSERT_NE(base, nullptr);
    EXPECT_TRUE(base->Name.value == "n");
    EXPECT_EQ(base->PercentComplete.value, 42);
}

TEST(Instance, PrintsPropertiesAndKeys) {
    Ref<Job> job(Job::create(true));
    job->InstanceID.set("id");
    job->OperationalStatus.set(Array_uint16::make(2, 17));
    job->StatusDescriptions.set(Array_String::make("ok"));
    job->DeleteOnCompletion.set(true);
    job->RunDay.set(-3);
    EXPECT_EQ(printed(job.ptr(), true),
              "KRM_TBLConcreteJob\n{\n    string InstanceID = \"id\";\n}\n");
    const std::string all = printed(job.ptr(), false);
    for (const char* line :
         {"    string Name = NULL;\n", "    uint16 OperationalStatus = { 2, 17 };\n",
          "    string StatusDescriptions = { \"ok\" };\n",
          "    boolean DeleteOnCompletion = true;\n", "    sint8 RunDay = -3;\n",
          "    uint32 JobRunTimes = 1;\n",
          "    datetime TimeBeforeRemoval = \"00000000000500.000000:000\";\n"}) {
        EXPECT_NE(all.find(line), std::string::npos) << line;
    }
    EXPECT_NE(printed(requestWithJob().ptr(), false).find("    Job = CIM_ConcreteJob;\n"),
              std::string::npos);
    EXPECT_NE(
        printed(Ref<ChangeRequest>(ChangeRequest::create()).ptr(), false).find("    Job = NULL;\n"),
        std::string::npos);
}

TEST(Instance, PrintsEmptyArraysAndSeveralElements) {
    Ref<Job> job(Job::create());
    job->StatusDescriptions.set(Array_String::make("a", "b"));
    job->RunMonth.set(12);
    const std::string text = printed(job.ptr(), false);
    for (const char* line :
         {"    uint16 OperationalStatus = { };\n",
          "    string StatusDescriptions = { \"a\", \"b\" };\n", "    uint8 RunMonth = 12;\n",
          "    boolean DeleteOnCompletion = false;\n"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << text;
    }
    job->StatusDescriptions.set(Array_String());
    EXPECT_NE(printed(job.ptr(), false).find("    string StatusDescriptions = { };\n"),
              std::string::npos);
}

TEST(Instance, PrintWritesToStandardOutput) {
    Ref<Job> job(Job::create(true));
    job->InstanceID.set("id");
    testing::internal::CaptureStdout();
    print(job.ptr(), true);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "KRM_TBLConcreteJob\n{\n    string InstanceID = \"id\";\n}\n");
}
