// The controllers that openControllerCardSession() has read. No commands are known for these calls,
// so they send nothing.

#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

namespace {

constexpr unsigned int kComponentIdText = 8;
constexpr unsigned int kLocationText = 9;

}  // namespace

std::vector<KOLMKey> Kolm::getLANControllers(uint32 cabinetNr) {
    return cachedControllers("getLANControllers", cabinetNr, lanControllers);
}
std::vector<KOLMKey> Kolm::getSCSIControllers(uint32 cabinetNr) {
    return cachedControllers("getSCSIControllers", cabinetNr, scsiControllers);
}
std::vector<KOLMKey> Kolm::getWANControllers(uint32 cabinetNr) {
    return cachedControllers("getWANControllers", cabinetNr, wanControllers);
}
Text Kolm::getControllerComponentID(const KOLMKey& key) {
    return cachedControllerText("getControllerComponentID", key, kComponentIdText);
}
Text Kolm::getControllerLocationKey(const KOLMKey& key) {
    return cachedControllerText("getControllerLocationKey", key, kLocationText);
}
Text Kolm::getLocationKey(const KOLMKey&) {
    return engine_.alwaysNull("getLocationKey");
}

std::vector<KOLMKey> Kolm::cachedControllers(const char* call, uint32 cabinetNr,
                                             unsigned int componentClass) const {
    return CallEngine::guarded(call, giveDefault, [&] {
        CallEngine::traceEntry(call);
        std::vector<KOLMKey> keys;
        for (const unsigned int object : identities_.objects(componentClass)) {
            keys.emplace_back(cabinetNr, object, componentClass);
        }
        return keys;
    });
}

Text Kolm::cachedControllerText(const char* call, const KOLMKey& key, unsigned int index) const {
    return CallEngine::guarded(call, throwException, [&] {
        CallEngine::traceEntry(call);
        Text text = identities_.find(key.opCodeExt, key.objectId, index);
        if (text.null) {
            CallEngine::raise(call, "KolmRequest() failed");
        }
        return text;
    });
}

}  // namespace varnock::calls
