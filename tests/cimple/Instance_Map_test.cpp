#include <cimple/cimple.h>
#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

#include "KRM_TBLConcreteJob.h"

using namespace cimple;
using Job = KRM_TBLConcreteJob;

namespace {

static_assert(!std::is_copy_constructible_v<Instance_Map<Job>>);

Ref<Job> jobNamed(const char* id) {
    Ref<Job> job(Job::create(true));
    job->InstanceID.set(id);
    return job;
}

}  // namespace

TEST(InstanceMap, TakesInstancesOverInOrder) {
    Instance_Map<Job> map;
    EXPECT_EQ(map.insert(jobNamed("a").steal()), 0U);
    EXPECT_EQ(map.insert(jobNamed("b").steal()), 1U);
    EXPECT_EQ(map.size(), 2U);
    EXPECT_TRUE(map[1]->InstanceID.value == "b");
    EXPECT_EQ(map.find(jobNamed("b").ptr()), 1U);
    EXPECT_EQ(map.lookup(jobNamed("a").ptr()), map[0]);
    EXPECT_EQ(map.find(jobNamed("c").ptr()), size_t(-1));
    EXPECT_EQ(map.lookup(jobNamed("c").ptr()), nullptr);
}

TEST(InstanceMap, RejectsASecondInstanceWithTheKey) {
    Instance_Map<Job> map;
    map.insert(jobNamed("a").steal());
    Ref<Job> again = jobNamed("a");
    EXPECT_EQ(map.insert(again.ptr()), size_t(-1));
    EXPECT_EQ(map.size(), 1U);
    EXPECT_EQ(again.count(), 1U);
}

TEST(InstanceMap, RemoveLeavesTheInstanceAlive) {
    static_assert(std::is_void_v<decltype(std::declval<Instance_Map<Job>&>().remove(0))>);
    Instance_Map<Job> map;
    map.insert(jobNamed("a").steal());
    const Ref<Job> removed(map[0]);
    map.remove(0);
    EXPECT_EQ(map.size(), 0U);
    EXPECT_EQ(removed.count(), 1U);
    EXPECT_TRUE(removed->InstanceID.value == "a");
}

TEST(InstanceMap, ClearFreesAll) {
    Instance_Map<Job> map;
    map.insert(jobNamed("a").steal());
    map.clear();
    EXPECT_EQ(map.size(), 0U);
    EXPECT_EQ(map.insert(jobNamed("a").steal()), 0U);
}
