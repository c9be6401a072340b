// The element table: the texts of a component whose class is given by the key. Texts of controllers
// come from the data read by openControllerCardSession(), all others from the agent.

#include "CIM/Provider/Include/ProviderTrace.h"
#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

Text Kolm::getElementManufacturer(const KOLMKey& key) {
    return elementText({"getElementManufacturer", "Manufacturer", 0, 0x0A}, key);
}
Text Kolm::getElementName(const KOLMKey& key) {
    return elementText({"getElementName", "Name", 1, 0x08}, key);
}
Text Kolm::getElementPartNumber(const KOLMKey& key) {
    return elementText({"getElementPartNumber", "PartNumber", 2, 0x01}, key);
}
Text Kolm::getElementDescription(const KOLMKey& key) {
    return elementText({"getElementDescription", "Description", 3, 0x0F}, key);
}
Date Kolm::getElementManufactureDate(const KOLMKey& key) {
    constexpr const char* kCall = "getElementManufactureDate";
    return CallEngine::guarded(kCall, giveDefault, [&] {
        const Text text = elementText({kCall, "ManufactureDate", 4, 0x0B}, key);
        return text.null ? nothing<Date>() : manufactureDate(text.value);
    });
}
Text Kolm::getElementVersion(const KOLMKey& key) {
    return elementText({"getElementVersion", "Version", 5, 0x05}, key);
}
Text Kolm::getElementSerialNumber(const KOLMKey& key) {
    return elementText({"getElementSerialNumber", "SerialNumber", 6, 0x00}, key);
}
Text Kolm::getElementInstanceID(const KOLMKey& key) {
    return elementText({"getElementInstanceID", "InstanceID", 8, std::nullopt}, key);
}

Text Kolm::elementText(const ElementText& wanted, const KOLMKey& key) const {
    const auto find = [&] {
        const bool cached = IdentityCache::keeps(key.opCodeExt);
        if (!cached && wanted.attribute) {
            // The class may have any value; bits that do not fit above the attribute are dropped.
            const unsigned int extension = (key.opCodeExt << 8) + *wanted.attribute;
            return engine_.componentText({wanted.call, extension, component(key)});
        }
        CallEngine::traceEntry(wanted.call);
        return cached ? identities_.find(key.opCodeExt, key.objectId, wanted.index)
                      : nothing<Text>();
    };
    Text text = CallEngine::guarded(wanted.call, giveDefault, find);
    if (text.null) {
        traceAt(5, VARNOCK_TRACE_TAG "%S():%S not found", wanted.call, wanted.label);
    }
    return text;
}

}  // namespace varnock::calls
