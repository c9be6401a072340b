// C++20 synthesises operators from others, so operators missing in the framework show only in
// C++17.
#include <cimple/cimple.h>
#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

#include "KRM_TBLComputerSystem.h"
#include "KRM_TBLConcreteJob.h"

using namespace cimple;

namespace {

static_assert(__cplusplus == 201703L);

template <class T, class = void>
struct HasNotEqual : std::false_type {};
template <class T>
struct HasNotEqual<T, std::void_t<decltype(std::declval<const T&>() != std::declval<const T&>())>>
    : std::true_type {};

template <class T, class = void>
struct HasEqual : std::false_type {};
template <class T>
struct HasEqual<T, std::void_t<decltype(std::declval<const T&>() == std::declval<const T&>())>>
    : std::true_type {};

template <class T, class = void>
struct HasLess : std::false_type {};
template <class T>
struct HasLess<T, std::void_t<decltype(std::declval<const T&>() < std::declval<const T&>())>>
    : std::true_type {};

template <class T, class = void>
struct CanDestroy : std::false_type {};
template <class T>
struct CanDestroy<T, std::void_t<decltype(destroy(std::declval<T>()))>> : std::true_type {};

static_assert(CanDestroy<Instance*>() && CanDestroy<KRM_TBLConcreteJob*>());
static_assert(!CanDestroy<std::nullptr_t>() && !CanDestroy<const Instance*>());

static_assert(HasEqual<Datetime>() && !HasNotEqual<Datetime>() && !HasLess<Datetime>());
static_assert(HasEqual<Array_uint16>() && !HasNotEqual<Array_uint16>() && !HasLess<Array_uint16>());
static_assert(HasEqual<String>() && HasNotEqual<String>() && !HasLess<String>());
static_assert(HasEqual<char16>() && HasNotEqual<char16>() && HasLess<char16>());
static_assert(HasEqual<Property<uint16>>() && HasNotEqual<Property<uint16>>() &&
              !HasLess<Property<uint16>>());

}  // namespace

TEST(Cxx17, TheFrameworkCompilesAndWorks) {
    Ref<KRM_TBLConcreteJob> job(KRM_TBLConcreteJob::create(true));
    job->OperationalStatus.set(Array_uint16::make(2));
    job->Name = job->InstanceID;
    EXPECT_EQ(job->OperationalStatus.value[0], 2);
    EXPECT_TRUE(Datetime(uint64(5)) == job->ElapsedTime.value || job->ElapsedTime.null);
    const KRM_TBLComputerSystem* system = cast<KRM_TBLComputerSystem*>(job.ptr());
    EXPECT_EQ(system, nullptr);
}
