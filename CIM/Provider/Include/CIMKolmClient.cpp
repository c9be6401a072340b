#include "CIM/Provider/Include/CIMKolmClient.h"

#include <new>
#include <utility>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/ProviderTrace.h"
#include "runtime/Synchronisation.h"
#include "runtime/process/ForkLocks.h"
#include "runtime/threads/Cancellation.h"
#include "transport/SipJson.h"
#include "util/ImpersonateGuard.h"
#include "util/StringMapper.h"

using provider::KOLMEventsListener;
using varnock::traceAt;

namespace {

constexpr unsigned int kOpcodeCabinetNr = 0xE204;
constexpr unsigned int kOpcodeConfiguration = 0xE001;
constexpr unsigned int kExtHostName = 0x0201;
constexpr unsigned int kExtAccountCheck = 0x3812;
constexpr unsigned int kExtUserGroup = 0x3813;

void callListener(KOLMEventsListener* listener, unsigned int opcode, unsigned int sequenceNumber) {
    // Both traces show the operation code in place of the sequence number; readers of the trace
    // rely on it.
    if (opcode == varnock::EventOpcode::systemMessageLog) {
        traceAt(5, VARNOCK_TRACE_TAG "CCIMKolmClient::Event(): %p->onSystemMessageLogEntry(%x)",
                static_cast<void*>(listener), opcode);
        listener->onSystemMessageLogEntry(sequenceNumber);
    } else {
        traceAt(5, VARNOCK_TRACE_TAG "CCIMKolmClient::Event(): %p->onDriverMonitorLogEntry(%x)",
                static_cast<void*>(listener), opcode);
        listener->onDriverMonitorLogEntry(sequenceNumber);
    }
}

/// The event thread drops exceptions of a listener. Their text is known only here.
void notify(KOLMEventsListener* listener, unsigned int opcode, unsigned int sequenceNumber) {
    try {
        callListener(listener, opcode, sequenceNumber);
    } catch (const provider::BaseException& failure) {
        traceAt(1, VARNOCK_TRACE_TAG "CCIMKolmClient::Event(): listener %p failed: %s",
                static_cast<void*>(listener), failure.toString().c_str());
    }
}

}  // namespace

CCIMKolmClient::CCIMKolmClient()
    : CSwitchClient("KRM_TBL_genmod"), applicationName_("KRM_TBL_genmod") {
    varnock::addForkLock(mutex_);
}

CCIMKolmClient::~CCIMKolmClient() {
    // The event thread calls Event() of this class, so it must end before the base class is
    // destroyed.
    const varnock::CancellationGuard uncancelled;
    StopEventThread();
    varnock::removeForkLock(mutex_);
}

unsigned int CCIMKolmClient::Attach(std::string name, int impersonate) {
    traceAt(4, VARNOCK_TRACE_TAG "Attach %s to SWITCH", name.c_str());
    unsigned int result = alreadyAttached;
    if (attachSwitch(std::move(name), impersonate, result)) {
        Init();
    }
    return result;
}

/// True on a new attach.
bool CCIMKolmClient::attachSwitch(std::string name, int impersonate, unsigned int& result) {
    const varnock::CancellationGuard uncancelled;
    const varnock::ScopedLock lock(mutex_);
    applicationName_ = std::move(name);
    impersonate_ = impersonate;
    if (IsAttached()) {
        traceAt(2, VARNOCK_TRACE_TAG "## WARNING! Already attached\n");
        CInterLock::LockedIncrement(&attachCount_);
        return false;
    }
    if (attachAllowed_ == 0) {
        traceAt(2, VARNOCK_TRACE_TAG
                "## WARNING! Currently it's not safe to attach - ignore attach()\n");
        return false;
    }
    const ImpersonateGuard guard(impersonate != 0);
    SetApplicationName(applicationName_.c_str());
    if (CSwitchClient::Attach() == 0) {
        result = GetLastError();
        traceAt(1,
                "\n" VARNOCK_TRACE_TAG "## ERROR! Failed to attach to SWITCH (LastError=0x%08X)\n",
                result);
        return false;
    }
    result = 0;
    CInterLock::LockedIncrement(&attachCount_);
    traceAt(4, VARNOCK_TRACE_TAG "  attach succeeded");
    return true;
}

unsigned int CCIMKolmClient::Detach() {
    traceAt(4, VARNOCK_TRACE_TAG "Detach from SWITCH");
    const varnock::CancellationGuard uncancelled;
    const varnock::ScopedLock lock(mutex_);
    if (attachCount_ != 0 && CInterLock::LockedDecrement(&attachCount_) != 0) {
        return 0;
    }
    const ImpersonateGuard guard(impersonate_ != 0);
    CSwitchClient::Detach();
    return 0;
}

unsigned int CCIMKolmClient::KolmRequest(SipJson& command, int) {
    const ImpersonateGuard guard(impersonate_ != 0);
    return Request(command, 0, 0, 0);
}

void CCIMKolmClient::Init() {
    traceAt(3, VARNOCK_TRACE_TAG "Init()");
    readCabinetNr();
    readHostName();
    readAccountCheck();
    readUserGroup();
}

