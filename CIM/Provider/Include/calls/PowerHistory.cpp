// The history of the system's power consumption.

#include "CIM/Provider/Include/ProviderTrace.h"
#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

namespace {

/// An entry: time in 4 bytes, then words: average, flags, minimum, maximum.
constexpr unsigned long kEntrySize = 12;
constexpr uint16 kValid = 0x8000;

std::vector<provider::PowerUsage> samples(CDataStream& history) {
    std::vector<provider::PowerUsage> usages;
    const unsigned long count = history.DataSize() / kEntrySize;
    if (count == 0) {
        return usages;
    }
    traceAt(1,
            VARNOCK_TRACE_TAG
            "getUtilizationHistorySystemPowerConsumption(): got %d history records",
            static_cast<int>(count));
    usages.reserve(count);
    for (unsigned long begin = 0; begin < count * kEntrySize; begin += kEntrySize) {
        if ((wordAt(history, begin + 6) & kValid) == 0) {
            continue;
        }
        provider::PowerUsage usage;
        usage.average = wordAt(history, begin + 4);
        usage.minimum = wordAt(history, begin + 8);
        usage.maximum = wordAt(history, begin + 10);
        usage.time = static_cast<sint32>(dwordAt(history, begin));
        usages.push_back(usage);
    }
    return usages;
}

}  // namespace

std::vector<provider::PowerUsage> Kolm::getUtilizationHistorySystemPowerConsumption(
    const KOLMKey& key) {
    constexpr const char* kCall = "getUtilizationHistorySystemPowerConsumption";
    return CallEngine::guarded(kCall, giveDefault, [&] {
        CallEngine::traceEntry(kCall);
        SipJson record(0x0940, key.opCodeExt, 0, kAllOnes, kAllOnes);
        record.SetDataDWord(0, 0);
        CDataStream history;
        if (!engine_.send(kCall, record, giveDefault) || !record.HasReplyData()) {
            return std::vector<provider::PowerUsage>();
        }
        if (!CallEngine::readStream(record, history)) {
            traceAt(1, VARNOCK_TRACE_TAG
                    "getUtilizationHistorySystemPowerConsumption(): GetDataStream() failed");
        }
        return samples(history);
    });
}

}  // namespace varnock::calls
