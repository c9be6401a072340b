#include "transport/record/ThreadMemory.h"

#include <gtest/gtest.h>

#include <new>
#include <thread>

#include "tests/support/FailingMalloc.h"
#include "tests/support/Sanitizers.h"
#include "transport/SipJson.h"

namespace varnock::test {
namespace {

TEST(ThreadMemory, KeepsOneBlockOfEachKind) {
    freeSpares();
    EXPECT_EQ(takeSpare(SpareBlock::record), nullptr);
    void* const record = ::operator new(64);
    void* const frame = ::operator new(64);
    keepSpare(SpareBlock::record, record);
    keepSpare(SpareBlock::frame, frame);
    keepSpare(SpareBlock::record, ::operator new(64));  // freed: a second one is not kept
    EXPECT_EQ(takeSpare(SpareBlock::record), record);
    EXPECT_EQ(takeSpare(SpareBlock::record), nullptr);
    EXPECT_EQ(takeSpare(SpareBlock::frame), frame);
    keepSpare(SpareBlock::record, record);
    keepSpare(SpareBlock::frame, frame);
    freeSpares();
    EXPECT_EQ(takeSpare(SpareBlock::frame), nullptr);
}

TEST(ThreadMemory, IsOfOneThread) {
    void* const block = ::operator new(64);
    keepSpare(SpareBlock::frame, block);
    std::thread([] { EXPECT_EQ(takeSpare(SpareBlock::frame), nullptr); }).join();
    EXPECT_EQ(takeSpare(SpareBlock::frame), block);
    ::operator delete(block);
}

TEST(ThreadMemory, IsFreedWhenTheThreadEnds) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const auto useInThread = [] {
        std::thread([] {
            const SipJson record(1, 2, 3, 4, 5);
            keepSpare(SpareBlock::frame, ::operator new(64));
        }).join();
    };
    useInThread();  // what the process keeps of its first thread
    FailingMalloc counted(0, FailingMalloc::Times::once, FailingMalloc::Threads::thisAndNewOnes);
    useInThread();
    counted.end();
    EXPECT_EQ(counted.blocksLeft(), 0u);
}

TEST(ThreadMemory, ServesTheNextRecord) {
    SKIP_IF_MALLOC_IS_REPLACED();
    { const SipJson first; }
    const FailingMalloc failure(1);
    { const SipJson second(1, 2, 3, 4, 5); }
    EXPECT_FALSE(failure.happened());
}

}  // namespace
}  // namespace varnock::test
