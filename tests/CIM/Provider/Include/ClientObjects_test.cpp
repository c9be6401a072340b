#include <gtest/gtest.h>

#include "CIM/Provider/Include/CIMKolmClient.h"
#include "CIM/Provider/Include/KOLMClient.h"

namespace {

/// A static object of the program. Accounts are checked by default; before its construction the
/// client object is all zero.
const bool kSwitchIsBuilt = KOLMSwitch.AccountCheck();

TEST(ClientObjects, AreBuiltBeforeTheProgramsOwnObjects) {
    EXPECT_TRUE(kSwitchIsBuilt);
}

TEST(ClientObjects, ConnectToNothingWhenTheyAreBuilt) {
    EXPECT_FALSE(KOLMSwitch.IsAttached());
    EXPECT_EQ(KOLMSwitch.HostName(), "");
}

TEST(ClientObjects, LocalClientWorksOnTheSwitch) {
    provider::KOLMEvents* events = &KOLMSwitch;
    EXPECT_EQ(provider::LocalKolmClient.kolmEvents(), events);
}

}  // namespace
