#include "CIM/Provider/Include/calls/CallEngine.h"

#include <string>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/HelperComputerSystem.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "CIM/Provider/Include/MessageText.h"
#include "CIM/Provider/Include/ProviderTrace.h"

namespace varnock::calls {

namespace {

constexpr unsigned int kComponentText = 0x0C00;
constexpr unsigned int kReadSetting = 0xE001;
constexpr unsigned int kWriteSetting = 0xE002;

template <class Value, Value (*decode)(const SipJson&)>
Setting<Value> asSetting(const SipJson& reply) {
    return propertyOf<Value>(decode(reply));
}

boolean asFlag(const SipJson& reply) {
    return asByte(reply) != 0;
}
sint32 asNumber(const SipJson& reply) {
    return static_cast<sint32>(reply.DataByte());
}

Text asText(const SipJson& reply) {
    std::string text;
    return reply.GetDataString(text) ? propertyOf(provider::STDSTRINGToString(text))
                                     : nothing<Text>();
}

Bytes asBytes(const SipJson& reply) {
    CDataStream stream;
    return CallEngine::readStream(reply, stream) ? addressBytes(stream) : nothing<Bytes>();
}

Text asMacText(const SipJson& reply) {
    CDataStream stream;
    if (!CallEngine::readStream(reply, stream)) {
        traceAt(1, VARNOCK_TRACE_TAG "getMacAddress(): Sip.GetDataStream() failed");
        return nothing<Text>();
    }
    return macAddress(stream);
}

Date asDate(const SipJson& reply) {
    const Text text = asText(reply);
    return text.null ? nothing<Date>() : manufactureDate(text.value);
}

}  // namespace

uint8 CallEngine::byte(const Command& command, OnFailure onFailure) const {
    return value(command, onFailure, asByte);
}
uint16 CallEngine::word(const Command& command, OnFailure onFailure) const {
    return value(command, onFailure, asWord);
}
uint32 CallEngine::dword(const Command& command, OnFailure onFailure) const {
    return value(command, onFailure, asDword);
}
Text CallEngine::text(const Command& command) const {
    return value(command, giveDefault, asText);
}
Bytes CallEngine::bytes(const Command& command) const {
    return value(command, giveDefault, asBytes);
}
Text CallEngine::macText(const Command& command) const {
    return value(command, giveDefault, asMacText);
}

void CallEngine::action(const Command& command) const {
    perform(command, false);
}
void CallEngine::actionWithZero(const Command& command) const {
    perform(command, true);
}

Text CallEngine::componentText(const Item& item) const {
    return plainItem(kComponentText, item, asText);
}
Date CallEngine::componentDate(const Item& item) const {
    return plainItem(kComponentText, item, asDate);
}

Setting<uint8> CallEngine::settingByte(const Item& item) const {
    return plainItem(kReadSetting, item, asSetting<uint8, asByte>);
}
Setting<uint16> CallEngine::settingWord(const Item& item) const {
    return plainItem(kReadSetting, item, asSetting<uint16, asWord>);
}
Setting<uint32> CallEngine::settingDword(const Item& item) const {
    return plainItem(kReadSetting, item, asSetting<uint32, asDword>);
}
Setting<boolean> CallEngine::settingFlag(const Item& item) const {
    return plainItem(kReadSetting, item, asSetting<boolean, asFlag>);
}
Setting<sint32> CallEngine::settingNumber(const Item& item) const {
    return plainItem(kReadSetting, item, asSetting<sint32, asNumber>);
}
Text CallEngine::settingText(const Item& item) const {
    return plainItem(kReadSetting, item, asText);
}
Bytes CallEngine::settingBytes(const Item& item) const {
    return plainItem(kReadSetting, item, asBytes);
}
Text CallEngine::settingMacText(const Item& item) const {
    return plainItem(kReadSetting, item, asMacText);
}

void CallEngine::setByte(const Item& item, uint8 value) const {
    write(item, &SipJson::SetDataByte, value, throwAsSetter);
}
void CallEngine::setWord(const Item& item, uint16 value, OnFailure onFailure) const {
    write(item, &SipJson::SetDataWord, value, onFailure);
}
void CallEngine::setDword(const Item& item, uint32 value) const {
    write(item, &SipJson::SetDataDWord, value, throwAsSetter);
}
void CallEngine::setText(const Item& item, const cimple::String& value) const {
    guarded(item.name, throwAsSetter, [&] {
        write(item, &SipJson::SetDataString, provider::StringToSTDSTRING(value).c_str(),
              throwAsSetter);
    });
}

Text CallEngine::alwaysNull(const char* name) {
    traceEntry(name);
    return nothing<Text>();
}

SipJson CallEngine::recordFor(const Command& command) {
    return SipJson(command.opcode, command.extension, command.target.object, command.target.cabinet,
                   kAllOnes);
}

void CallEngine::perform(const Command& command, bool withZero) const {
    guarded(command.name, giveDefault, [&] {
        traceEntry(command);
        SipJson record = recordFor(command);
        if (withZero) {
            record.SetDataByte(0, 0);
        }
        static_cast<void>(send(command.name, record, giveDefault));
    });
}

template <class Result>
Result CallEngine::value(const Command& command, OnFailure onFailure,
                         Result (*decode)(const SipJson&)) const {
    return guarded(command.name, onFailure, [&] {
        traceEntry(command);
        SipJson record = recordFor(command);
        const bool answered = send(command.name, record, onFailure) && record.HasReplyData();
        return answered ? decode(record) : nothing<Result>();
    });
}

/// The entry lines of component texts and settings show no number.
template <class Result>
Result CallEngine::plainItem(unsigned int opcode, const Item& item,
                             Result (*decode)(const SipJson&)) const {
    const Target target{item.target.object, item.target.cabinet, Target::Shown::nothing};
    return value({item.name, opcode, item.extension, target}, giveDefault, decode);
}

template <class Value>
void CallEngine::write(const Item& item, bool (SipJson::*put)(Value, unsigned int), Value value,
                       OnFailure onFailure) const {
    guarded(item.name, onFailure, [&] {
        traceEntry(item.name);
        SipJson record = recordFor({item.name, kWriteSetting, item.extension, item.target});
        (record.*put)(value, 0);
        if (request(record) != 0 || !record.Success()) {
            fail(item.name, onFailure);
        }
    });
}

int CallEngine::request(SipJson& record) const {
    return client_ != nullptr ? client_->request(record) : provider::KOLM_INVALID_ARGUMENT;
}

bool CallEngine::send(const char* name, SipJson& record, OnFailure onFailure) const {
    if (request(record) == 0) {
        return true;
    }
    const bool tolerates =
        onFailure == giveDefaultUnlessTolerated || onFailure == throwUnlessTolerated;
    if (tolerates && provider::KOLMClient::notThrowStatus(record)) {
        return true;
    }
    fail(name, onFailure);
    return false;
}

bool CallEngine::readStream(const SipJson& record, CDataStream& stream) {
    return record.HasReplyData() && record.GetDataStream(stream.Data());
}

void CallEngine::traceEntry(const char* name) {
    traceAt(5, VARNOCK_TRACE_TAG "Kolm::%S()", name);
}

void CallEngine::traceEntry(const Command& command) {
    switch (command.target.shown) {
        case Target::Shown::nothing:
            traceEntry(command.name);
            break;
        case Target::Shown::cabinet:
            traceAt(5, VARNOCK_TRACE_TAG "Kolm::%S(%x)", command.name, command.target.cabinet);
            break;
        case Target::Shown::component:
            traceAt(5, VARNOCK_TRACE_TAG "Kolm::%S(cabNr=%x, objId=%x)", command.name,
                    command.target.cabinet, command.target.object);
            break;
    }
}

void CallEngine::traceFailure(const char* name) {
    traceAt(1, VARNOCK_TRACE_TAG "%S(): KolmRequest() failed", name);
}

void CallEngine::raise(const char* name, const char* what) {
    provider::traceAndThrow(provider::BaseException("CIM/Provider/Include/KOLMCalls", __LINE__,
                                                    messageText({name, "(): ", what})));
}

void CallEngine::fail(const char* name, OnFailure onFailure) {
    switch (onFailure) {
        case giveDefault:
        case giveDefaultUnlessTolerated:
            traceFailure(name);
            break;
        case throwException:
        case throwUnlessTolerated:
            raise(name, "KolmRequest() failed");
        case throwAsSetter:
            // Spelled with a small k, unlike all others: callers recognise a failed setter by it.
            raise(name, "kolmRequest() failed");
    }
}

}  // namespace varnock::calls
