// The cabinets: the server's own cabinet and the storage extensions found by the agent.

#include "CIM/Provider/Include/ProviderTrace.h"
#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

namespace {

/// A list of odd size counts as empty.
std::vector<uint16> extensionCabinets(const SipJson& reply) {
    CDataStream stream;
    CallEngine::readStream(reply, stream);
    return stream.DataSize() % 2 == 0 ? words(stream) : std::vector<uint16>();
}

}  // namespace

std::vector<uint32> Kolm::getCabNrs() {
    constexpr const char* kCall = "getCabNrs";
    return CallEngine::guarded(kCall, throwException, [&] {
        CallEngine::traceEntry(kCall);
        std::vector<uint32> cabinets;
        SipJson record(0xE204, 0, 0, 0, kAllOnes);
        if (!engine_.send(kCall, record, throwException) || !record.HasReplyData()) {
            return cabinets;
        }
        const uint32 server = asWord(record);
        cabinets.push_back(server);
        traceAt(1, VARNOCK_TRACE_TAG "Kolm::getCabNrs(): ServerCabinetNr=%x", server);

        record.SetCmd(0x0220, 0, 0, server, kAllOnes);
        if (engine_.request(record) != 0 || !record.HasReplyData()) {
            return cabinets;
        }
        const std::vector<uint16> extensions = extensionCabinets(record);
        traceAt(1, VARNOCK_TRACE_TAG "Kolm::getCabNrs(): NumDetectedSECabinets=%d",
                static_cast<int>(extensions.size()));
        for (const uint32 extension : extensions) {
            cabinets.push_back(extension);
            traceAt(1, VARNOCK_TRACE_TAG "Kolm::getCabNrs(): seCabinetNr=%x", extension);
        }
        return cabinets;
    });
}

}  // namespace varnock::calls
