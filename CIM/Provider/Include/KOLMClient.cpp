#include "CIM/Provider/Include/KOLMClient.h"

#include <new>
#include <utility>

#include "CIM/Provider/Include/CIMKolmClient.h"
#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/HelperComputerSystem.h"
#include "CIM/Provider/Include/KOLMClientImpl.h"
#include "CIM/Provider/Include/MessageText.h"
#include "CIM/Provider/Include/ProviderTrace.h"
#include "runtime/threads/Cancellation.h"
#include "transport/SipJson.h"

namespace provider {

using varnock::messageText;
using varnock::traceAt;

namespace {

constexpr const char* kClientSource = "CIM/Provider/Include/KOLMClient";

}  // namespace

KOLMEvents::~KOLMEvents() = default;

CLocalKOLM::~CLocalKOLM() = default;

int CLocalKOLM::Attach(std::string name, int impersonate) {
    switch (KOLMSwitch.Attach(std::move(name), impersonate)) {
        case CCIMKolmClient::accessRefused:
            return KOLM_ACCESS_DENIED;
        case 0:
        case CCIMKolmClient::alreadyAttached:
            return KOLM_SUCCESS;
        default:
            return KOLM_FAILED;
    }
}

int CLocalKOLM::Detach() {
    return KOLMSwitch.Detach() == 0 ? KOLM_SUCCESS : KOLM_FAILED;
}

int CLocalKOLM::KolmRequest(SipJson& command) {
    switch (KOLMSwitch.KolmRequest(command, 1)) {
        case CCIMKolmClient::accessRefused:
            return KOLM_ACCESS_DENIED;
        case 0:
            return KOLM_SUCCESS;
        default:
            return KOLM_FAILED;
    }
}

KOLMEvents* CLocalKOLM::kolmEvents() {
    return &KOLMSwitch;
}

int KolmClientFactory::GetKolmClient(IVirtualKOLM** out) {
    if (out == nullptr) {
        return KOLM_INVALID_ARGUMENT;
    }
    *out = &LocalKolmClient;
    return KOLM_SUCCESS;
}

KOLMClient::~KOLMClient() = default;

bool KOLMClient::notThrowStatus(SipJson& reply) {
    const unsigned int status = reply.Status();
    return status == varnock::CommandStatus::notAvailable ||
           status == varnock::CommandStatus::noSuchObject;
}

KOLMClientImpl::KOLMClientImpl(std::string name, Factory factory, Attaching attaching)
    : name_(std::move(name)) {
    traceAt(5, VARNOCK_TRACE_TAG "KOLMClientImpl::KOLMClientImpl()");
    if (factory(&client_) != KOLM_SUCCESS) {
        traceAndThrow(
            BaseException(kClientSource, __LINE__, "KOLMClientImpl(): GetKolmClient() failed"));
    }
    if (attaching == Attaching::now) {
        attachFirst();
    }
}

void KOLMClientImpl::attachFirst() {
    if (attach()) {
        attached_ = true;
    } else {
        traceAt(1, VARNOCK_TRACE_TAG "Failed to attach Kolm Client");
    }
}

/// A lack of memory is a failure to attach like any other.
bool KOLMClientImpl::attach() const {
    try {
        return client_->Attach(name_, 1) == KOLM_SUCCESS;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

KOLMClientImpl::~KOLMClientImpl() {
    const varnock::CancellationGuard uncancelled;
    traceAt(5, VARNOCK_TRACE_TAG "KOLMClientImpl::~KOLMClientImpl()");
    if (attached_) {
        client_->Detach();
    }
}

int KOLMClientImpl::request(SipJson& command) {
    attachIfNecessary();
    const int result = client_->KolmRequest(command);
    if (result == KOLM_ACCESS_DENIED) {
        traceAndThrow(CimErrorException(kClientSource, __LINE__,
                                        messageText({"KOLMClientImpl(): KolmRequest() failed"}),
                                        CIM_ERR_ACCESS_DENIED));
    }
    return result;
}

KOLMEvents* KOLMClientImpl::events() {
    return client_->kolmEvents();
}

/// No lock is held while attaching sends its requests. If two threads attach at the same time, the
/// later one undoes its attach, so that the client holds exactly one.
void KOLMClientImpl::attachIfNecessary() {
    if (attached_) {
        return;
    }
    if (!attach()) {
        traceAndThrow(BaseException(kClientSource, __LINE__,
                                    messageText({"AttachClientIfNecessary(): Attach() failed"})));
    }
    if (attached_.exchange(true)) {
        client_->Detach();
    }
}

ShPtr<KOLMClient> getKOLMClient(const cimple::String& name) {
    using enum KOLMClientImpl::Attaching;
    auto* const client =
        new KOLMClientImpl(StringToSTDSTRING(name), KolmClientFactory::GetKolmClient, later);
    // Owned before it is attached: deleting an attached client could end the process's requests.
    ShPtr<KOLMClient> owner(client);
    client->attachFirst();
    return owner;
}

}  // namespace provider
