// Configuration items that depend on the object of the key.

#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

namespace {

/// There are two watchdogs; the key's object selects one.
unsigned int choose(const KOLMKey& key, unsigned int itemOfOthers, unsigned int itemOfObjectZero) {
    return key.objectId != 0 ? itemOfOthers : itemOfObjectZero;
}

}  // namespace

Setting<boolean> Kolm::getConfMessageLogNoWrap(const KOLMKey& key) {
    constexpr const char* kCall = "getConfMessageLogNoWrap";
    if (key.objectId != 0) {
        // Only the log with object 0 can wrap; callers rely on an answer for the others even
        // without an agent.
        CallEngine::traceEntry(kCall);
        return propertyOf<boolean>(true);
    }
    return engine_.settingFlag({kCall, 0x0007, inCabinet(key)});
}

Setting<sint32> Kolm::getConfWatchdogBehavior(const KOLMKey& key) {
    return engine_.settingNumber(
        {"getConfWatchdogBehavior", choose(key, 0x0074, 0x0075), inCabinet(key)});
}
Setting<sint32> Kolm::getConfWatchdogEnable(const KOLMKey& key) {
    return engine_.settingNumber(
        {"getConfWatchdogEnable", choose(key, 0x0040, 0x0042), inCabinet(key)});
}
Setting<sint32> Kolm::getConfWatchdogTime(const KOLMKey& key) {
    return engine_.settingNumber(
        {"getConfWatchdogTime", choose(key, 0x0041, 0x0043), inCabinet(key)});
}

boolean Kolm::getConfWatchdogPresent(const KOLMKey& key) {
    CallEngine::traceEntry("getConfWatchdogPresent");
    return !getConfWatchdogEnable(key).null;
}

}  // namespace varnock::calls
