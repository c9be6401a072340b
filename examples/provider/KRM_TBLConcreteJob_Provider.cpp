#include "KRM_TBLConcreteJob_Provider.h"

#include <optional>

#include "AgentSession.h"
#include "CIM/Provider/Include/HelperComputerSystem.h"
#include "Guarded.h"
#include "Modification.h"
#include "ShutdownJob.h"

namespace krm {
namespace {

using cimple::KRM_TBLConcreteJob;

/// 0 if the agent is absent or does not know it.
cimple::uint32 bootTime() {
    try {
        provider::KOLMCalls& calls = agentCalls();
        return calls.getBootTime(provider::createCSKey(&calls));
    } catch (const provider::CimErrorException&) {
        throw;
    } catch (const provider::BaseException&) {
        return 0;
    }
}

/// As in the library's mappings of the other operations.
cimple::uint32 toDeleteInstanceStatus(provider::CimError error) {
    return error == provider::CIM_ERR_ACCESS_DENIED ? cimple::DELETE_INSTANCE_ACCESS_DENIED
                                                    : cimple::DELETE_INSTANCE_FAILED;
}

/// The stored job, and its current instance.
struct Found {
    ShutdownJob job;
    cimple::Ref<KRM_TBLConcreteJob> instance;
};

std::optional<Found> find() {
    const std::optional<ShutdownJob> job = lastJob();
    if (!job) {
        return std::nullopt;
    }
    const cimple::uint64 now = timeNow();
    const cimple::uint32 booted = bootTime();
    if (job->isRemoved(now, booted)) {
        return std::nullopt;
    }
    return Found{*job, job->instance(now, booted)};
}

std::optional<Found> find(const KRM_TBLConcreteJob* keys) {
    std::optional<Found> found = find();
    return found && cimple::key_eq(keys, found->instance.ptr()) ? found : std::nullopt;
}

/// The modified job. Throws if the request would change other properties.
ShutdownJob changed(Found& found, const KRM_TBLConcreteJob* model,
                    const KRM_TBLConcreteJob* instance) {
    using Job = KRM_TBLConcreteJob;
    const cimple::Ref<Job> wanted =
        modified(*found.instance, model, instance, &Job::JobRunTimes, &Job::TimeBeforeRemoval);
    found.instance->DeleteOnCompletion = wanted->DeleteOnCompletion;
    found.instance->TimeBeforeRemoval = wanted->TimeBeforeRemoval;
    if (wanted->DeleteOnCompletion.null || wanted->TimeBeforeRemoval.null ||
        !cimple::identical(wanted.ptr(), found.instance.ptr())) {
        provider::traceAndThrow(provider::CimErrorException(
            __FILE__, __LINE__, "only DeleteOnCompletion and TimeBeforeRemoval can be set",
            provider::CIM_ERR_NOT_SUPPORTED));
    }
    ShutdownJob job = found.job;
    job.deleteOnCompletion = wanted->DeleteOnCompletion;
    job.timeBeforeRemoval = wanted->TimeBeforeRemoval;
    return job;
}

}  // namespace
}  // namespace krm

CIMPLE_NAMESPACE_BEGIN

KRM_TBLConcreteJob_Provider::KRM_TBLConcreteJob_Provider() {}

KRM_TBLConcreteJob_Provider::~KRM_TBLConcreteJob_Provider() {}

Load_Status KRM_TBLConcreteJob_Provider::load() {
    return LOAD_OK;
}

Unload_Status KRM_TBLConcreteJob_Provider::unload() {
    return UNLOAD_OK;
}

Get_Instance_Status KRM_TBLConcreteJob_Provider::get_instance(const KRM_TBLConcreteJob* model,
                                                              KRM_TBLConcreteJob*& instance) {
    return krm::guarded<Get_Instance_Status>(provider::toGetInstanceStatus, [&] {
        std::optional<krm::Found> found = krm::find(model);
        if (!found) {
            return GET_INSTANCE_NOT_FOUND;
        }
        instance = found->instance.steal();
        return GET_INSTANCE_OK;
    });
}

Enum_Instances_Status KRM_TBLConcreteJob_Provider::enum_instances(
    const KRM_TBLConcreteJob*, Enum_Instances_Handler<KRM_TBLConcreteJob>* handler) {
    return krm::guarded<Enum_Instances_Status>(provider::toEnumInstancesStatus, [&] {
        std::optional<krm::Found> found = krm::find();
        if (found) {
            handler->handle(found->instance.steal());
        }
        return ENUM_INSTANCES_OK;
    });
}

Create_Instance_Status KRM_TBLConcreteJob_Provider::create_instance(KRM_TBLConcreteJob*) {
    return CREATE_INSTANCE_UNSUPPORTED;
}

Delete_Instance_Status KRM_TBLConcreteJob_Provider::delete_instance(
    const KRM_TBLConcreteJob* instance) {
    return krm::guarded<Delete_Instance_Status>(krm::toDeleteInstanceStatus, [&] {
        const std::optional<krm::Found> found = krm::find(instance);
        if (!found || !krm::replaceJob(found->job, std::nullopt)) {
            return DELETE_INSTANCE_NOT_FOUND;
        }
        return DELETE_INSTANCE_OK;
    });
}

Modify_Instance_Status KRM_TBLConcreteJob_Provider::modify_instance(
    const KRM_TBLConcreteJob* model, const KRM_TBLConcreteJob* instance) {
    return krm::guarded<Modify_Instance_Status>(provider::toModifyInstanceStatus, [&] {
        std::optional<krm::Found> found = krm::find(instance);
        if (!found) {
            return MODIFY_INSTANCE_NOT_FOUND;
        }
        const krm::ShutdownJob job = krm::changed(*found, model, instance);
        return krm::replaceJob(found->job, job) ? MODIFY_INSTANCE_OK : MODIFY_INSTANCE_NOT_FOUND;
    });
}

Invoke_Method_Status KRM_TBLConcreteJob_Provider::KillJob(const KRM_TBLConcreteJob*,
                                                          const Property<boolean>&,
                                                          Property<uint32>&) {
    return INVOKE_METHOD_UNSUPPORTED;
}

Invoke_Method_Status KRM_TBLConcreteJob_Provider::RequestStateChange(const KRM_TBLConcreteJob*,
                                                                     const Property<uint16>&,
                                                                     const Property<Datetime>&,
                                                                     Property<uint32>&) {
    return INVOKE_METHOD_UNSUPPORTED;
}

CIMPLE_NAMESPACE_END
