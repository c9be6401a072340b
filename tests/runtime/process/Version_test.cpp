#include "runtime/Version.h"

#include <gtest/gtest.h>

namespace {

TEST(Version, NamesProductAndApplication) {
    EXPECT_STREQ(TovQXObjectProductName, "Varnock CIM Provider Linux");
    EXPECT_STREQ(TovQXObjectVendor, "Varnock");
    EXPECT_STREQ(TovQXObjectVersion, "7.00-10");
    EXPECT_STREQ(TovQXObjectMilestone, " ");
    EXPECT_STREQ(TovQXObjectLegalCopyright, "Copyright (C) Varnock");
    EXPECT_STREQ(TovQXObjectName, "CIM_Provider");
    EXPECT_STREQ(TovQXObjectDate, "2014/10/27-16:33");
    EXPECT_STREQ(TovQXObjectDescription, "Varnock CIM_Provider");
}

}  // namespace
