#include "util/ImpersonateGuard.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

TEST(ImpersonateGuard, StandsAroundAScopeWithEitherFlag) {
    const ImpersonateGuard with(true);
    const ImpersonateGuard without(false);
}

TEST(ImpersonateGuard, IsMadeOnPurposeOnly) {
    EXPECT_FALSE((std::is_convertible_v<bool, ImpersonateGuard>));
    EXPECT_FALSE(std::is_polymorphic_v<ImpersonateGuard>);
}

}  // namespace
