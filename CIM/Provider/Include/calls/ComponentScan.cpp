#include "CIM/Provider/Include/calls/ComponentScan.h"

#include <exception>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/ProviderTrace.h"
#include "CIM/Provider/Include/calls/IdentityCache.h"

namespace varnock::calls {

namespace {

constexpr unsigned int kScanOpen = 0x0C82;
constexpr unsigned int kScanClose = 0x0C83;
constexpr unsigned int kNumberComponents = 0x0C85;
constexpr unsigned int kComponentInfo = 0x0C86;

constexpr unsigned long kKindOffset = 2;
constexpr unsigned long kTextsOffset = 6;

/// The NUL-terminated texts of a component record, at most ten. The remaining count starts with the
/// size of the whole record, not of the texts, so on its own it would read six bytes too far:
/// records have always been split with it, and the cursor keeps the reads inside.
std::vector<std::string> identityTexts(const CDataStream& record) {
    std::vector<std::string> texts;
    const unsigned long size = record.DataSize();
    unsigned long remaining = size;
    unsigned long cursor = kTextsOffset;
    while (remaining >= 2 && cursor < size && texts.size() < kIdentityTexts) {
        texts.push_back(textAt(record, cursor, size));
        remaining -= texts.back().size() + 1;
        cursor += texts.back().size() + 1;
    }
    return texts;
}

}  // namespace

ComponentScan::Opened ComponentScan::open() {
    if (!request(kScanOpen, 0)) {
        return Opened::requestFailed;
    }
    if (!record_.HasReplyData()) {
        return Opened::noToken;
    }
    token_ = asWord(record_);
    return Opened::yes;
}

bool ComponentScan::openOrTrace() {
    switch (open()) {
        case Opened::requestFailed:
            traceAt(1, VARNOCK_TRACE_TAG "%S(): KolmRequest(CM_VInfoScanOpen) failed", call_);
            return false;
        case Opened::noToken:
            traceAt(1, VARNOCK_TRACE_TAG "%S(): session token invalid", call_);
            return false;
        case Opened::yes:
            break;
    }
    return true;
}

void ComponentScan::visitAndClose(const std::function<void(const ScannedComponent&)>& visit) {
    try {
        visitAll(visit);
    } catch (...) {
        // Cancellation also passes here, but without an exception object: the thread sends no more.
        if (std::current_exception() != nullptr) {
            closeAfterFailure();
        }
        throw;
    }
    close();
}

bool ComponentScan::isKnownVersion(const ScannedComponent& component) const {
    if (component.texts.size() == kIdentityTexts) {
        return true;
    }
    traceAt(5, VARNOCK_TRACE_TAG "%S(): wrong version info returned", call_);
    return false;
}

bool ComponentScan::request(unsigned int opcode, unsigned int object) {
    record_.SetCmd(opcode, token_, object, cabinet_, kAllOnes);
    return engine_.request(record_) == 0;
}

unsigned int ComponentScan::count() {
    if (!request(kNumberComponents, 0)) {
        CallEngine::raise(call_, "KolmRequest(CM_VInfoNumberComponents) failed");
    }
    return asWord(record_);
}

void ComponentScan::visitAll(const std::function<void(const ScannedComponent&)>& visit) {
    const unsigned int last = count();
    for (unsigned int index = 1; index <= last; ++index) {
        if (request(kComponentInfo, index)) {
            visit(component(index));
            continue;
        }
        traceAt(5, VARNOCK_TRACE_TAG "%S(): KolmRequest(CM_VInfoComponentInfo) failed", call_);
        if (record_.Status() == varnock::CommandStatus::noChannel) {
            break;  // each other record would also wait for a channel
        }
    }
}

ScannedComponent ComponentScan::component(unsigned int index) const {
    CDataStream info;
    CallEngine::readStream(record_, info);
    ScannedComponent component{index, std::nullopt, identityTexts(info)};
    if (info.DataSize() > kKindOffset) {
        component.kind = byteAt(info, kKindOffset);
    }
    return component;
}

void ComponentScan::close() {
    if (!request(kScanClose, 0)) {
        traceAt(5, VARNOCK_TRACE_TAG "%S(): KolmRequest(CM_VInfoScanClose) failed", call_);
    }
}

void ComponentScan::closeAfterFailure() {
    // The failure that ended the scan is reported instead.
    try {
        close();
    } catch (const provider::BaseException&) {
    } catch (const std::exception&) {
    }
}

}  // namespace varnock::calls
