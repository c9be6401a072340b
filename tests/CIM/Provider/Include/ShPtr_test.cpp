#include "CIM/Provider/Include/ShPtr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/FailingAllocation.h"

namespace {

struct Base {
    virtual ~Base() = default;
};

struct Counted final : Base {
    explicit Counted(std::atomic<int>& alive) : alive_(alive) { ++alive_; }
    ~Counted() override { --alive_; }

    int value = 7;

  private:
    std::atomic<int>& alive_;
};

TEST(ShPtr, DefaultConstructedIsNull) {
    const ShPtr<Base> empty;
    EXPECT_EQ(empty.get(), nullptr);
    EXPECT_FALSE(empty);
}

TEST(ShPtr, OwnsANullPointerToo) {
    const ShPtr<Base> null(nullptr);
    const ShPtr<Base> copy = null;
    EXPECT_EQ(copy.get(), nullptr);
    EXPECT_FALSE(copy);
}

TEST(ShPtr, GivesAccessToTheObject) {
    std::atomic<int> alive = 0;
    auto* object = new Counted(alive);
    const ShPtr<Counted> pointer(object);
    EXPECT_EQ(pointer.get(), object);
    EXPECT_EQ(pointer->value, 7);
    EXPECT_EQ(&*pointer, object);
    EXPECT_TRUE(pointer);
}

TEST(ShPtr, LastOwnerDeletesThroughTheVirtualDestructor) {
    std::atomic<int> alive = 0;
    {
        ShPtr<Base> first(new Counted(alive));
        {
            const ShPtr<Base> second = first;
            first = ShPtr<Base>();
            EXPECT_EQ(alive, 1);
            EXPECT_NE(second.get(), nullptr);
        }
        EXPECT_EQ(alive, 0);
    }
    EXPECT_EQ(alive, 0);
}

TEST(ShPtr, AssignmentReleasesWhatItHeld) {
    std::atomic<int> alive = 0;
    ShPtr<Base> left(new Counted(alive));
    ShPtr<Base> right(new Counted(alive));
    left = right;
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(left.get(), right.get());
}

TEST(ShPtr, AssignmentToItselfKeepsTheObject) {
    std::atomic<int> alive = 0;
    ShPtr<Base> pointer(new Counted(alive));
    const ShPtr<Base>& same = pointer;
    pointer = same;
    EXPECT_EQ(alive, 1);
    EXPECT_NE(pointer.get(), nullptr);
}

TEST(ShPtr, MovingLeavesNullBehind) {
    std::atomic<int> alive = 0;
    ShPtr<Base> source(new Counted(alive));
    Base* object = source.get();
    ShPtr<Base> target = std::move(source);
    EXPECT_EQ(target.get(), object);
    EXPECT_EQ(source.get(), nullptr);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(alive, 1);
}

TEST(ShPtr, DeletesTheObjectWhenItsRecordCannotBeAllocated) {
    std::atomic<int> alive = 0;
    Base* object = new Counted(alive);
    const varnock::test::FailingAllocation failure(1);
    EXPECT_THROW(ShPtr<Base>{object}, std::bad_alloc);
    EXPECT_EQ(alive, 0);
}

TEST(ShPtr, DoesNotConvertFromAPlainPointerByItself) {
    EXPECT_FALSE((std::is_convertible_v<Base*, ShPtr<Base>>));
    EXPECT_TRUE((std::is_constructible_v<ShPtr<Base>, Base*>));
}

TEST(ShPtr, CopiesInManyThreadsShareOneCount) {
    std::atomic<int> alive = 0;
    {
        const ShPtr<Counted> shared(new Counted(alive));
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([shared] {
                for (int turn = 0; turn < 1000; ++turn) {
                    ShPtr<Counted> copy = shared;
                    const ShPtr<Counted> moved = std::move(copy);
                    EXPECT_EQ(moved->value, 7);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(alive, 1);
    }
    EXPECT_EQ(alive, 0);
}

}  // namespace
