#pragma once

#include <cimple/cimple.h>

#include <functional>
#include <memory>

#include "EventFeed.h"
#include "KRM_TBLLogEntryIndication.h"

CIMPLE_NAMESPACE_BEGIN

/// Converts the log events of the management agent to indications while there is a subscription,
/// even if the agent is absent: a gap in the events is reported by an indication as well.
///
/// Thread-safety: the framework calls one operation at a time. Indications are delivered on a
/// separate thread.
class KRM_TBLLogEntryIndication_Provider {
  public:
    typedef KRM_TBLLogEntryIndication Class;
    typedef std::function<std::unique_ptr<krm::EventSource>()> Make_Source;

    KRM_TBLLogEntryIndication_Provider();
    /// Uses another source of events than the agent's channel.
    explicit KRM_TBLLogEntryIndication_Provider(Make_Source make_source);
    ~KRM_TBLLogEntryIndication_Provider();

    Load_Status load();
    Unload_Status unload();

    /// Takes ownership of the handler, even on failure. An absent agent is not a failure. From now
    /// on the CIM server may not unload the provider.
    Enable_Indications_Status enable_indications(
        Indication_Handler<KRM_TBLLogEntryIndication>* indication_handler);
    /// Frees the handler. No indications are delivered after it returns.
    Disable_Indications_Status disable_indications();

  private:
    Make_Source _make_source;
    std::unique_ptr<Indication_Handler<KRM_TBLLogEntryIndication>> _indication_handler;
    std::unique_ptr<krm::EventFeed> _feed;  ///< while indications are enabled
    /*@END@*/
};

CIMPLE_NAMESPACE_END
