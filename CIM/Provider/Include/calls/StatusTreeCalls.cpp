// The agent's status tree. Nodes are named by text, which is sent as the data of the command.

#include "CIM/Provider/Include/HelperComputerSystem.h"
#include "CIM/Provider/Include/ProviderTrace.h"
#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

namespace {

struct NodeCommand {
    const char* call;
    unsigned int opcode;
    Target target;
    const cimple::String& node;
};

uint8 nodeByte(const SipJson& reply, const NodeCommand&) {
    return asByte(reply);
}
uint32 nodeDword(const SipJson& reply, const NodeCommand&) {
    return asDword(reply);
}

Text nodeText(const SipJson& reply, const NodeCommand& command) {
    std::string text;
    if (!reply.GetDataString(text)) {
        traceAt(1, VARNOCK_TRACE_TAG "%S(%S): GetDataString() failed", command.call,
                command.node.c_str());
        return nothing<Text>();
    }
    return propertyOf(provider::STDSTRINGToString(text));
}

template <uint8 (*decode)(CDataStream&)>
uint8 nodeStream(const SipJson& reply, const NodeCommand&) {
    CDataStream stream;
    return CallEngine::readStream(reply, stream) ? decode(stream) : uint8{0};
}

void traceNodeEntry(const NodeCommand& command) {
    if (command.target.shown == Target::Shown::component) {
        traceAt(5, VARNOCK_TRACE_TAG "Kolm::%S(%S,%x)", command.call, command.node.c_str(),
                command.target.object);
    } else {
        traceAt(5, VARNOCK_TRACE_TAG "Kolm::%S(%S)", command.call, command.node.c_str());
    }
}

template <class Result>
Result ask(const CallEngine& engine, const NodeCommand& command,
           Result (*decode)(const SipJson&, const NodeCommand&)) {
    return CallEngine::guarded(command.call, giveDefault, [&] {
        traceNodeEntry(command);
        SipJson record(command.opcode, 0, command.target.object, command.target.cabinet, kAllOnes);
        record.SetDataString(provider::StringToSTDSTRING(command.node).c_str(), 0);
        if (engine.request(record) != 0) {
            traceAt(1, VARNOCK_TRACE_TAG "%S(%S): KolmRequest() failed", command.call,
                    command.node.c_str());
            return nothing<Result>();
        }
        return record.HasReplyData() ? decode(record, command) : nothing<Result>();
    });
}

}  // namespace

uint32 Kolm::getStatusTreeNodeNrChildren(const KOLMKey& key, const cimple::String& name) {
    return ask(engine_, {"getStatusTreeNodeNrChildren", 0x2330, inCabinet(key), name}, nodeDword);
}
Text Kolm::getStatusTreeNodeGetChild(const KOLMKey& key, const cimple::String& name) {
    return ask(engine_, {"getStatusTreeNodeGetChild", 0x2331, component(key), name}, nodeText);
}
uint8 Kolm::getStatusTreeNodeCSSStatus(const KOLMKey& key, const cimple::String& name) {
    return ask(engine_, {"getStatusTreeNodeCSSStatus", 0x2334, inCabinet(key), name},
               nodeStream<firstByte>);
}
uint8 Kolm::getStatusTreeNodeGELStatus(const KOLMKey& key, const cimple::String& name) {
    return ask(engine_, {"getStatusTreeNodeGELStatus", 0x2334, inCabinet(key), name},
               nodeStream<secondByte>);
}
Text Kolm::getStatusTreeNodeDesignation(const KOLMKey& key, const cimple::String& name) {
    return ask(engine_, {"getStatusTreeNodeDesignation", 0x2335, inCabinet(key), name}, nodeText);
}
Text Kolm::getStatusTreeNodeAssociationKey(const KOLMKey& key, const cimple::String& name) {
    return ask(engine_, {"getStatusTreeNodeAssociationKey", 0x2337, inCabinet(key), name},
               nodeText);
}
uint8 Kolm::getStatusTreeNodeIsCSS(const KOLMKey& key, const cimple::String& name) {
    return ask(engine_, {"getStatusTreeNodeIsCSS", 0x2338, inCabinet(key), name}, nodeByte);
}
uint8 Kolm::getStatusTreeSystemStatus() {
    return engine_.byte({"getStatusTreeSystemStatus", 0x230F, 0, wholeSystem()});
}

}  // namespace varnock::calls
