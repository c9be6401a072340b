// The provider as called by the framework.
#include "examples/provider/KRM_TBLComputerSystem_Provider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <vector>

#include "KRM_TBLConcreteJob.h"
#include "tests/examples/provider/SampleAgent.h"

namespace varnock::test {
namespace {

using cimple::KRM_TBLComputerSystem;
using cimple::Ref;
using System = Ref<KRM_TBLComputerSystem>;
using testing::HasSubstr;

/// The results of an enumeration: the instances, then the final call with the status.
struct Enumerated {
    std::vector<System> systems;
    int status = -1;
};

bool collect(cimple::Instance* instance, cimple::Enum_Instances_Status status, void* result) {
    auto* enumerated = static_cast<Enumerated*>(result);
    if (instance != nullptr) {
        enumerated->systems.emplace_back(instance);
    } else {
        enumerated->status = status;
    }
    return true;
}

/// For tests without an agent: a socket directory without sockets.
class ComputerSystemProvider : public testing::Test {
  protected:
    ComputerSystemProvider() { EXPECT_EQ(provider->load(), cimple::LOAD_OK); }
    ~ComputerSystemProvider() override { EXPECT_EQ(provider->unload(), cimple::UNLOAD_OK); }

    /// All properties of the model are null, as from a client without a property list.
    Enumerated enumerate() {
        const System model(KRM_TBLComputerSystem::create(true));
        Enumerated result;
        cimple::Enum_Instances_Handler<KRM_TBLComputerSystem> handler(collect, &result);
        cimple::Error::clear();
        const auto status = provider->enum_instances(model.ptr(), &handler);
        collect(nullptr, status, &result);
        return result;
    }
    int get(const System& model) {
        KRM_TBLComputerSystem* found = nullptr;
        const int status = provider->get_instance(model.ptr(), found);
        instance = System(found);
        return status;
    }
    /// A model with these keys that requests all other properties.
    static System named(const char* name) {
        System model(KRM_TBLComputerSystem::create());
        model->Name.set(name);
        model->CreationClassName.set("KRM_TBLComputerSystem");
        return model;
    }
    /// The same with the keys only, as for the target of a method call.
    static System keysOf(const char* name) {
        System keys = named(name);
        cimple::nullify_non_keys(keys.ptr());
        return keys;
    }
    int modify(const System& model, const System& wanted) {
        cimple::Error::clear();
        return provider->modify_instance(model.ptr(), wanted.ptr());
    }
    /// Calls the method like the module, with the object that holds its parameters.
    int changeState(const System& self, int state = -1, cimple::uint64 timeout = 0) {
        method.reset();
        method = cimple::KRM_TBLComputerSystem_RequestStateChange_method::create();
        cimple::nullify_properties(method.ptr());
        if (state >= 0) {
            method->RequestedState.set(static_cast<cimple::uint16>(state));
        }
        if (timeout != 0) {
            method->TimeoutPeriod.set(timeout);
        }
        cimple::Error::clear();
        return provider->RequestStateChange(self.ptr(), method->RequestedState, method->Job,
                                            method->TimeoutPeriod, method->return_value);
    }

