#pragma once

#include <cimple/Property.h>
#include <cimple/String.h>

#include <exception>
#include <new>

#include "CIM/Provider/Include/KOLMKey.h"
#include "CIM/Provider/Include/calls/Decoding.h"
#include "transport/DataStream.h"
#include "transport/SipJson.h"

namespace provider {
class KOLMClient;
}

namespace varnock::calls {

using provider::KOLMKey;

/// The value of a configuration item; null if it could not be read.
template <class Value>
using Setting = cimple::Property<Value>;

/// No cabinet and no status; as the object of a reply, no object.
inline constexpr unsigned int kAllOnes = 0xFFFFFFFF;

/// The object and cabinet that a command addresses, and which of them appear in the entry line.
struct Target {
    enum class Shown { nothing, cabinet, component };

    unsigned int object;
    unsigned int cabinet;
    Shown shown;
};

/// The component that the key names.
inline Target component(const KOLMKey& key) {
    return {key.objectId, key.cabinetNr, Target::Shown::component};
}
/// One object of the key's cabinet.
inline Target inCabinet(const KOLMKey& key, unsigned int object = 0) {
    return {object, key.cabinetNr, Target::Shown::nothing};
}
/// A cabinet whose components are counted.
inline Target counting(unsigned int cabinetNr) {
    return {0, cabinetNr, Target::Shown::cabinet};
}
/// A cabinet given by its number.
inline Target cabinet(unsigned int cabinetNr) {
    return {0, cabinetNr, Target::Shown::nothing};
}
/// One object of the whole system.
inline Target wholeSystem(unsigned int object = 0) {
    return {object, kAllOnes, Target::Shown::nothing};
}

/// A command: its name in the trace, its numbers and its target.
struct Command {
    const char* name;
    unsigned int opcode;
    unsigned int extension;
    Target target;
};

/// A text of a component or an item of the configuration. The kind of call determines the opcode.
struct Item {
    const char* name;
    unsigned int extension;
    Target target;
};

/// The reaction of a call to a failed request. "Tolerated" is an ordinary negative answer of the
/// agent, which counts as an answer without data. Setters have their own style because their text
/// is spelled differently.
enum class OnFailure {
    giveDefault,
    giveDefaultUnlessTolerated,
    throwException,
    throwUnlessTolerated,
    throwAsSetter
};
using enum OnFailure;

/// Sends the commands of the typed calls and decodes the replies: entry trace, record, request,
/// failure style, decoding.
///
/// Thread-safety: its only state is the client; any thread may call any operation.
class CallEngine {
  public:
    explicit CallEngine(provider::KOLMClient* client) : client_(client) {}

    // One command, one value.
    uint8 byte(const Command& command, OnFailure onFailure = giveDefault) const;
    uint16 word(const Command& command, OnFailure onFailure = giveDefault) const;
    uint32 dword(const Command& command, OnFailure onFailure = giveDefault) const;
    Text text(const Command& command) const;
    Bytes bytes(const Command& command) const;
    Text macText(const Command& command) const;
    void action(const Command& command) const;
    void actionWithZero(const Command& command) const;  ///< with the byte 0 as data

    /// A value that `decode` extracts from the byte stream of the reply; not called without a
    /// stream.
    template <class Result>
    Result stream(const Command& command, Result (*decode)(CDataStream&),
                  OnFailure onFailure = giveDefault) const {
        return guarded(command.name, onFailure, [&] {
            traceEntry(command);
            SipJson record = recordFor(command);
            CDataStream reply;
            const bool read = send(command.name, record, onFailure) && readStream(record, reply);
            return read ? decode(reply) : nothing<Result>();
        });
    }

    /// A text of a component: the class is in the high byte of the extension, the attribute in the
    /// low byte. An invalid date is null.
    Text componentText(const Item& item) const;
    Date componentDate(const Item& item) const;

    // Reading an item of the configuration.
    Setting<uint8> settingByte(const Item& item) const;
    Setting<uint16> settingWord(const Item& item) const;
    Setting<uint32> settingDword(const Item& item) const;
    Setting<boolean> settingFlag(const Item& item) const;
    Setting<sint32> settingNumber(const Item& item) const;  ///< not cut to a width
    Text settingText(const Item& item) const;
    Bytes settingBytes(const Item& item) const;
    Text settingMacText(const Item& item) const;

    // Writing an item of the configuration. A write succeeds only if the reply confirms it.
    void setByte(const Item& item, uint8 value) const;
    void setWord(const Item& item, uint16 value, OnFailure onFailure = throwAsSetter) const;
    void setDword(const Item& item, uint32 value) const;
    void setText(const Item& item, const cimple::String& value) const;

    /// A text without a known command: sends nothing.
    static Text alwaysNull(const char* name);

    // For calls with more than one command.

    /// The client's request. Without a client every request fails.
    [[nodiscard]] int request(SipJson& record) const;
    /// Sends a request; true if the caller should process the reply. A failure is traced or thrown,
    /// as requested.
    [[nodiscard]] bool send(const char* name, SipJson& record, OnFailure onFailure) const;
    /// "Kolm::<name>()" at level 5.
    static void traceEntry(const char* name);
    /// "<name>(): KolmRequest() failed" at level 1.
    static void traceFailure(const char* name);
    /// Throws "<name>(): <what>"; without memory for the message a BaseException without one.
    [[noreturn]] static void raise(const char* name, const char* what);
    /// Extracts the byte stream of a reply; false if there is none.
    static bool readStream(const SipJson& record, CDataStream& stream);

    /// Runs the body of a call. A standard exception that leaves it, usually std::bad_alloc,
    /// becomes the failure of the call. Even a null date needs memory: a call that cannot return
    /// one throws BaseException.
    template <class Body>
    static auto guarded(const char* name, OnFailure onFailure, const Body& body)
        -> decltype(body()) {
        try {
            return body();
        } catch (const std::exception&) {
            fail(name, onFailure);
        }
        try {
            return nothing<decltype(body())>();
        } catch (const std::bad_alloc&) {
            raise(name, "KolmRequest() failed");
        }
    }

  private:
    static SipJson recordFor(const Command& command);
    void perform(const Command& command, bool withZero) const;
    template <class Result>
    Result value(const Command& command, OnFailure onFailure,
                 Result (*decode)(const SipJson&)) const;
    template <class Result>
    Result plainItem(unsigned int opcode, const Item& item, Result (*decode)(const SipJson&)) const;
    template <class Value>
    void write(const Item& item, bool (SipJson::*put)(Value, unsigned int), Value value,
               OnFailure onFailure) const;

    static void traceEntry(const Command& command);
    static void fail(const char* name, OnFailure onFailure);

    provider::KOLMClient* client_;
};

}  // namespace varnock::calls
