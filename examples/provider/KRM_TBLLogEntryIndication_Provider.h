#pragma once

#include <cimple/cimple.h>

#include <functional>
#include <memory>

#include "EventFeed.h"
#include "KRM_TBLLogEntryIndication.h"

CIMPLE_NAMESPACE_BEGIN

/// Turns the log events of the management agent into indications, for as long as somebody has
/// subscribed to them, whether the agent is there or not: what a client may have missed is an
/// indication as well.
///
/// Thread-safety: the framework calls one operation at a time. Indications are delivered on a
/// thread of their own.
class KRM_TBLLogEntryIndication_Provider {
  public:
    typedef KRM_TBLLogEntryIndication Class;
    typedef std::function<std::unique_ptr<krm::EventSource>()> Make_Source;

    KRM_TBLLogEntryIndication_Provider();
    /// With another source of events than the agent's channel.
    explicit KRM_TBLLogEntryIndication_Provider(Make_Source make_source);
    ~KRM_TBLLogEntryIndication_Provider();

    Load_Status load();
    Unload_Status unload();

    /// Takes the handler over, on failure too. An absent agent is no failure. The CIM server may
    /// not unload the provider from now on.
    Enable_Indications_Status enable_indications(
        Indication_Handler<KRM_TBLLogEntryIndication>* indication_handler);
    /// Returns when no more indications are delivered, and frees the handler.
    Disable_Indications_Status disable_indications();

  private:
    Make_Source _make_source;
    std::unique_ptr<Indication_Handler<KRM_TBLLogEntryIndication>> _indication_handler;
    std::unique_ptr<krm::EventFeed> _feed;  // while indications are enabled
    /*@END@*/
};

CIMPLE_NAMESPACE_END
