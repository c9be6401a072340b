#include "KRM_TBLLogEntryIndication_Provider.h"

#include <cimple/Error.h>

#include "AgentSession.h"
#include "Guarded.h"

namespace krm {
namespace {

cimple::KRM_TBLLogEntryIndication* indicationOf(const LogEntry& entry) {
    auto* indication = cimple::KRM_TBLLogEntryIndication::create(true);
    indication->IndicationTime.set(cimple::Datetime::now());
    indication->LogName.set(cimple::String(entry.logName));
    indication->SequenceNumber.set(entry.sequenceNumber);
    return indication;
}

}  // namespace
}  // namespace krm

CIMPLE_NAMESPACE_BEGIN

KRM_TBLLogEntryIndication_Provider::KRM_TBLLogEntryIndication_Provider() {}

KRM_TBLLogEntryIndication_Provider::~KRM_TBLLogEntryIndication_Provider() {
    disable_indications();
}

Load_Status KRM_TBLLogEntryIndication_Provider::load() {
    return LOAD_OK;
}

Unload_Status KRM_TBLLogEntryIndication_Provider::unload() {
    disable_indications();
    return UNLOAD_OK;
}

Enable_Indications_Status KRM_TBLLogEntryIndication_Provider::enable_indications(
    Indication_Handler<KRM_TBLLogEntryIndication>* indication_handler) {
    disable_indications();
    _indication_handler.reset(indication_handler);
    return krm::guarded<Enable_Indications_Status>(provider::toEnableIndicationsStatus, [&] {
        _events = &krm::agentEvents();
        _events->setListener(&_relay);
        const auto deliver = [handler = indication_handler](const krm::LogEntry& entry) {
            handler->handle(krm::indicationOf(entry));
        };
        if (_relay.start(deliver) && _events->enableEvents()) return ENABLE_INDICATIONS_OK;
        end();
        CIMPLE_ERROR(("the agent's events cannot be had"));
        return ENABLE_INDICATIONS_FAILED;
    });
}

Disable_Indications_Status KRM_TBLLogEntryIndication_Provider::disable_indications() {
    return krm::guarded<Disable_Indications_Status>(provider::toDisableIndicationsStatus, [&] {
        end();
        _indication_handler.reset();
        return DISABLE_INDICATIONS_OK;
    });
}

// Events first: the listener may be called until they have ended.
void KRM_TBLLogEntryIndication_Provider::end() {
    if (_events != nullptr) {
        _events->disableEvents();
        _events->setListener(nullptr);
        _events = nullptr;
    }
    _relay.stop();
}

CIMPLE_NAMESPACE_END