    SampleAgent sample;
    std::unique_ptr<cimple::KRM_TBLComputerSystem_Provider> provider =
        std::make_unique<cimple::KRM_TBLComputerSystem_Provider>();
    System instance;
    Ref<cimple::KRM_TBLComputerSystem_RequestStateChange_method> method;
};

TEST_F(ComputerSystemProvider, LoadingAsksTheAgentForNothing) {
    EXPECT_EQ(sample.agent.transcript().size(), 0U);
}

TEST_F(ComputerSystemProvider, EnumeratesTheOneMachine) {
    const Enumerated result = enumerate();
    EXPECT_EQ(result.status, cimple::ENUM_INSTANCES_OK);
    ASSERT_EQ(result.systems.size(), 1U);
    const KRM_TBLComputerSystem& system = *result.systems[0];
    EXPECT_STREQ(system.Name.value.c_str(), "SN-7");
    EXPECT_STREQ(system.CreationClassName.value.c_str(), "KRM_TBLComputerSystem");
    EXPECT_STREQ(system.Description.value.c_str(), "Model T");
    EXPECT_STREQ(system.ElementName.value.c_str(), "host7");
    EXPECT_STREQ(system.PrimaryOwnerContact.value.c_str(), "ops@example.org");
    EXPECT_STREQ(system.Caption.value.c_str(), "Computer System");
    EXPECT_STREQ(system.NameFormat.value.c_str(), "Other");
    EXPECT_EQ(system.EnabledState.value, 2);
    EXPECT_EQ(system.TimeOfLastStateChange.value, cimple::Datetime(1'700'000'000'000'000ULL, 0));
    ASSERT_EQ(system.OtherIdentifyingInfo.value.size(), 2U);
    EXPECT_STREQ(system.OtherIdentifyingInfo.value[0].c_str(), "4c4c4544-0000");
    EXPECT_STREQ(system.IdentifyingDescriptions.value[0].c_str(), "UUID");
    EXPECT_STREQ(system.OtherIdentifyingInfo.value[1].c_str(), "rack 7");
    EXPECT_STREQ(system.IdentifyingDescriptions.value[1].c_str(), "Asset tag");
    EXPECT_TRUE(cimple::keys_non_null(&system));
    EXPECT_EQ(system.RequestedState.null, 1);
    EXPECT_EQ(result.systems[0].count(), 1U);
}

TEST_F(ComputerSystemProvider, WhatTheAgentDoesNotKnowIsNull) {
    sample.forget(0x0210);
    Enumerated result = enumerate();
    ASSERT_EQ(result.systems.size(), 1U);
    EXPECT_EQ(result.systems[0]->OtherIdentifyingInfo.value.size(), 1U);
    sample.forget(0x0204);
    result = enumerate();
    ASSERT_EQ(result.systems.size(), 1U);
    EXPECT_EQ(result.systems[0]->PrimaryOwnerContact.null, 1);
}

TEST_F(ComputerSystemProvider, GetsTheMachineByItsKeys) {
    EXPECT_EQ(get(named("SN-7")), cimple::GET_INSTANCE_OK);
    EXPECT_STREQ(instance->ElementName.value.c_str(), "host7");
    EXPECT_EQ(instance.count(), 1U);
    EXPECT_EQ(get(named("SN-8")), cimple::GET_INSTANCE_NOT_FOUND);
    EXPECT_FALSE(instance);
    System other = named("SN-7");
    other->CreationClassName.set("KRM_TBLOther");
    EXPECT_EQ(get(other), cimple::GET_INSTANCE_NOT_FOUND);
}

TEST_F(ComputerSystemProvider, MachinesAreNotMadeOrRemoved) {
    const System system = named("SN-9");
    EXPECT_EQ(provider->create_instance(System(system).ptr()), cimple::CREATE_INSTANCE_UNSUPPORTED);
    EXPECT_EQ(provider->delete_instance(system.ptr()), cimple::DELETE_INSTANCE_UNSUPPORTED);
    EXPECT_EQ(sample.agent.transcript().size(), 0U);
}

TEST_F(ComputerSystemProvider, SetsTheContact) {
    const System model = named("SN-7");
    System wanted = keysOf("SN-7");
    wanted->PrimaryOwnerContact.set("night shift");
    EXPECT_EQ(provider->modify_instance(model.ptr(), wanted.ptr()), cimple::MODIFY_INSTANCE_OK);
    const auto writes = sample.requests(0xE002);
    ASSERT_EQ(writes.size(), 1U);
    EXPECT_EQ(writes[0].ext, 0x0204U);
    EXPECT_EQ(writes[0].data, textData("night shift"));
}

TEST_F(ComputerSystemProvider, SetsNothingElse) {
    System model = keysOf("SN-7");
    model->ElementName.set("");
    System wanted = keysOf("SN-7");
    wanted->ElementName.set("other");
    wanted->PrimaryOwnerContact.set("night shift");
    EXPECT_EQ(provider->modify_instance(model.ptr(), wanted.ptr()),
              cimple::MODIFY_INSTANCE_UNSUPPORTED);
    wanted->PrimaryOwnerContact.clear();
    EXPECT_EQ(provider->modify_instance(named("SN-7").ptr(), wanted.ptr()),
              cimple::MODIFY_INSTANCE_UNSUPPORTED);
    EXPECT_EQ(provider->modify_instance(named("SN-8").ptr(), keysOf("SN-8").ptr()),
              cimple::MODIFY_INSTANCE_NOT_FOUND);
    EXPECT_EQ(sample.requests(0xE002).size(), 0U);
}

TEST_F(ComputerSystemProvider, ARequestThatCannotBeMetAsAWholeSetsNothing) {
    System model = keysOf("SN-7");
    model->PrimaryOwnerContact.set("");
    model->ElementName.set("");
    System wanted = keysOf("SN-7");
    wanted->PrimaryOwnerContact.set("night shift");
    wanted->ElementName.set("other");
    EXPECT_EQ(modify(model, wanted), cimple::MODIFY_INSTANCE_UNSUPPORTED);
    EXPECT_STREQ(cimple::Error::get(), "message=\"only PrimaryOwnerContact can be set\" cimErr=7");
    wanted->ElementName.clear();
    EXPECT_EQ(modify(model, wanted), cimple::MODIFY_INSTANCE_UNSUPPORTED);
    // A contact cannot be removed.
    model->ElementName.clear();
    wanted->PrimaryOwnerContact.clear();
    EXPECT_EQ(modify(model, wanted), cimple::MODIFY_INSTANCE_UNSUPPORTED);
    EXPECT_EQ(sample.requests(0xE002).size(), 0U);
}

TEST_F(ComputerSystemProvider, AnEqualValueIsNotAChange) {
    System model = keysOf("SN-7");
    model->PrimaryOwnerContact.set("");
    model->ElementName.set("");
    System wanted = keysOf("SN-7");
    wanted->PrimaryOwnerContact.set("night shift");
    wanted->ElementName.set("host7");
    EXPECT_EQ(modify(model, wanted), cimple::MODIFY_INSTANCE_OK);
    EXPECT_EQ(sample.requests(0xE002).size(), 1U);
    wanted->PrimaryOwnerContact.set("ops@example.org");
    EXPECT_EQ(modify(model, wanted), cimple::MODIFY_INSTANCE_OK);
    EXPECT_EQ(sample.requests(0xE002).size(), 1U);
    // An instance without a contact is also unchanged by a request for none.
    sample.forget(0x0204);
    EXPECT_EQ(modify(named("SN-7"), keysOf("SN-7")), cimple::MODIFY_INSTANCE_OK);
    EXPECT_EQ(sample.requests(0xE002).size(), 1U);
}

TEST_F(ComputerSystemProvider, AWholeInstanceSaysNothingOfNullsAndDefaults) {
    ASSERT_EQ(get(named("SN-7")), cimple::GET_INSTANCE_OK);
    instance->PrimaryOwnerContact.set("night shift");
    instance->TimeOfLastStateChange.clear();
    instance->EnabledState.set(5);
    instance->RequestedState.set(12);
    instance->EnabledDefault.set(2);
    EXPECT_EQ(modify(named("SN-7"), instance), cimple::MODIFY_INSTANCE_OK);
    EXPECT_EQ(sample.requests(0xE002).size(), 1U);
    instance->EnabledState.set(3);
    EXPECT_EQ(modify(named("SN-7"), instance), cimple::MODIFY_INSTANCE_UNSUPPORTED);
    EXPECT_EQ(sample.requests(0xE002).size(), 1U);
}

TEST_F(ComputerSystemProvider, AJobThatCannotBeKeptIsGivenAllTheSame) {
    ::setenv("CIMPLE_HOME", "/nonexistent/directory", 1);
    EXPECT_EQ(changeState(keysOf("SN-7"), 4), cimple::INVOKE_METHOD_OK);
    EXPECT_NE(method->Job, nullptr);
    EXPECT_EQ(sample.requests(0x0205).size(), 1U);
}

TEST_F(ComputerSystemProvider, ShutsDownAndGivesTheJob) {
    EXPECT_EQ(changeState(keysOf("SN-7"), 4), cimple::INVOKE_METHOD_OK);
    EXPECT_EQ(method->return_value.value, 4096U);
    EXPECT_EQ(method->return_value.null, 0);
    const cimple::KRM_TBLConcreteJob* job = cimple::cast<cimple::KRM_TBLConcreteJob*>(method->Job);
    ASSERT_NE(job, nullptr);
    EXPECT_STREQ(job->InstanceID.value.c_str(), "KRM:Host_RequestState-SN-7-0");
    EXPECT_EQ(job->JobState.value, 4);
    EXPECT_EQ(sample.requests(0x0205).size(), 1U);
    EXPECT_EQ(sample.requests(0x0206).size(), 0U);
}

TEST_F(ComputerSystemProvider, Restarts) {
    EXPECT_EQ(changeState(keysOf("SN-7"), 10), cimple::INVOKE_METHOD_OK);
    EXPECT_EQ(method->return_value.value, 4096U);
    EXPECT_NE(method->Job, nullptr);
    EXPECT_EQ(sample.requests(0x0206).size(), 1U);
    EXPECT_EQ(sample.requests(0x0205).size(), 0U);
}

TEST_F(ComputerSystemProvider, DoesNothingThatItWasNotAskedFor) {
    EXPECT_EQ(changeState(keysOf("SN-7")), cimple::INVOKE_METHOD_OK);
    EXPECT_EQ(method->return_value.value, 5U);
    EXPECT_EQ(changeState(keysOf("SN-7"), 4, 60'000'000), cimple::INVOKE_METHOD_OK);
    EXPECT_EQ(method->return_value.value, 4098U);
    EXPECT_EQ(changeState(keysOf("SN-7"), 3), cimple::INVOKE_METHOD_OK);
    EXPECT_EQ(method->return_value.value, 1U);
    EXPECT_EQ(method->Job, nullptr);
    EXPECT_EQ(changeState(keysOf("SN-8"), 4), cimple::INVOKE_METHOD_FAILED);
    EXPECT_STREQ(cimple::Error::get(), "message=\"there is no such computer system\"");
    EXPECT_EQ(method->return_value.null, 1);
    EXPECT_EQ(provider->SetPowerState(keysOf("SN-7").ptr(), {}, {}, method->return_value),
              cimple::INVOKE_METHOD_UNSUPPORTED);
    EXPECT_EQ(sample.requests(0x0205).size() + sample.requests(0x0206).size(), 0U);
}

TEST_F(ComputerSystemProvider, RefusedAccessIsAccessDenied) {
    sample.refuse(0xE204);
    const Enumerated result = enumerate();
    EXPECT_EQ(result.status, cimple::ENUM_INSTANCES_ACCESS_DENIED);
    EXPECT_EQ(result.systems.size(), 0U);
    EXPECT_THAT(cimple::Error::get(), HasSubstr("cimErr=2"));
    EXPECT_EQ(get(named("SN-7")), cimple::GET_INSTANCE_ACCESS_DENIED);
    EXPECT_FALSE(instance);
    EXPECT_EQ(changeState(keysOf("SN-7"), 4), cimple::INVOKE_METHOD_ACCESS_DENIED);
    sample.refuse(0xE002, 0x0204);
    System wanted = keysOf("SN-7");
    wanted->PrimaryOwnerContact.set("night shift");
    EXPECT_EQ(provider->modify_instance(named("SN-7").ptr(), wanted.ptr()),
              cimple::MODIFY_INSTANCE_ACCESS_DENIED);
    sample.refuse(0x0205);
    EXPECT_EQ(changeState(keysOf("SN-7"), 4), cimple::INVOKE_METHOD_ACCESS_DENIED);
    EXPECT_EQ(method->Job, nullptr);
    // An earlier refusal does not affect a client that is allowed now.
    sample.refuse(0);
    EXPECT_EQ(enumerate().status, cimple::ENUM_INSTANCES_OK);
}

TEST_F(ComputerSystemProvider, RefusedFromTheFirstRequestOnItWorksLater) {
    sample.refuse(0xE001, 0x020E);  // the time zone, which is read for the session
    EXPECT_EQ(enumerate().status, cimple::ENUM_INSTANCES_ACCESS_DENIED);
    sample.refuse(0);
    EXPECT_EQ(enumerate().status, cimple::ENUM_INSTANCES_OK);
}

TEST_F(ComputerSystemProvider, AMachineWithoutANameIsAFailure) {
    sample.forget(0x0600);
    EXPECT_EQ(enumerate().status, cimple::ENUM_INSTANCES_FAILED);
    EXPECT_THAT(cimple::Error::get(), HasSubstr("KRM_TBLComputerSystem.Name is NULL"));
    EXPECT_EQ(get(named("SN-7")), cimple::GET_INSTANCE_FAILED);
}

TEST_F(ComputerSystemProvider, AnAbsentAgentIsAFailureAtOnce) {
    sample.agent.stop();
    EXPECT_EQ(enumerate().status, cimple::ENUM_INSTANCES_FAILED);
    EXPECT_THAT(cimple::Error::get(),
                HasSubstr("the agent cannot be reached at " + sample.agent.requestSocket() +
                          ": No such file or directory"));
    EXPECT_EQ(get(named("SN-7")), cimple::GET_INSTANCE_FAILED);
    EXPECT_EQ(provider->modify_instance(named("SN-7").ptr(), keysOf("SN-7").ptr()),
              cimple::MODIFY_INSTANCE_FAILED);
    EXPECT_EQ(changeState(keysOf("SN-7"), 4), cimple::INVOKE_METHOD_FAILED);
    sample.agent.start();
    EXPECT_EQ(enumerate().status, cimple::ENUM_INSTANCES_OK);
}

TEST_F(ComputerSystemProvider, ASecondLifeOfTheProviderWorksAsTheFirst) {
    EXPECT_EQ(enumerate().status, cimple::ENUM_INSTANCES_OK);
    EXPECT_EQ(provider->unload(), cimple::UNLOAD_OK);
    provider = std::make_unique<cimple::KRM_TBLComputerSystem_Provider>();
    EXPECT_EQ(provider->load(), cimple::LOAD_OK);
    EXPECT_EQ(enumerate().status, cimple::ENUM_INSTANCES_OK);
}

}  // namespace
}  // namespace varnock::test
