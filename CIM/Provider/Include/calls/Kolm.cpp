#include "CIM/Provider/Include/calls/Kolm.h"

#include "CIM/Provider/Include/KOLMClient.h"
#include "CIM/Provider/Include/ProviderTrace.h"
#include "runtime/threads/Cancellation.h"

namespace varnock::calls {

Kolm::Kolm(provider::KOLMClient* client) : engine_(client) {
    traceAt(5, VARNOCK_TRACE_TAG "Kolm::Kolm()");
    const Setting<sint32> hours = Kolm::getConfTimeZone();
    timeZoneMinutes_ = hours.null ? 0 : static_cast<uint32>(hours.value) * 60;
}

Kolm::~Kolm() {
    const CancellationGuard uncancelled;
    traceAt(5, VARNOCK_TRACE_TAG "Kolm::~Kolm()");
}

int Kolm::passThroughRequest(SipJson& record) {
    try {
        return engine_.request(record);
    } catch (const std::exception&) {
        return provider::KOLM_FAILED;
    }
}

}  // namespace varnock::calls
