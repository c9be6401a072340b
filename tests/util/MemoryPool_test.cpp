#include "util/MemoryPool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <vector>

#include "tests/support/FailingAllocation.h"

namespace {

using varnock::test::FailingAllocation;

/// A pool that keeps its own block and records buffers freed through the virtual operation.
class KeepingPool : public CMemoryPool {
  public:
    explicit KeepingPool(std::vector<const unsigned char*>& freed) : freed_(freed) {}

    void keep(unsigned long size) {
        block_ = PoolAlloc(size);
        size_ = static_cast<unsigned int>(size);
        fill_ = 1;
    }
    const unsigned char* block() const { return block_; }
    unsigned int size() const { return size_; }
    unsigned int fill() const { return fill_; }

    void PoolFree(unsigned char*& block) override {
        if (block != nullptr) {
            freed_.push_back(block);
        }
        CMemoryPool::PoolFree(block);
    }

  private:
    std::vector<const unsigned char*>& freed_;
};

TEST(MemoryPool, AllocatesTheWholeSize) {
    CMemoryPool pool;
    unsigned char* block = pool.PoolAlloc(4096);
    ASSERT_NE(block, nullptr);
    std::memset(block, 0xA5, 4096);
    pool.PoolFree(block);
    EXPECT_EQ(block, nullptr);
}

TEST(MemoryPool, LeavesANullBlockAlone) {
    CMemoryPool pool;
    unsigned char* block = nullptr;
    pool.PoolFree(block);
    EXPECT_EQ(block, nullptr);
}

TEST(MemoryPool, AllocatesNothingAsABlockOfItsOwn) {
    CMemoryPool pool;
    unsigned char* block = pool.PoolAlloc(0);
    EXPECT_NE(block, nullptr);
    pool.PoolFree(block);
}

TEST(MemoryPool, PassesLackOfMemoryThrough) {
    CMemoryPool pool;
    const FailingAllocation failure(1);
    EXPECT_THROW(pool.PoolAlloc(16), std::bad_alloc);
}

TEST(MemoryPool, DoesNotFreeWhatItHandedOut) {
    std::vector<const unsigned char*> freed;
    unsigned char* block = nullptr;
    {
        KeepingPool pool(freed);
        block = pool.PoolAlloc(16);
        pool.ClassDelete();
    }
    EXPECT_TRUE(freed.empty());
    block[15] = 1;
    CMemoryPool().PoolFree(block);
}

TEST(MemoryPool, FreesItsOwnBlockThroughTheVirtualOperation) {
    std::vector<const unsigned char*> freed;
    KeepingPool pool(freed);
    pool.keep(64);
    const unsigned char* kept = pool.block();
    pool.ClassDelete();
    EXPECT_EQ(freed, std::vector<const unsigned char*>{kept});
    EXPECT_EQ(pool.block(), nullptr);
    EXPECT_EQ(pool.size(), 0U);
    EXPECT_EQ(pool.fill(), 0U);
}

TEST(MemoryPool, FreesItsOwnBlockWhenDestroyedWithoutReachingTheDerivedClass) {
    std::vector<const unsigned char*> freed;
    {
        KeepingPool pool(freed);
        pool.keep(64);
    }
    EXPECT_TRUE(freed.empty());  // the leak sanitizer checks that nothing leaks
}

TEST(MemoryPool, LockingChangesNothing) {
    std::vector<const unsigned char*> freed;
    KeepingPool pool(freed);
    pool.keep(64);
    const unsigned char* kept = pool.block();
    pool.LockPool();
    pool.LockPool();
    unsigned char* block = pool.PoolAlloc(1);
    const unsigned char* handedOut = block;
    pool.PoolFree(block);
    pool.UnlockPool();
    EXPECT_EQ(freed, std::vector<const unsigned char*>{handedOut});
    EXPECT_EQ(pool.block(), kept);
    EXPECT_EQ(pool.size(), 64U);
    EXPECT_EQ(pool.fill(), 1U);
}

}  // namespace
