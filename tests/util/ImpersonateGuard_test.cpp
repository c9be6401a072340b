#include "util/ImpersonateGuard.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

TEST(ImpersonateGuard, IsMadeOnPurposeOnly) {
    EXPECT_TRUE((std::is_constructible_v<ImpersonateGuard, bool>));
    EXPECT_FALSE((std::is_convertible_v<bool, ImpersonateGuard>));
    EXPECT_FALSE(std::is_default_constructible_v<ImpersonateGuard>);
    EXPECT_FALSE(std::is_polymorphic_v<ImpersonateGuard>);
}

TEST(ImpersonateGuard, StandsForOneScopeAlone) {
    EXPECT_FALSE(std::is_copy_constructible_v<ImpersonateGuard>);
    EXPECT_FALSE(std::is_copy_assignable_v<ImpersonateGuard>);
}

}  // namespace
