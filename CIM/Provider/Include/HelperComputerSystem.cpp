#include "CIM/Provider/Include/HelperComputerSystem.h"

#include <KRM_TBLComputerSystem.h>
#include <KRM_TBLConcreteJob.h>
#include <cimple/cimple.h>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMCalls.h"
#include "util/StringMapper.h"

namespace provider {
namespace {

constexpr const char* kHelperSource = "CIM/Provider/Include/HelperComputerSystem";

/// Callers search for this place in the exception's text, so it must not follow the source.
constexpr int kNameIsNullLine = 17;

constexpr cimple::uint16 kJobStateRunning = 4;
constexpr cimple::uint16 kOperationalStatusOk = 2;
constexpr const char* kNeverRemoved = "22001231235959.999999+000";

/// Unsigned, so that any number of seconds has a result; a time before the epoch gives a huge one.
cimple::Datetime timestamp(unsigned long seconds, int utcOffsetMinutes) {
    return cimple::Datetime(static_cast<cimple::uint64>(seconds) * 1000000u, utcOffsetMinutes);
}

bool isAscii(const char* text) {
    while (*text > 0) {
        ++text;
    }
    return *text == 0;
}

}  // namespace

KOLMKey createCSKey(KOLMCalls* calls) {
    if (calls == nullptr) {
        traceAndThrow(BaseException(kHelperSource, __LINE__, "createCSKey(): calls is NULL"));
    }
    return KOLMKey(calls->getIdentificationCabinetNumber(), 0, 0);
}

cimple::Ref<cimple::KRM_TBLComputerSystem> createComputerSystemKeys(KOLMCalls* calls) {
    const KOLMKey key = createCSKey(calls);
    cimple::Ref<cimple::KRM_TBLComputerSystem> system(cimple::KRM_TBLComputerSystem::create(true));
    cimple::nullify_properties(system.ptr());
    system->Name = calls->getChassisSerialNumber(key);
    if (system->Name.null != 0) {
        traceAndThrow(
            BaseException(kHelperSource, kNameIsNullLine,
                          "createComputerSystemKeys(): KRM_TBLComputerSystem.Name is NULL"));
    }
    system->CreationClassName.set("KRM_TBLComputerSystem");
    return system;
}

cimple::Ref<cimple::KRM_TBLConcreteJob> createShutdownJob(
    const cimple::KRM_TBLComputerSystem* system) {
    cimple::String id("KRM:Host_RequestState-");
    if (system != nullptr && system->Name.null == 0) {
        id.append(system->Name.value);
    }
    id.append("-0");

    cimple::Ref<cimple::KRM_TBLConcreteJob> job(cimple::KRM_TBLConcreteJob::create(true));
    job->InstanceID.set(id);
    job->JobState.set(kJobStateRunning);
    job->Name.set(id);
    job->TimeBeforeRemoval.set(cimple::Datetime(kNeverRemoved));
    job->PercentComplete.set(0);
    job->OperationalStatus.set(cimple::Array_uint16(&kOperationalStatusOk, 1));
    job->DeleteOnCompletion.set(true);
    return job;
}

cimple::Datetime toDatetime(long seconds) {
    return timestamp(static_cast<unsigned long>(seconds), 0);
}

cimple::Datetime toDatetime(long seconds, int utcOffsetMinutes) {
    const int offsetSeconds = static_cast<int>(static_cast<unsigned int>(utcOffsetMinutes) * 60u);
    if (offsetSeconds >= seconds) {
        return toDatetime(seconds);
    }
    return timestamp(
        static_cast<unsigned long>(seconds) - static_cast<unsigned long>(offsetSeconds),
        utcOffsetMinutes);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param) -- callers are compiled against the signature
cimple::Datetime toDatetime(cimple::String text) {
    cimple::Datetime result;
    // The parser passes characters to isdigit() without converting them to unsigned.
    if (isAscii(text.c_str())) {
        result.set(text.c_str());
    }
    return result;
}

std::string StringToSTDSTRING(const cimple::String& text) {
    return CStringMapper::UTF8ToString(text.c_str());
}

cimple::String STDSTRINGToString(const std::string& text) {
    return cimple::String(CStringMapper::StringToUTF8(text.c_str()).c_str());
}

}  // namespace provider
