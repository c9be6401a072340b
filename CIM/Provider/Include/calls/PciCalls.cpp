// PCI devices: their list, and the configuration header of a device.

#include <cstring>

#include "CIM/Provider/Include/ProviderTrace.h"
#include "CIM/Provider/Include/calls/Kolm.h"
#include "hardware/PciConfig.h"

namespace varnock::calls {

namespace {

constexpr unsigned long kListEntrySize = 6;
constexpr uint32 kDeviceKeyBase = 0x05000000;

/// An entry: 2 unused bytes, a word with segment and bus, device, function.
std::vector<uint32> deviceKeys(CDataStream& list) {
    std::vector<uint32> keys;
    for (unsigned long begin = 0; list.DataSize() - begin >= kListEntrySize;
         begin += kListEntrySize) {
        // Deliberately a plain sum: a word above 0xFF overflows into the top byte, and callers know
        // the keys of such devices in this form.
        keys.push_back(kDeviceKeyBase + (uint32{wordAt(list, begin + 2)} << 16) +
                       (uint32{byteAt(list, begin + 4)} << 8) + byteAt(list, begin + 5));
    }
    return keys;
}

struct PciAddress {
    uint8 bus;
    uint8 device;
    uint8 function;
};

PciAddress addressOf(const KOLMKey& key) {
    return {static_cast<uint8>(key.objectId >> 16), static_cast<uint8>(key.objectId >> 8),
            static_cast<uint8>(key.objectId)};
}

/// A copy, because the bytes of the stream may not be aligned for a header. Nothing if the header
/// is not valid.
std::optional<CPciCommonConfigHeader> headerIn(const SipJson& reply) {
    CDataStream stream;
    CPciCommonConfigHeader header{};
    if (!CallEngine::readStream(reply, stream) || stream.DataSize() < sizeof header) {
        return std::nullopt;
    }
    std::memcpy(static_cast<void*>(&header), stream.GetDataStream(0), sizeof header);
    return header.IsValid() ? std::optional(header) : std::nullopt;
}

provider::PciDeviceInfo describe(const PciAddress& address, const CPciCommonConfigHeader& header) {
    provider::PciDeviceInfo info;
    info.bus = address.bus;
    info.device = address.device;
    info.function = address.function;
    info.subSystemId = header.GetSubSystemId();
    info.subVendorId = header.GetSubVendorId();
    info.deviceId = header.GetDeviceId();
    info.vendorId = header.GetVendorId();
    info.revisionId = header.GetRevisionId();
    info.baseClassText = header.GetBaseClassDescription();
    info.subClassText = header.GetSubClassDescription();
    info.primaryBus = header.GetPrimaryBusNo();
    info.secondaryBus = header.GetSecondaryBusNo();
    return info;
}

}  // namespace

std::vector<uint32> Kolm::getPciBusInfoDeviceList(uint32 cabinetNr) {
    return engine_.stream({"getPciBusInfoDeviceList", 0x1490, 0, cabinet(cabinetNr)}, deviceKeys,
                          throwException);
}

bool Kolm::getDeviceInfoReadBusConfig(const KOLMKey& key, provider::PciDeviceInfo& info) {
    constexpr const char* kCall = "getDeviceInfoReadBusConfig";
    return CallEngine::guarded(kCall, giveDefault, [&] {
        CallEngine::traceEntry(kCall);
        const PciAddress address = addressOf(key);
        SipJson record(0x1401, 0, 5, key.cabinetNr, kAllOnes);
        record.SetRequestDataStream({address.bus, address.device, address.function});
        if (!engine_.send(kCall, record, giveDefault) || !record.HasReplyData()) {
            return false;
        }
        const std::optional<CPciCommonConfigHeader> header = headerIn(record);
        if (!header) {
            traceAt(1, VARNOCK_TRACE_TAG
                    "getDeviceInfoReadBusConfig(): Invalid PciConfig data returned");
            return false;
        }
        info = describe(address, *header);
        return true;
    });
}

}  // namespace varnock::calls