/// Reads a setting and passes a reply with data to `use`; false if there is none. A failure is not
/// reported, and a lack of memory counts as one: attaching must not end half-way.
template <class Use>
bool CCIMKolmClient::readSetting(unsigned int opcode, unsigned int opcodeExt, unsigned int cabinet,
                                 const Use& use) {
    try {
        SipJson record(opcode, opcodeExt, 0, cabinet, SipJson::noStatus);
        KolmRequest(record, 0);
        if (!record.HasReplyData()) {
            return false;
        }
        use(record);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void CCIMKolmClient::readCabinetNr() {
    readSetting(kOpcodeCabinetNr, 0, 0, [this](const SipJson& reply) {
        cabinetNr_ = reply.DataWord() & 0xFFFFu;
        traceAt(4, VARNOCK_TRACE_TAG "CabinetNr = %d", static_cast<int>(CabinetNr()));
    });
}

void CCIMKolmClient::readHostName() {
    readSetting(kOpcodeConfiguration, kExtHostName, CabinetNr(), [this](const SipJson& reply) {
        readText(reply, &CCIMKolmClient::hostName_);
        traceAt(4, VARNOCK_TRACE_TAG "Host Name = %s", HostName().c_str());
    });
}

void CCIMKolmClient::readAccountCheck() {
    const auto use = [this](const SipJson& reply) {
        accountCheck_ = static_cast<int>(reply.DataByte() & 0xFFu);
        traceAt(4, VARNOCK_TRACE_TAG "Account Check %s", AccountCheck() ? "enabled" : "disabled");
    };
    if (!readSetting(kOpcodeConfiguration, kExtAccountCheck, CabinetNr(), use)) {
        accountCheck_ = 1;
        traceAt(4, VARNOCK_TRACE_TAG "Account Check cannot be read, use TRUE as default");
    }
}

void CCIMKolmClient::readUserGroup() {
    const auto use = [this](const SipJson& reply) {
        readText(reply, &CCIMKolmClient::userGroup_);
        traceAt(4, VARNOCK_TRACE_TAG "Configured user group (KOLM): \"%s\"", UserGroup().c_str());
    };
    if (!readSetting(kOpcodeConfiguration, kExtUserGroup, CabinetNr(), use)) {
        traceAt(4, VARNOCK_TRACE_TAG "No configured user group ");
    }
}

/// A reply without text leaves the field unchanged.
void CCIMKolmClient::readText(const SipJson& record, std::string CCIMKolmClient::*field) {
    std::string text;
    if (record.GetDataString(text)) {
        std::string converted = CStringMapper::StringToUTF8(text.c_str());
        const varnock::ScopedLock lock(mutex_);
        this->*field = std::move(converted);
    }
}

void CCIMKolmClient::AllowAttach(bool allow) {
    attachAllowed_ = allow ? 1 : 0;
}

unsigned int CCIMKolmClient::CabinetNr() const {
    return cabinetNr_;
}

std::string CCIMKolmClient::HostName() const {
    const varnock::ScopedLock lock(mutex_);
    return hostName_;
}

std::string CCIMKolmClient::UserGroup() const {
    const varnock::ScopedLock lock(mutex_);
    return userGroup_;
}

bool CCIMKolmClient::AccountCheck() const {
    return accountCheck_ != 0;
}

unsigned int CCIMKolmClient::cmdStatus2hResult(unsigned int status) {
    switch (status) {
        case 0:
            return 0;
        case 1:
            return 0x80041016;
        case 2:
            return 0x80041008;
        case 4:
            return 0x8004100F;
        case 5:
            return 0x80041045;
        case 7:
        case 8:
        case 13:
            return 0x80041023;
        case 17:
            return 0x80041006;
        case toNumber(varnock::CommandStatus::notAvailable):
            return 0x80041002;
        case toNumber(varnock::CommandStatus::notAllowed):
            return accessRefused;
        default:
            return 0x80004005;
    }
}

void CCIMKolmClient::Event(SipJson& event) {
    const ImpersonateGuard guard(impersonate_ != 0);
    const unsigned int opcode = event.OpCode();
    traceAt(5, VARNOCK_TRACE_TAG "CCIMKolmClient::Event(): OpCode=%x", opcode);
    if (opcode != varnock::EventOpcode::systemMessageLog &&
        opcode != varnock::EventOpcode::driverMonitorLog) {
        traceAt(1, VARNOCK_TRACE_TAG "CCIMKolmClient::Event(): unknown OpCode=%x", opcode);
        return;
    }
    if (!event.HasReplyData()) {
        traceAt(1, VARNOCK_TRACE_TAG "CCIMKolmClient::Event(): !Sip.HasReplyData()");
        return;
    }
    const unsigned int sequenceNumber = event.DataDWord();
    traceAt(5, VARNOCK_TRACE_TAG "CCIMKolmClient::Event(): nSeqNr=%x", sequenceNumber);
    KOLMEventsListener* listener = listener_;
    if (listener == nullptr) {
        traceAt(1, VARNOCK_TRACE_TAG "CCIMKolmClient::Event(): !mSel");
        return;
    }
    notify(listener, opcode, sequenceNumber);
}

bool CCIMKolmClient::enableEvents() {
    const bool enabled = EnableEvents(1, 0);
    traceAt(5, VARNOCK_TRACE_TAG "CCIMKolmClient::enableEvents(): EnableEvents()=%s",
            enabled ? "TRUE" : "FALSE");
    return enabled;
}

bool CCIMKolmClient::disableEvents() {
    const bool disabled = EnableEvents(0, 0);
    traceAt(5, VARNOCK_TRACE_TAG "CCIMKolmClient::disableEvents(): EnableEvents(FALSE, FALSE)=%s",
            disabled ? "TRUE" : "FALSE");
    return disabled;
}

KOLMEventsListener* CCIMKolmClient::setListener(KOLMEventsListener* listener) {
    KOLMEventsListener* before = listener_.exchange(listener);
    traceAt(5, VARNOCK_TRACE_TAG "CCIMKolmClient::setListener(): mSel=%p, sel=%p",
            static_cast<void*>(before), static_cast<void*>(listener));
    return before;
}
