#include "tests/support/CallTable.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "tests/support/VirtualSlot.h"

namespace varnock::test {

namespace {

using provider::IdentityInfo;
using provider::KOLMCalls;
using provider::KOLMKey;
using provider::LogMessage;
using provider::PciDeviceInfo;
using provider::PowerUsage;
using provider::UmDiffAlternate;

/// Each argument of a call by its type. A number after a key is the value of a setter.
template <class Argument, bool alone>
Argument argument(CallArguments& arguments) {
    if constexpr (std::is_same_v<Argument, const KOLMKey&>) {
        return arguments.key;
    } else if constexpr (std::is_same_v<Argument, const cimple::String&>) {
        return arguments.text;
    } else if constexpr (std::is_same_v<Argument, PciDeviceInfo&>) {
        return arguments.info;
    } else if constexpr (std::is_same_v<Argument, SipJson&>) {
        return *arguments.record;
    } else if constexpr (std::is_same_v<Argument, UmDiffAlternate>) {
        return {};
    } else {
        static_assert(std::is_unsigned_v<Argument>);
        return static_cast<Argument>(alone ? arguments.number : arguments.value);
    }
}

template <class Number>
requires std::is_arithmetic_v<Number> std::string render(Number number) {
    return std::to_string(number);
}
std::string render(bool flag) {
    return flag ? "true" : "false";
}
std::string render(const cimple::String& text) {
    return "'" + std::string(text.c_str()) + "'";
}
std::string render(const cimple::Datetime& date) {
    return date.ascii().c_str();
}
std::string render(const KOLMKey& key) {
    return "(" + std::to_string(key.cabinetNr) + " " + std::to_string(key.objectId) + " " +
           std::to_string(key.opCodeExt) + ")";
}
std::string render(const IdentityInfo& identity) {
    return "{" + render(identity.name) + " " + render(identity.version) + " " +
           render(identity.number) + " " + render(identity.manufacturer) + " " +
           render(identity.partNumber) + " " + render(identity.serialNumber) + " " +
           render(identity.instanceId) + "}";
}
std::string render(const LogMessage& message) {
    return "{" + render(message.sequence) + " " + render(message.id) + " " + render(message.time) +
           " " + render(message.datetime) + " " + render(message.severity) + " " +
           render(message.text) + "}";
}
std::string render(const PowerUsage& usage) {
    return "{" + render(usage.average) + " " + render(usage.minimum) + " " + render(usage.maximum) +
           " " + render(usage.time) + "}";
}
std::string render(const cimple::Array<cimple::uint8>& bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        text += (i == 0 ? "" : " ") + std::to_string(bytes[i]);
    }
    return "[" + text + "]";
}
template <class Item>
std::string render(const std::vector<Item>& items) {
    std::string text;
    for (const Item& item : items) {
        text += (text.empty() ? "" : " ") + render(item);
    }
    return "[" + text + "]";
}
template <class Value>
std::string render(const cimple::Property<Value>& property) {
    return property.null != 0 ? "null" : render(property.value);
}

template <class Result, class... Arguments>
CallEntry entry(std::string_view name, Result (KOLMCalls::*call)(Arguments...)) {
#ifdef VARNOCK_HAS_VIRTUAL_SLOTS
    const std::size_t slot = virtualSlot(call);
#else
    const std::size_t slot = 0;
#endif
    const auto run = [call](KOLMCalls& calls, [[maybe_unused]] CallArguments& arguments) {
        return (calls.*call)(argument<Arguments, sizeof...(Arguments) == 1>(arguments)...);
    };
    const auto invoke = [run](KOLMCalls& calls, CallArguments& arguments) {
        if constexpr (std::is_void_v<Result>) {
            run(calls, arguments);
            return std::string("void");
        } else {
            return render(run(calls, arguments));
        }
    };
    return {name, slot, invoke, run};
}

}  // namespace

const std::vector<CallEntry>& callTable() {
    static const std::vector<CallEntry> table = {
#define VARNOCK_CALL(name, takes, needs, member, type) \
    entry(name, static_cast<type>(&KOLMCalls::member)),
#include "catalogue/CallMembers.inc"
#undef VARNOCK_CALL
    };
    return table;
}

#undef CALL

const CallEntry* findCall(std::string_view name) {
    const std::vector<CallEntry>& table = callTable();
    const auto found = std::find_if(table.begin(), table.end(),
                                    [&](const CallEntry& call) { return call.name == name; });
    return found != table.end() ? &*found : nullptr;
}

}  // namespace varnock::test
