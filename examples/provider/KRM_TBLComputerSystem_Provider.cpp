#include "KRM_TBLComputerSystem_Provider.h"

#include <cimple/log.h>

#include <exception>

#include "AgentSession.h"
#include "CIM/Provider/Include/HelperComputerSystem.h"
#include "Guarded.h"
#include "Modification.h"
#include "ShutdownJob.h"

namespace krm {
namespace {

using cimple::KRM_TBLComputerSystem;
using provider::KOLMCalls;

/// Numbers of the CIM schema.
constexpr cimple::uint16 kEnabled = 2;
constexpr cimple::uint16 kShutDown = 4;
constexpr cimple::uint16 kReboot = 10;
constexpr cimple::uint32 kNotSupported = 1;
constexpr cimple::uint32 kInvalidParameter = 5;
constexpr cimple::uint32 kJobStarted = 4096;
constexpr cimple::uint32 kTimeoutNotSupported = 4098;

void identify(KRM_TBLComputerSystem& system, KOLMCalls& calls) {
    const KOLMCalls::Text texts[] = {calls.getSystemUUID(), calls.getConfServerAssetTag()};
    const char* const names[] = {"UUID", "Asset tag"};
    cimple::Array_String known;
    cimple::Array_String knownNames;
    for (size_t i = 0; i < 2; ++i) {
        if (texts[i].null == 0) {
            known.append(texts[i].value);
            knownNames.append(cimple::String(names[i]));
        }
    }
    if (known.size() != 0) {
        system.OtherIdentifyingInfo.set(known);
        system.IdentifyingDescriptions.set(knownNames);
    }
}

/// An instance of this module's class with the keys from the library.
cimple::Ref<KRM_TBLComputerSystem> keysOfSystem(KOLMCalls& calls) {
    const cimple::Ref<KRM_TBLComputerSystem> made = provider::createComputerSystemKeys(&calls);
    cimple::Ref<KRM_TBLComputerSystem> system(KRM_TBLComputerSystem::create(true));
    cimple::nullify_properties(system.ptr());
    system->Name = made->Name;
    system->CreationClassName = made->CreationClassName;
    return system;
}

cimple::Ref<KRM_TBLComputerSystem> readSystem(KOLMCalls& calls) {
    cimple::Ref<KRM_TBLComputerSystem> system = keysOfSystem(calls);
    const provider::KOLMKey key = provider::createCSKey(&calls);
    system->Caption.set("Computer System");
    system->Description = calls.getChassisModel(key);
    system->ElementName = calls.getConfSystemName();
    system->NameFormat.set("Other");
    system->PrimaryOwnerContact = calls.getConfSystemContact();
    system->EnabledState.set(kEnabled);
    identify(*system, calls);
    const cimple::uint32 bootTime = calls.getBootTime(key);
    if (bootTime != 0) {
        system->TimeOfLastStateChange.set(provider::toDatetime(static_cast<long>(bootTime)));
    }
    return system;
}

/// The requested contact. Throws if the request would change anything else.
cimple::Property<cimple::String> wantedContact(const KRM_TBLComputerSystem& now,
                                               const KRM_TBLComputerSystem* model,
                                               const KRM_TBLComputerSystem* instance) {
    using System = KRM_TBLComputerSystem;
    cimple::Ref<System> wanted = modified(now, model, instance, &System::EnabledState,
                                          &System::RequestedState, &System::EnabledDefault);
    cimple::Property<cimple::String> contact = wanted->PrimaryOwnerContact;
    wanted->PrimaryOwnerContact = now.PrimaryOwnerContact;
    const bool isTakenAway = contact.null && !now.PrimaryOwnerContact.null;
    if (isTakenAway || !cimple::identical(wanted.ptr(), &now)) {
        provider::traceAndThrow(provider::CimErrorException(__FILE__, __LINE__,
                                                            "only PrimaryOwnerContact can be set",
                                                            provider::CIM_ERR_NOT_SUPPORTED));
    }
    return contact;
}

/// False for a state that the agent cannot establish.
bool requestState(cimple::uint16 state, KOLMCalls& calls) {
    switch (state) {
        case kShutDown:
            calls.doRequestShutdownAndOff();
            return true;
        case kReboot:
            calls.doRequestShutdownAndReset();
            return true;
        default:
            return false;
    }
}

/// The request has already been sent, so it does not fail if the job cannot be stored.
cimple::CIM_ConcreteJob* jobOf(const KRM_TBLComputerSystem& system) {
    const cimple::uint64 now = timeNow();
    const ShutdownJob job = ShutdownJob::ofRequest(system.Name.value, now);
    try {
        keepJob(job);
    } catch (const std::exception& failure) {
        using namespace cimple;  // the macro names its helpers without a namespace
        CIMPLE_WARN(("%s", shortened(failure.what()).c_str()));
    }
    return cimple::cast<cimple::CIM_ConcreteJob*>(job.instance(now, 0).steal());
}

}  // namespace
}  // namespace krm

