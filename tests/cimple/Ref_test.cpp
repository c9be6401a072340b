#include <cimple/cimple.h>
#include <gtest/gtest.h>

#include <thread>
#include <type_traits>
#include <vector>

#include "KRM_TBLComputerSystem.h"
#include "KRM_TBLConcreteJob.h"

using namespace cimple;
using Job = KRM_TBLConcreteJob;

namespace {

template <class R>
concept FromLiteralZero = requires {
    R(0);
};
template <class R>
concept AssignsNullptr = requires(R r) {
    r = nullptr;
};
template <class R>
concept ComparesWithNullptr = requires(R r) {
    r == nullptr;
};
template <class R>
concept HasGet = requires(R r) {
    r.get();
};
template <class R>
concept HasSwap = requires(R r) {
    r.swap(r);
};
template <class R>
concept TruthCompares = requires(R r) {
    r == r;
};

static_assert(!FromLiteralZero<Ref<Job>>);
static_assert(!std::is_constructible_v<Ref<Job>, std::nullptr_t>);
static_assert(!AssignsNullptr<Ref<Job>>);
static_assert(!ComparesWithNullptr<Ref<Job>>);
static_assert(!std::is_constructible_v<Ref<Job>, Ref<Instance>>);
static_assert(!HasGet<Ref<Job>> && !HasSwap<Ref<Job>>);
static_assert(TruthCompares<Ref<Job>>);
static_assert(std::is_convertible_v<Job*, Ref<Job>>);
static_assert(std::is_same_v<decltype(std::declval<const Ref<Job>&>().ptr()), const Job*>);
static_assert(std::is_same_v<decltype(std::declval<Ref<Job>&>().ptr()), Job*>);
static_assert(std::is_same_v<decltype(*std::declval<const Ref<Job>&>()), const Job&>);

}  // namespace

TEST(Ref, IsNullAtFirst) {
    Ref<Job> r;
    EXPECT_FALSE(r);
    EXPECT_TRUE(!r);
    EXPECT_EQ(r.ptr(), nullptr);
    EXPECT_EQ(r.count(), 0U);
    r.reset();
}

TEST(Ref, ConstructionFromAPointerTakesOver) {
    Ref<Job> r(Job::create(true));
    EXPECT_TRUE(r);
    EXPECT_EQ(r.count(), 1U);
    r = Job::create(true);
    EXPECT_EQ(r.count(), 1U);
}

TEST(Ref, CopiesShare) {
    Ref<Job> a(Job::create());
    {
        const Ref<Job> b(a);
        EXPECT_EQ(b.ptr(), a.ptr());
        EXPECT_EQ(a.count(), 2U);
        Ref<Job> c;
        c = b;
        EXPECT_EQ(a.count(), 3U);
    }
    EXPECT_EQ(a.count(), 1U);
    const Ref<Job>& alias = a;
    a = alias;
    EXPECT_EQ(a.count(), 1U);
    a->Name.set("still there");
}

TEST(Ref, ResetSharesThePointer) {
    Job* job = Job::create();
    Ref<Job> r;
    r.reset(job);
    EXPECT_EQ(r.count(), 2U);
    r.reset(job);
    EXPECT_EQ(r.count(), 2U);
    r.reset();
    EXPECT_FALSE(r);
    EXPECT_EQ(Atomic_get(&job->__refs), 1);
    unref(job);
}

TEST(Ref, StealHandsTheReferenceOut) {
    Ref<Job> r(Job::create());
    Job* job = r.steal();
    EXPECT_FALSE(r);
    EXPECT_EQ(Atomic_get(&job->__refs), 1);
    Job::destroy(job);
}

TEST(Ref, CastsToItsClass) {
    Ref<Instance> base(static_cast<Instance*>(Job::create()));
    EXPECT_TRUE(base);
    ref(base.ptr());
    Ref<CIM_Job> job(base.ptr());
    EXPECT_TRUE(job);
    EXPECT_EQ(job.count(), 2U);
}

TEST(Ref, LeavesAnInstanceOfAnotherClassToTheCaller) {
    Instance* job = Job::create();
    {
        const Ref<KRM_TBLComputerSystem> r(job);
        EXPECT_FALSE(r);
    }
    EXPECT_EQ(Atomic_get(&job->__refs), 1);
    destroy(job);
}

TEST(Ref, EqualityComparesTruth) {
    Ref<Job> a(Job::create());
    Ref<Job> b(Job::create());
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a == Ref<Job>());
}

TEST(Ref, CountingIsSafeBetweenThreads) {
    const Ref<Job> shared(Job::create());
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([&shared] {
            for (int i = 0; i < 1000; i++) {
                const Ref<Job> copy(shared);
                const Ref<Job> second(copy);
            }
        });
    }
    threads.clear();
    EXPECT_EQ(shared.count(), 1U);
}

TEST(RefFunctions, AreNullSafe) {
    ref(static_cast<Job*>(nullptr));
    unref(static_cast<Job*>(nullptr));
    ref(static_cast<const Instance*>(nullptr));
    Instance* none = nullptr;
    destroy(none);
    Job::destroy(nullptr);
}

TEST(RefFunctions, TheLastUnrefFrees) {
    CIM_ConcreteJob* job = CIM_ConcreteJob::create();
    ref(job);
    auto* request = CIM_EnabledLogicalElement_RequestStateChange_method::create();
    request->Job = job;
    ref(request);
    unref(request);
    EXPECT_EQ(Atomic_get(&request->__refs), 1);
    EXPECT_EQ(Atomic_get(&job->__refs), 2);
    unref(request);
    EXPECT_EQ(Atomic_get(&job->__refs), 1) << "what it refers to is given up";
    unref(job);
}
