#include <gtest/gtest.h>

#include "CIM/Provider/Include/CIMKolmClient.h"
#include "CIM/Provider/Include/KOLMClient.h"

namespace {

// An object of the program itself. Accounts are checked by default, and an object that is not built
// yet is all zero.
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
