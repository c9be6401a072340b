#pragma once

#include <cimple/cimple.h>

#include <memory>

#include "KRM_TBLLogEntryIndication.h"
#include "LogEntryRelay.h"

CIMPLE_NAMESPACE_BEGIN

/// Turns the log events of the management agent into indications, for as long as somebody has
/// subscribed to them.
///
/// Thread-safety: the framework calls one operation at a time. Indications are delivered on a
/// thread of their own.
class KRM_TBLLogEntryIndication_Provider {
  public:
    typedef KRM_TBLLogEntryIndication Class;

    KRM_TBLLogEntryIndication_Provider();
    ~KRM_TBLLogEntryIndication_Provider();

    Load_Status load();
    Unload_Status unload();

    /// Takes the handler over, on failure too.
    Enable_Indications_Status enable_indications(
        Indication_Handler<KRM_TBLLogEntryIndication>* indication_handler);
    /// Returns when no more indications are delivered, and frees the handler.
    Disable_Indications_Status disable_indications();

  private:
    void end();

    std::unique_ptr<Indication_Handler<KRM_TBLLogEntryIndication>> _indication_handler;
    krm::LogEntryRelay _relay;
    provider::KOLMEvents* _events = nullptr;  // the library's, while events are enabled
    /*@END@*/
};

CIMPLE_NAMESPACE_END
