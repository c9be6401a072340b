// The component that contains another one.

#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

namespace {

/// Words: class, object and optionally the cabinet; all ones means the cabinet of the request.
std::optional<KOLMKey> parentOf(CDataStream& stream) {
    if (stream.DataSize() < 4) {
        return std::nullopt;
    }
    const uint32 cabinetNr = stream.DataSize() < 6 ? kAllOnes : wordAt(stream, 4);
    return KOLMKey(cabinetNr, wordAt(stream, 2), wordAt(stream, 0));
}

}  // namespace

KOLMKey Kolm::getComponentRelationParent(const KOLMKey& key) {
    auto parent = engine_.stream(
        {"getComponentRelationParent", 0x0C50, key.opCodeExt, component(key)}, parentOf);
    if (!parent) {
        return KOLMKey(kAllOnes, kAllOnes, kAllOnes);
    }
    if (parent->cabinetNr == kAllOnes) {
        parent->cabinetNr = key.cabinetNr;
    }
    return *parent;
}

}  // namespace varnock::calls
