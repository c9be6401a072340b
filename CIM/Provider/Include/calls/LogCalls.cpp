// The message log: clearing it and reading its entries.

#include "CIM/Provider/Include/HelperComputerSystem.h"
#include "CIM/Provider/Include/ProviderTrace.h"
#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

namespace {

/// An entry: its total length in 2 bytes, sequence number, message number and time in 4 bytes each,
/// severity in 1 byte, then the text up to its NUL or the end of the entry.
constexpr unsigned long kEntryHead = 15;

provider::LogMessage entryAt(CDataStream& stream, unsigned long begin, unsigned long length) {
    provider::LogMessage message;
    message.sequence = dwordAt(stream, begin + 2);
    message.id = dwordAt(stream, begin + 6);
    message.time = dwordAt(stream, begin + 10);
    message.severity = byteAt(stream, begin + 14);
    message.text = provider::STDSTRINGToString(textAt(stream, begin + kEntryHead, begin + length));
    return message;
}

/// Stops at the first entry that is too short or runs past the stream.
std::vector<provider::LogMessage> entries(CDataStream& stream) {
    std::vector<provider::LogMessage> messages;
    const unsigned long size = stream.DataSize();
    unsigned long begin = 0;
    while (size - begin >= kEntryHead) {
        const unsigned long length = wordAt(stream, begin);
        if (length < kEntryHead || length > size - begin) {
            break;
        }
        messages.push_back(entryAt(stream, begin, length));
        begin += length;
    }
    return messages;
}

}  // namespace

void Kolm::doClearLog(const KOLMKey& key) {
    constexpr const char* kCall = "doClearLog";
    CallEngine::guarded(kCall, giveDefault, [&] {
        CallEngine::traceEntry(kCall);
        for (const unsigned int log : {0U, 1U}) {
            SipJson record(0x0B03, 0, log, key.cabinetNr, kAllOnes);
            if (engine_.request(record) != 0) {
                traceAt(1, VARNOCK_TRACE_TAG "doClearLog(%d): KolmRequest() failed", log);
                return;
            }
        }
    });
}

std::vector<provider::LogMessage> Kolm::getLogMessageReadChunk(const KOLMKey& key) {
    constexpr const char* kCall = "getLogMessageReadChunk";
    return CallEngine::guarded(kCall, giveDefault, [&] {
        auto messages = engine_.stream({kCall, 0x0B10, key.opCodeExt, component(key)}, entries);
        for (provider::LogMessage& message : messages) {
            message.datetime = provider::toDatetime(static_cast<long>(message.time),
                                                    static_cast<int>(timeZoneMinutes_));
        }
        return messages;
    });
}

}  // namespace varnock::calls
