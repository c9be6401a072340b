// Tests the sample provider without a server: each test has an agent of its own in this process.
#include <gtest/gtest.h>

#include <vector>

#include "KRM_TBLComputerSystem_Provider.h"
#include "agent/testing/AgentFixture.h"

namespace {

using cimple::KRM_TBLComputerSystem;
using System = cimple::Ref<KRM_TBLComputerSystem>;

class ComputerSystem : public varnock::AgentFixture {
  protected:
    /// Enumerates the systems as a CIM server does, and keeps the status.
    std::vector<System> systems() {
        std::vector<System> found;
        cimple::Enum_Instances_Handler<KRM_TBLComputerSystem> handler(collect, &found);
        const System everything(KRM_TBLComputerSystem::create(true));
        status = provider.enum_instances(everything.ptr(), &handler);
        return found;
    }

    cimple::KRM_TBLComputerSystem_Provider provider;
    cimple::Enum_Instances_Status status = cimple::ENUM_INSTANCES_OK;

  private:
    static bool collect(cimple::Instance* instance, cimple::Enum_Instances_Status, void* found) {
        if (instance != nullptr) {
            static_cast<std::vector<System>*>(found)->emplace_back(instance);
        }
        return true;
    }
};

TEST_F(ComputerSystem, HasTheNameOfTheMachine) {
    agent().set("system.name", "db7");
    const std::vector<System> found = systems();
    ASSERT_EQ(found.size(), 1U);
    EXPECT_STREQ(found[0]->ElementName.value.c_str(), "db7");
}

TEST_F(ComputerSystem, ChangesTheContactOfTheMachine) {
    std::vector<System> found = systems();
    ASSERT_EQ(found.size(), 1U);
    found[0]->PrimaryOwnerContact.set("night shift");
    EXPECT_EQ(provider.modify_instance(found[0].ptr(), found[0].ptr()), cimple::MODIFY_INSTANCE_OK);
    EXPECT_EQ(agent().get("system.contact"), "night shift");
}

TEST_F(ComputerSystem, IsDeniedIfTheAgentRefusesAccess) {
    agent().fault("getSystemUUID: status 0x00040009");
    EXPECT_TRUE(systems().empty());
    EXPECT_EQ(status, cimple::ENUM_INSTANCES_ACCESS_DENIED);
    agent().clearFaults();
    EXPECT_EQ(systems().size(), 1U);
}

TEST_F(ComputerSystem, IsAFailureWhileThereIsNoAgent) {
    agent().stop();
    EXPECT_TRUE(systems().empty());
    EXPECT_EQ(status, cimple::ENUM_INSTANCES_FAILED);
}

}  // namespace
