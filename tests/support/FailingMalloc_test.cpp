#include "tests/support/FailingMalloc.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <stdlib.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <thread>

#include "tests/support/Sanitizers.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::test {
namespace {

using Times = FailingMalloc::Times;
using Threads = FailingMalloc::Threads;

/// Keeps the compiler from removing an allocation.
void* seen(void* block) {
    void* volatile kept = block;
    return kept;
}

bool canAllocate() {
    void* const block = seen(malloc(10));
    free(block);
    return block != nullptr;
}

TEST(FailingMalloc, ReachesEveryFunctionOfTheAllocator) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const std::map<std::string, std::function<void*()>> functions = {
        {"malloc", [] { return malloc(10); }},
        {"calloc", [] { return calloc(2, 10); }},
        {"realloc", [] { return realloc(nullptr, 10); }},
        {"memalign", [] { return memalign(64, 10); }},
        {"aligned_alloc", [] { return aligned_alloc(64, 64); }},
        {"posix_memalign",
         [] {
             void* block = nullptr;
             const int error = posix_memalign(&block, 64, 10);
             EXPECT_EQ(error, block != nullptr ? 0 : ENOMEM);
             return block;
         }},
        {"operator new", [] { return operator new(10, std::nothrow); }},
    };
    for (const auto& [name, allocate] : functions) {
        FailingMalloc failure(1);
        void* const first = seen(allocate());
        void* const second = seen(allocate());
        failure.end();
        EXPECT_EQ(first, nullptr) << name;
        EXPECT_NE(second, nullptr) << name;
        EXPECT_EQ(failure.blocksLeft(), 1u) << name;
        free(second);
        EXPECT_EQ(failure.blocksLeft(), 0u) << name;
    }
}

TEST(FailingMalloc, FailsOnceAtTheGivenCall) {
    SKIP_IF_MALLOC_IS_REPLACED();
    FailingMalloc failure(3);
    EXPECT_TRUE(canAllocate());
    EXPECT_TRUE(canAllocate());
    EXPECT_FALSE(failure.happened());
    EXPECT_FALSE(canAllocate());
    EXPECT_TRUE(failure.happened());
    EXPECT_TRUE(canAllocate());
}

TEST(FailingMalloc, FailsFromTheGivenCallOnUntilItsEnd) {
    SKIP_IF_MALLOC_IS_REPLACED();
    FailingMalloc failure(2, Times::always);
    const bool results[] = {canAllocate(), canAllocate(), canAllocate()};
    failure.end();
    EXPECT_TRUE(results[0]);
    EXPECT_FALSE(results[1]);
    EXPECT_FALSE(results[2]);
    EXPECT_TRUE(canAllocate());
    EXPECT_TRUE(failure.happened());
}

TEST(FailingMalloc, KeepsTheBlockThatCannotGrow) {
    SKIP_IF_MALLOC_IS_REPLACED();
    FailingMalloc failure(2);
    auto* const block = static_cast<char*>(seen(malloc(10)));
    *block = 'x';
    EXPECT_EQ(seen(realloc(seen(block), 1000)), nullptr);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(failure.blocksLeft(), 1u);
    auto* const grown = static_cast<char*>(realloc(seen(block), 1000));
    ASSERT_NE(grown, nullptr);
    EXPECT_EQ(*grown, 'x');
    EXPECT_EQ(failure.blocksLeft(), 1u);
    EXPECT_EQ(seen(realloc(grown, 0)), nullptr);  // which frees the block
    EXPECT_EQ(failure.blocksLeft(), 0u);
}

TEST(FailingMalloc, CountsTheThreadsThatItIsToldToCount) {
    SKIP_IF_MALLOC_IS_REPLACED();
    for (const auto& [threads, affected] : {std::pair{Threads::thisOne, false},
                                            {Threads::thisAndNewOnes, true},
                                            {Threads::all, true}}) {
        bool result = false;
        FailingMalloc failure(1000, Times::always, threads);
        std::thread thread([&] {
            for (int i = 0; i < 1000; ++i) {
                result = canAllocate();
            }
        });
        thread.join();
        EXPECT_NE(result, affected);
    }
}

TEST(FailingMalloc, LeavesThreadsAloneThatAllocatedBefore) {
    SKIP_IF_MALLOC_IS_REPLACED();
    std::atomic<int> step = 0;
    bool result = false;
    std::thread thread([&] {
        canAllocate();
        step = 1;
        step.notify_all();
        step.wait(1);
        result = canAllocate();
    });
    step.wait(0);
    {
        const FailingMalloc failure(1, Times::always, Threads::thisAndNewOnes);
        step = 2;
        step.notify_all();
        thread.join();
    }
    EXPECT_TRUE(result);
}

TEST(FailingMalloc, CountsBlocksWithoutAFailure) {
    SKIP_IF_MALLOC_IS_REPLACED();
    void* const before = seen(malloc(10));
    FailingMalloc failure(0, Times::always);
    void* const block = seen(malloc(10));
    free(before);  // not counted
    EXPECT_EQ(failure.blocksLeft(), 1u);
    failure.end();
    void* const after = seen(malloc(10));
    EXPECT_EQ(failure.blocksLeft(), 1u);
    free(after);
    free(block);
    EXPECT_EQ(failure.blocksLeft(), 0u);
    EXPECT_FALSE(failure.happened());
}

/// A process with the preloaded form.
struct PreloadedMalloc : testing::Test {
    TemporaryDirectory directory;
    const std::string report = directory.file("report");

    ProcessResult list(const char* n, const char* times) const {
        return runProcess({"ls", "/"}, {{"LD_PRELOAD", VARNOCK_FAILING_MALLOC_SO},
                                        {"VARNOCK_FAILING_MALLOC", n},
                                        {"VARNOCK_FAILING_MALLOC_TIMES", times},
                                        {"VARNOCK_FAILING_MALLOC_REPORT", report}});
    }
};

TEST_F(PreloadedMalloc, FailsInAWholeProcess) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const ProcessResult result = list("1", "always");
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.status, 0);
    EXPECT_TRUE(std::filesystem::exists(report));
}

TEST_F(PreloadedMalloc, ChangesNothingBeforeItsCall) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const ProcessResult result = list("1000000", "once");
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out, "");
    EXPECT_FALSE(std::filesystem::exists(report));
}

}  // namespace
}  // namespace varnock::test
