#include "tests/support/DebugTestAccess.h"

namespace varnock::test {

DebugTestAccess::Switches DebugTestAccess::switches(const CDebug& debug) {
    const auto load = [](const unsigned int& field) {
        return __atomic_load_n(&field, __ATOMIC_RELAXED);
    };
    return {load(debug.traceTarget_), load(debug.traceLevel_), load(debug.savedTraceLevel_),
            load(debug.m_bActive)};
}

int DebugTestAccess::init(CDebug& debug, const StoredTraceSettings& stored) {
    debug.identify(TovQXObjectName);
    debug.stored_ = stored;
    debug.applySettings();
    return debug.start(true);
}

void DebugTestAccess::rename(CDebug& debug, const std::string& name) {
    debug.applicationName_[name.copy(debug.applicationName_, CDebug::kPathSize - 1)] = '\0';
}

void DebugTestAccess::set(CDebug& debug, const Switches& switches) {
    const auto store = [](unsigned int& field, unsigned int value) {
        __atomic_store_n(&field, value, __ATOMIC_RELAXED);
    };
    store(debug.traceTarget_, switches.target);
    store(debug.traceLevel_, switches.level);
    store(debug.savedTraceLevel_, switches.savedLevel);
    store(debug.m_bActive, switches.active);
}

}  // namespace varnock::test