CIMPLE_NAMESPACE_BEGIN

KRM_TBLComputerSystem_Provider::KRM_TBLComputerSystem_Provider() {}

KRM_TBLComputerSystem_Provider::~KRM_TBLComputerSystem_Provider() {}

Load_Status KRM_TBLComputerSystem_Provider::load() {
    return LOAD_OK;
}

Unload_Status KRM_TBLComputerSystem_Provider::unload() {
    return UNLOAD_OK;
}

Get_Instance_Status KRM_TBLComputerSystem_Provider::get_instance(const KRM_TBLComputerSystem* model,
                                                                 KRM_TBLComputerSystem*& instance) {
    return krm::guarded<Get_Instance_Status>(provider::toGetInstanceStatus, [&] {
        Ref<KRM_TBLComputerSystem> system = krm::readSystem(krm::agentCalls());
        if (!key_eq(model, system.ptr())) {
            return GET_INSTANCE_NOT_FOUND;
        }
        instance = system.steal();
        return GET_INSTANCE_OK;
    });
}

Enum_Instances_Status KRM_TBLComputerSystem_Provider::enum_instances(
    const KRM_TBLComputerSystem*, Enum_Instances_Handler<KRM_TBLComputerSystem>* handler) {
    return krm::guarded<Enum_Instances_Status>(provider::toEnumInstancesStatus, [&] {
        handler->handle(krm::readSystem(krm::agentCalls()).steal());
        return ENUM_INSTANCES_OK;
    });
}

Create_Instance_Status KRM_TBLComputerSystem_Provider::create_instance(KRM_TBLComputerSystem*) {
    return CREATE_INSTANCE_UNSUPPORTED;
}

Delete_Instance_Status KRM_TBLComputerSystem_Provider::delete_instance(
    const KRM_TBLComputerSystem*) {
    return DELETE_INSTANCE_UNSUPPORTED;
}

Modify_Instance_Status KRM_TBLComputerSystem_Provider::modify_instance(
    const KRM_TBLComputerSystem* model, const KRM_TBLComputerSystem* instance) {
    return krm::guarded<Modify_Instance_Status>(provider::toModifyInstanceStatus, [&] {
        provider::KOLMCalls& calls = krm::agentCalls();
        Ref<KRM_TBLComputerSystem> system = krm::readSystem(calls);
        if (!key_eq(instance, system.ptr())) {
            return MODIFY_INSTANCE_NOT_FOUND;
        }
        const Property<String> contact = krm::wantedContact(*system, model, instance);
        if (!contact.null && contact != system->PrimaryOwnerContact) {
            calls.setConfSystemContact(provider::createCSKey(&calls), contact.value);
        }
        return MODIFY_INSTANCE_OK;
    });
}

Invoke_Method_Status KRM_TBLComputerSystem_Provider::RequestStateChange(
    const KRM_TBLComputerSystem* self, const Property<uint16>& RequestedState,
    CIM_ConcreteJob*& Job, const Property<Datetime>& TimeoutPeriod,
    Property<uint32>& return_value) {
    return krm::guarded<Invoke_Method_Status>(provider::toInvokeMethodStatus, [&] {
        provider::KOLMCalls& calls = krm::agentCalls();
        const Ref<KRM_TBLComputerSystem> system = krm::keysOfSystem(calls);
        if (!key_eq(self, system.ptr())) {
            provider::traceAndThrow(
                provider::BaseException(__FILE__, __LINE__, "there is no such computer system"));
        }
        if (RequestedState.null) {
            return_value.set(krm::kInvalidParameter);
        } else if (!TimeoutPeriod.null && TimeoutPeriod.value.usec() != 0) {
            return_value.set(krm::kTimeoutNotSupported);
        } else if (!krm::requestState(RequestedState.value, calls)) {
            return_value.set(krm::kNotSupported);
        } else {
            Job = krm::jobOf(*system);
            return_value.set(krm::kJobStarted);
        }
        return INVOKE_METHOD_OK;
    });
}

Invoke_Method_Status KRM_TBLComputerSystem_Provider::SetPowerState(const KRM_TBLComputerSystem*,
                                                                   const Property<uint32>&,
                                                                   const Property<Datetime>&,
                                                                   Property<uint32>&) {
    return INVOKE_METHOD_UNSUPPORTED;
}

CIMPLE_NAMESPACE_END
