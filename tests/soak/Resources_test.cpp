#include "tests/soak/Resources.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>

#include "tests/support/Sanitizers.h"

namespace varnock::soak {
namespace {

TEST(LeakOfResources, IsNotSeenInNothing) {
    const Resources first = resourcesNow();
    EXPECT_EQ(leakBetween(first, resourcesNow()), std::nullopt);
    EXPECT_GT(peakMemory(), 0u);
}

TEST(LeakOfResources, OfADescriptorIsNamed) {
    const Resources first = resourcesNow();
    const int leaked = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(leakBetween(first, resourcesNow()), "descriptors: /dev/null");
    close(leaked);
    EXPECT_EQ(leakBetween(first, resourcesNow()), std::nullopt);
}

TEST(LeakOfResources, OfMemoryIsSeen) {
    if (test::kSanitized) {
        GTEST_SKIP() << "the sanitizers replace the allocator";
    }
    const Resources first = resourcesNow();
    const auto leaked = std::make_unique<char[]>(kMoreHeap + 4096);
    const auto found = leakBetween(first, resourcesNow());
    ASSERT_TRUE(found.has_value());
    EXPECT_TRUE(found->ends_with(" bytes of the heap")) << *found;
    EXPECT_NE(leaked, nullptr);
}

}  // namespace
}  // namespace varnock::soak
