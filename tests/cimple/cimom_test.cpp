#include <cimple/cimom.h>
#include <gtest/gtest.h>

TEST(Cimom, KeepsWhetherTheProviderMayBeUnloaded) {
    EXPECT_TRUE(cimple::detail::mayUnload());
    cimple::cimom::allow_unload(false);
    EXPECT_FALSE(cimple::detail::mayUnload());
    cimple::cimom::allow_unload(true);
    EXPECT_TRUE(cimple::detail::mayUnload());
}
