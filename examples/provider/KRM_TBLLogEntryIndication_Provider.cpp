#include "KRM_TBLLogEntryIndication_Provider.h"

#include <cimple/cimom.h>

#include <utility>

#include "Guarded.h"

namespace krm {
namespace {

using cimple::KRM_TBLLogEntryIndication;

void describe(const LogEvent& event, KRM_TBLLogEntryIndication& indication) {
    switch (event.kind) {
        case LogEvent::entry:
            indication.LogName.set(event.logName);
            indication.SequenceNumber.set(event.number);
            break;
        case LogEvent::agentUnreachable:
            indication.Gap.set("Agent unreachable");
            break;
        case LogEvent::agentReachable:
            indication.Gap.set("Agent reachable");
            break;
        case LogEvent::entriesLost:
            indication.Gap.set("Entries lost");
            if (event.number != 0) {
                indication.LostEntries.set(event.number);
            }
            break;
    }
}

KRM_TBLLogEntryIndication* indicationOf(const LogEvent& event) {
    cimple::Ref<KRM_TBLLogEntryIndication> indication(KRM_TBLLogEntryIndication::create(true));
    indication->IndicationTime.set(cimple::Datetime::now());
    describe(event, *indication);
    return indication.steal();
}

}  // namespace
}  // namespace krm

CIMPLE_NAMESPACE_BEGIN

KRM_TBLLogEntryIndication_Provider::KRM_TBLLogEntryIndication_Provider()
    : KRM_TBLLogEntryIndication_Provider([] { return std::make_unique<krm::EventSource>(); }) {}

KRM_TBLLogEntryIndication_Provider::KRM_TBLLogEntryIndication_Provider(Make_Source make_source)
    : _make_source(std::move(make_source)) {}

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
        auto feed = std::make_unique<krm::EventFeed>(_make_source());
        const bool started = feed->start([indication_handler](const krm::LogEvent& event) {
            indication_handler->handle(krm::indicationOf(event));
        });
        if (!started) {
            provider::traceAndThrow(
                provider::BaseException(__FILE__, __LINE__, "there can be no thread"));
        }
        _feed = std::move(feed);
        cimom::allow_unload(false);
        return ENABLE_INDICATIONS_OK;
    });
}

Disable_Indications_Status KRM_TBLLogEntryIndication_Provider::disable_indications() {
    return krm::guarded<Disable_Indications_Status>(provider::toDisableIndicationsStatus, [&] {
        if (_feed) {
            _feed.reset();
            cimom::allow_unload(true);
        }
        _indication_handler.reset();
        return DISABLE_INDICATIONS_OK;
    });
}

CIMPLE_NAMESPACE_END
