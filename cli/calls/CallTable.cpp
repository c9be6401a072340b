#include "cli/calls/CallTable.h"

#include <algorithm>
#include <concepts>
#include <limits>
#include <type_traits>

#include "CIM/Provider/Include/Records.h"
#include "cli/Options.h"
#include "cli/calls/Catalogue.h"
#include "cli/output/Failure.h"
#include "transport/SipJson.h"

namespace varnockctl {
namespace {

using provider::IdentityInfo;
using provider::KOLMCalls;
using provider::KOLMKey;
using provider::LogMessage;
using provider::PciDeviceInfo;
using provider::PowerUsage;
using provider::UmDiffAlternate;
using Calls = KOLMCalls;

template <typename T>
concept Arithmetic = std::is_arithmetic_v<T>;

// Results as JSON. A null property becomes null, an address a list of bytes.

template <Arithmetic T>
Json toJson(T value, JsonAllocator&) {
    if constexpr (std::is_same_v<T, bool>) {
        return Json(value);
    } else if constexpr (sizeof(T) > sizeof(int)) {
        return std::is_signed_v<T> ? Json(static_cast<int64_t>(value))
                                   : Json(static_cast<uint64_t>(value));
    } else if constexpr (std::is_signed_v<T>) {
        return Json(static_cast<int>(value));
    } else {
        return Json(static_cast<unsigned int>(value));
    }
}

Json toJson(const cimple::String& value, JsonAllocator& allocator) {
    return text({value.c_str(), value.size()}, allocator);
}

Json toJson(const cimple::Datetime& value, JsonAllocator& allocator) {
    return toJson(value.ascii(), allocator);
}

Json toJson(const KOLMKey& key, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    add(out, "cabinetNr", Json(key.cabinetNr), allocator);
    add(out, "objectId", Json(key.objectId), allocator);
    add(out, "opCodeExt", Json(key.opCodeExt), allocator);
    return out;
}

Json toJson(const IdentityInfo& info, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    add(out, "name", toJson(info.name, allocator), allocator);
    add(out, "version", toJson(info.version, allocator), allocator);
    add(out, "number", Json(info.number), allocator);
    add(out, "manufacturer", toJson(info.manufacturer, allocator), allocator);
    add(out, "partNumber", toJson(info.partNumber, allocator), allocator);
    add(out, "serialNumber", toJson(info.serialNumber, allocator), allocator);
    add(out, "instanceId", toJson(info.instanceId, allocator), allocator);
    return out;
}

Json toJson(const LogMessage& message, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    add(out, "sequence", Json(message.sequence), allocator);
    add(out, "id", Json(message.id), allocator);
    add(out, "time", toJson(message.time, allocator), allocator);
    add(out, "datetime", toJson(message.datetime, allocator), allocator);
    add(out, "severity", Json(message.severity), allocator);
    add(out, "text", toJson(message.text, allocator), allocator);
    return out;
}

Json toJson(const PowerUsage& usage, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    add(out, "time", toJson(usage.time, allocator), allocator);
    add(out, "average", Json(usage.average), allocator);
    add(out, "minimum", Json(usage.minimum), allocator);
    add(out, "maximum", Json(usage.maximum), allocator);
    return out;
}

Json toJson(const PciDeviceInfo& info, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    add(out, "bus", toJson(info.bus, allocator), allocator);
    add(out, "device", toJson(info.device, allocator), allocator);
    add(out, "function", toJson(info.function, allocator), allocator);
    add(out, "vendorId", toJson(info.vendorId, allocator), allocator);
    add(out, "deviceId", toJson(info.deviceId, allocator), allocator);
    add(out, "subVendorId", toJson(info.subVendorId, allocator), allocator);
    add(out, "subSystemId", toJson(info.subSystemId, allocator), allocator);
    add(out, "revisionId", toJson(info.revisionId, allocator), allocator);
    add(out, "baseClassText", toJson(info.baseClassText, allocator), allocator);
    add(out, "subClassText", toJson(info.subClassText, allocator), allocator);
    add(out, "primaryBus", toJson(info.primaryBus, allocator), allocator);
    add(out, "secondaryBus", toJson(info.secondaryBus, allocator), allocator);
    return out;
}

template <typename T>
Json toJson(const cimple::Array<T>& items, JsonAllocator& allocator) {
    Json out(rapidjson::kArrayType);
    for (size_t i = 0; i < items.size(); ++i) {
        out.PushBack(toJson(items[i], allocator), allocator);
    }
    return out;
}

template <typename T>
Json toJson(const std::vector<T>& items, JsonAllocator& allocator) {
    Json out(rapidjson::kArrayType);
    for (const T& item : items) {
        out.PushBack(toJson(item, allocator), allocator);
    }
    return out;
}

template <typename T>
Json toJson(const cimple::Property<T>& property, JsonAllocator& allocator) {
    return property.null != 0 ? Json() : toJson(property.value, allocator);
}

// Arguments from options.

unsigned int numberOr0(const std::optional<std::string>& given, const char* option) {
    return given ? parseNumber(*given, option) : 0;
}

KOLMKey keyOf(const CallArguments& given) {
    return {numberOr0(given.cabinet, "--cabinet"), numberOr0(given.object, "--object"),
            numberOr0(given.ext, "--ext")};
}

/// The argument of a call with one number; only one of the two options is accepted.
unsigned int numberOf(const CallArguments& given) {
    return given.object ? parseNumber(*given.object, "--object")
                        : numberOr0(given.cabinet, "--cabinet");
}

cimple::String textOf(const CallArguments& given) {
    return cimple::String((given.value ? given.value : given.node)->c_str());
}

/// Calls the function; the result of a call without a return value is true.
template <typename Function>
Json resultOf(Function&& function, JsonAllocator& allocator) {
    if constexpr (std::is_void_v<decltype(function())>) {
        function();
        return Json(true);
    } else {
        return toJson(function(), allocator);
    }
}

// A call, by the signature of its member.

template <typename Result>
Json invoke(Result (Calls::*member)(), Calls& calls, const CallArguments&,
            JsonAllocator& allocator) {
    return resultOf([&] { return (calls.*member)(); }, allocator);
}

template <typename Result>
Json invoke(Result (Calls::*member)(cimple::uint32), Calls& calls, const CallArguments& given,
            JsonAllocator& allocator) {
    return resultOf([&] { return (calls.*member)(numberOf(given)); }, allocator);
}

template <typename Result>
Json invoke(Result (Calls::*member)(const KOLMKey&), Calls& calls, const CallArguments& given,
            JsonAllocator& allocator) {
    return resultOf([&] { return (calls.*member)(keyOf(given)); }, allocator);
}

template <typename Result>
Json invoke(Result (Calls::*member)(const KOLMKey&, UmDiffAlternate), Calls& calls,
            const CallArguments& given, JsonAllocator& allocator) {
    return resultOf([&] { return (calls.*member)(keyOf(given), {}); }, allocator);
}

/// The setters of texts, and the calls for nodes of the status tree, which have names.
template <typename Result>
Json invoke(Result (Calls::*member)(const KOLMKey&, const cimple::String&), Calls& calls,
            const CallArguments& given, JsonAllocator& allocator) {
    return resultOf([&] { return (calls.*member)(keyOf(given), textOf(given)); }, allocator);
}

template <std::unsigned_integral Number>
Json invoke(void (Calls::*member)(const KOLMKey&, Number), Calls& calls, const CallArguments& given,
            JsonAllocator&) {
    const unsigned int number = parseNumber(*given.value, "--value");
    (calls.*member)(keyOf(given), static_cast<Number>(number));
    return Json(true);
}

Json invoke(bool (Calls::*member)(const KOLMKey&, PciDeviceInfo&), Calls& calls,
            const CallArguments& given, JsonAllocator& allocator) {
    PciDeviceInfo info;
    return (calls.*member)(keyOf(given), info) ? toJson(info, allocator) : Json();
}

/// The argument is the JSON text of a record; the result is the reply.
Json invoke(int (Calls::*member)(SipJson&), Calls& calls, const CallArguments& given,
            JsonAllocator& allocator) {
    SipJson record;
    record.Import(given.value->c_str());
    (calls.*member)(record);
    return copyValid(JsonDocument().Parse(record.Export().c_str()), allocator);
}

template <auto member>
Json run(Calls& calls, const CallArguments& given, JsonAllocator& allocator) {
    return invoke(member, calls, given, allocator);
}

template <typename Member>
struct LargestValue {
    static constexpr unsigned int value = 0;
};
template <std::unsigned_integral Number>
struct LargestValue<void (Calls::*)(const KOLMKey&, Number)> {
    static constexpr unsigned int value = std::numeric_limits<Number>::max();
};

constexpr Call kTable[] = {
#define VARNOCK_CALL(name, takes, needs, member, type) \
    Call{name, takes, needs, run<static_cast<type>(&Calls::member)>, LargestValue<type>::value},
#include "catalogue/CallMembers.inc"
#undef VARNOCK_CALL
};

struct OptionText {
    varnock::catalogue::Option flag;
    const char* name;
    std::optional<std::string> CallArguments::*member;
};

constexpr OptionText kOptionTexts[] = {{optionCabinet, "--cabinet", &CallArguments::cabinet},
                                       {optionObject, "--object", &CallArguments::object},
                                       {optionExt, "--ext", &CallArguments::ext},
                                       {optionValue, "--value", &CallArguments::value},
                                       {optionNode, "--node", &CallArguments::node}};

}  // namespace

std::span<const Call> callTable() {
    return kTable;
}

const Call* findTypedCall(std::string_view name) {
    const auto* const found = std::find_if(std::begin(kTable), std::end(kTable),
                                           [&](const Call& call) { return call.name == name; });
    return found != std::end(kTable) ? found : nullptr;
}

const Call& callNamed(const std::string& name) {
    const Call* const call = findTypedCall(name);
    if (call != nullptr) {
        return *call;
    }
    throw Failure(ExitStatus::usage,
                  "no call is named " + name + "; the nearest are " + similarCalls(name));
}

bool takesOption(const Call& call, std::string_view option) {
    return std::none_of(std::begin(kOptionTexts), std::end(kOptionTexts),
                        [&](const OptionText& each) {
                            return option == each.name && (call.takes & each.flag) == 0;
                        });
}

void checkArguments(const Call& call, const CallArguments& arguments) {
    for (const OptionText& option : kOptionTexts) {
        const bool given = (arguments.*option.member).has_value();
        if (given && (call.takes & option.flag) == 0) {
            throw Failure(ExitStatus::usage,
                          std::string(call.name) + " does not take " + option.name);
        }
        if (!given && (call.needs & option.flag) != 0) {
            throw Failure(ExitStatus::usage, std::string(call.name) + " needs " + option.name);
        }
    }
    keyOf(arguments);
    if (call.largestValue != 0) {
        parseNumber(*arguments.value, "--value", call.largestValue);
    }
}

}  // namespace varnockctl
