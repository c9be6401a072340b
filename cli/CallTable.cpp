#include "cli/CallTable.h"

#include <algorithm>
#include <concepts>
#include <limits>
#include <type_traits>

#include "CIM/Provider/Include/Records.h"
#include "cli/Failure.h"
#include "cli/Options.h"
#include "transport/SipJson.h"

namespace varnockctl {
namespace {

using Calls = provider::KOLMCalls;
using provider::KOLMKey;
using TextOfKey = cimple::Property<cimple::String> (Calls::*)(const KOLMKey&);
using TextOfAlternate = cimple::Property<cimple::String> (Calls::*)(const KOLMKey&,
                                                                    provider::UmDiffAlternate);

constexpr unsigned int nothing = 0;
constexpr unsigned int cabinet = optionCabinet;
constexpr unsigned int object = optionObject;
constexpr unsigned int ext = optionExt;
constexpr unsigned int anyKey = cabinet | object | ext;

template <typename T>
concept Arithmetic = std::is_arithmetic_v<T>;

// Results as JSON. A null property is null, an address a list of bytes.

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

Json toJson(const provider::IdentityInfo& info, JsonAllocator& allocator) {
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

Json toJson(const provider::LogMessage& message, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    add(out, "sequence", Json(message.sequence), allocator);
    add(out, "id", Json(message.id), allocator);
    add(out, "time", toJson(message.time, allocator), allocator);
    add(out, "datetime", toJson(message.datetime, allocator), allocator);
    add(out, "severity", Json(message.severity), allocator);
    add(out, "text", toJson(message.text, allocator), allocator);
    return out;
}

Json toJson(const provider::PowerUsage& usage, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    add(out, "time", toJson(usage.time, allocator), allocator);
    add(out, "average", Json(usage.average), allocator);
    add(out, "minimum", Json(usage.minimum), allocator);
    add(out, "maximum", Json(usage.maximum), allocator);
    return out;
}

Json toJson(const provider::PciDeviceInfo& info, JsonAllocator& allocator) {
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

// Runs a call that is given as a function of nothing; a call without result answers true.
template <typename Function>
Json resultOf(Function&& function, JsonAllocator& allocator) {
    if constexpr (std::is_void_v<decltype(function())>) {
        function();
        return Json(true);
    } else {
        return toJson(function(), allocator);
    }
}

template <typename Result>
Call row(std::string_view name, Result (Calls::*member)(), unsigned int needs) {
    return {name, nothing, needs,
            [member](Calls& calls, const CallArguments&, JsonAllocator& allocator) {
                return resultOf([&] { return (calls.*member)(); }, allocator);
            }};
}

template <typename Result>
Call row(std::string_view name, Result (Calls::*member)(cimple::uint32), unsigned int needs) {
    const bool byObject = needs == object;
    return {name, byObject ? object : cabinet, needs,
            [=](Calls& calls, const CallArguments& given, JsonAllocator& allocator) {
                const unsigned int number = byObject ? numberOr0(given.object, "--object")
                                                     : numberOr0(given.cabinet, "--cabinet");
                return resultOf([&] { return (calls.*member)(number); }, allocator);
            }};
}

template <typename Result>
Call row(std::string_view name, Result (Calls::*member)(const KOLMKey&), unsigned int needs) {
    return {name, anyKey, needs,
            [member](Calls& calls, const CallArguments& given, JsonAllocator& allocator) {
                return resultOf([&] { return (calls.*member)(keyOf(given)); }, allocator);
            }};
}

Call row(std::string_view name, TextOfAlternate member, unsigned int needs) {
    return {name, anyKey, needs,
            [member](Calls& calls, const CallArguments& given, JsonAllocator& allocator) {
                return toJson((calls.*member)(keyOf(given), {}), allocator);
            }};
}

// The setters of texts and the status tree, whose nodes have names.
template <typename Result>
Call row(std::string_view name, Result (Calls::*member)(const KOLMKey&, const cimple::String&),
         unsigned int needs) {
    const unsigned int option = name.starts_with("set") ? optionValue : optionNode;
    return {
        name, anyKey | option, needs | option,
        [=](Calls& calls, const CallArguments& given, JsonAllocator& allocator) {
            const auto& argument = option == optionValue ? given.value : given.node;
            return resultOf(
                [&] { return (calls.*member)(keyOf(given), cimple::String(argument->c_str())); },
                allocator);
        }};
}

template <std::integral Number>
Call row(std::string_view name, void (Calls::*member)(const KOLMKey&, Number), unsigned int needs) {
    return {name, anyKey | optionValue, needs | optionValue,
            [member](Calls& calls, const CallArguments& given, JsonAllocator&) {
                const unsigned int number = parseNumber(*given.value, "--value");
                (calls.*member)(keyOf(given), static_cast<Number>(number));
                return Json(true);
            },
            std::numeric_limits<Number>::max()};
}

Call row(std::string_view name, bool (Calls::*member)(const KOLMKey&, provider::PciDeviceInfo&),
         unsigned int needs) {
    return {name, anyKey, needs,
            [member](Calls& calls, const CallArguments& given, JsonAllocator& allocator) {
                provider::PciDeviceInfo info;
                return (calls.*member)(keyOf(given), info) ? toJson(info, allocator) : Json();
            }};
}

// The record is given as its JSON text, and the reply is the result.
Call row(std::string_view name, int (Calls::*member)(SipJson&), unsigned int needs) {
    return {name, optionValue, needs | optionValue,
            [member](Calls& calls, const CallArguments& given, JsonAllocator& allocator) {
                SipJson record;
                record.Import(given.value->c_str());
                (calls.*member)(record);
                return copyValid(JsonDocument().Parse(record.Export().c_str()), allocator);
            }};
}

std::vector<Call> makeTable() {
    // clang-format off
    return {
        row("doClearLog", &Calls::doClearLog, cabinet),
        row("doRequestShutdownAndOff", &Calls::doRequestShutdownAndOff, nothing),
        row("doRequestShutdownAndReset", &Calls::doRequestShutdownAndReset, nothing),
        row("doShutdownRequestCancelled", &Calls::doShutdownRequestCancelled, nothing),
        row("getAgentVersion", &Calls::getAgentVersion, cabinet),
        row("getBladeControllerModel", &Calls::getBladeControllerModel, cabinet | object),
        row("getBootCPU", &Calls::getBootCPU, cabinet | object),
        row("getBootTime", &Calls::getBootTime, cabinet),
        row("getCPUBrandName", &Calls::getCPUBrandName, cabinet | object),
        row("getCPUCacheSize", &Calls::getCPUCacheSize, cabinet | object | ext),
        row("getCPUConfigurationStatus", &Calls::getCPUConfigurationStatus, cabinet | object),
        row("getCPUCurrentSpeed", &Calls::getCPUCurrentSpeed, cabinet | object),
        row("getCPUDescription", &Calls::getCPUDescription, cabinet | object),
        row("getCPUFamily", &Calls::getCPUFamily, cabinet | object),
        row("getCPUInstanceID", &Calls::getCPUInstanceID, nothing),
        row("getCPUManufactureDate", &Calls::getCPUManufactureDate, cabinet | object),
        row("getCPUManufacturer", &Calls::getCPUManufacturer, cabinet | object),
        row("getCPUModelName", &Calls::getCPUModelName, cabinet | object),
        row("getCPUName", &Calls::getCPUName, cabinet | object),
        row("getCPUPartNumber", &Calls::getCPUPartNumber, cabinet | object),
        row("getCPUSerialNumber", &Calls::getCPUSerialNumber, cabinet | object),
        row("getCPUSocketDesignation", &Calls::getCPUSocketDesignation, cabinet | object),
        row("getCPUStatus", &Calls::getCPUStatus, cabinet | object),
        row("getCPUStepping", &Calls::getCPUStepping, cabinet | object),
        row("getCPUVersion", &Calls::getCPUVersion, cabinet | object),
        row("getCabNrs", &Calls::getCabNrs, nothing),
        row("getCabinetModel", &Calls::getCabinetModel, cabinet),
        row("getChassisDescription", &Calls::getChassisDescription, cabinet),
        row("getChassisInstanceID", &Calls::getChassisInstanceID, nothing),
        row("getChassisManufactureDate", &Calls::getChassisManufactureDate, cabinet),
        row("getChassisManufacturer", &Calls::getChassisManufacturer, cabinet),
        row("getChassisModel", &Calls::getChassisModel, cabinet),
        row("getChassisName", &Calls::getChassisName, cabinet),
        row("getChassisPartNumber", &Calls::getChassisPartNumber, cabinet),
        row("getChassisSerialNumber", &Calls::getChassisSerialNumber, cabinet),
        row("getChassisVersion", &Calls::getChassisVersion, nothing),
        row("getComponentRelationParent", &Calls::getComponentRelationParent, cabinet | object | ext),
        row("getConfAlarmQORVAId", &Calls::getConfAlarmQORVAId, nothing),
        row("getConfBMCGateway", &Calls::getConfBMCGateway, cabinet),
        row("getConfBMCHttpPort", &Calls::getConfBMCHttpPort, cabinet),
        row("getConfBMCHttpsPort", &Calls::getConfBMCHttpsPort, cabinet),
        row("getConfBMCIpAddr", &Calls::getConfBMCIpAddr, cabinet),
        row("getConfBMCIpv4Enabled", &Calls::getConfBMCIpv4Enabled, cabinet),
        row("getConfBMCIpv6Enabled", &Calls::getConfBMCIpv6Enabled, cabinet),
        row("getConfBMCMACAddr", &Calls::getConfBMCMACAddr, cabinet),
        row("getConfBMCNetmask", &Calls::getConfBMCNetmask, cabinet),
        row("getConfBMCSshPort", &Calls::getConfBMCSshPort, cabinet),
        row("getConfBMCTelnetPort", &Calls::getConfBMCTelnetPort, cabinet),
        row("getConfBMCUseDHCP", &Calls::getConfBMCUseDHCP, cabinet),
        row("getConfBmcIpv6Address", &Calls::getConfBmcIpv6Address, cabinet),
        row("getConfBmcIpv6AddressPrefixLength", &Calls::getConfBmcIpv6AddressPrefixLength, cabinet | object),
        row("getConfBmcIpv6AddressType", &Calls::getConfBmcIpv6AddressType, cabinet | object),
        row("getConfBmcIpv6GatewayAddress", &Calls::getConfBmcIpv6GatewayAddress, cabinet | object),
        row("getConfBmcIpv6NumberOfAddresses", &Calls::getConfBmcIpv6NumberOfAddresses, cabinet),
        row("getConfBmcIpv6StaticAddrSrc", &Calls::getConfBmcIpv6StaticAddrSrc, cabinet | object),
        row("getConfCIMRecordLogLanguage", &Calls::getConfCIMRecordLogLanguage, cabinet),
        row("getConfCabinetLocation", &Calls::getConfCabinetLocation, nothing),
        row("getConfCriticalTempThresh", &Calls::getConfCriticalTempThresh, cabinet | object),
        row("getConfDisableFanTest", &Calls::getConfDisableFanTest, nothing),
        row("getConfErrorOffRestartTime", &Calls::getConfErrorOffRestartTime, nothing),
        row("getConfFanDailyTestTime", &Calls::getConfFanDailyTestTime, nothing),
        row("getConfFanFailBehavior", &Calls::getConfFanFailBehavior, cabinet | object),
        row("getConfFanFailShutdownDelay", &Calls::getConfFanFailShutdownDelay, cabinet | object),
        row("getConfMessageLogNoWrap", &Calls::getConfMessageLogNoWrap, cabinet | object),
        row("getConfNextBootSource", &Calls::getConfNextBootSource, nothing),
        row("getConfPSUNumberRequired", &Calls::getConfPSUNumberRequired, nothing),
        row("getConfPSURedundancyMode", &Calls::getConfPSURedundancyMode, nothing),
        row("getConfPowerLimitModePeriod", &Calls::getConfPowerLimitModePeriod, cabinet | object),
        row("getConfPowerLimitModeThreshold", &Calls::getConfPowerLimitModeThreshold, cabinet | object),
        row("getConfRebootRetryCountResetDelay", &Calls::getConfRebootRetryCountResetDelay, nothing),
        row("getConfRebootRetryCounter", &Calls::getConfRebootRetryCounter, nothing),
        row("getConfRetryCounterMax", &Calls::getConfRetryCounterMax, nothing),
        row("getConfRetryZeroAction", &Calls::getConfRetryZeroAction, nothing),
        row("getConfServerAssetTag", &Calls::getConfServerAssetTag, nothing),
        row("getConfServerMgmtIpAddress", &Calls::getConfServerMgmtIpAddress, nothing),
        row("getConfSysShutdownStartDelay", &Calls::getConfSysShutdownStartDelay, nothing),
        row("getConfSystemContact", &Calls::getConfSystemContact, nothing),
        row("getConfSystemName", &Calls::getConfSystemName, nothing),
        row("getConfTempCriticalBehavior", &Calls::getConfTempCriticalBehavior, cabinet | object),
        row("getConfTimeZone", &Calls::getConfTimeZone, nothing),
        row("getConfWarningTempThresh", &Calls::getConfWarningTempThresh, cabinet | object),
        row("getConfWatchdogBehavior", &Calls::getConfWatchdogBehavior, cabinet | object),
        row("getConfWatchdogEnable", &Calls::getConfWatchdogEnable, cabinet | object),
        row("getConfWatchdogPresent", &Calls::getConfWatchdogPresent, cabinet | object),
        row("getConfWatchdogTime", &Calls::getConfWatchdogTime, cabinet | object),
        row("getControllerCardKeys", &Calls::getControllerCardKeys, cabinet),
        row("getControllerComponentID", &Calls::getControllerComponentID, cabinet | object | ext),
        row("getControllerLocationKey", &Calls::getControllerLocationKey, cabinet | object | ext),
        row("getControllerModel", &Calls::getControllerModel, nothing),
        row("getCpuApicId", &Calls::getCpuApicId, cabinet | object),
        row("getCpuMultithreadEnabled", &Calls::getCpuMultithreadEnabled, cabinet | object),
        row("getCpuUsage", &Calls::getCpuUsage, cabinet | object | ext),
        row("getCurrentFanSpeed", &Calls::getCurrentFanSpeed, cabinet | object),
        row("getCurrentTemperature", &Calls::getCurrentTemperature, cabinet | object),
        row("getCurrentVoltage", &Calls::getCurrentVoltage, cabinet | object),
        row("getDeviceInfoReadBusConfig", &Calls::getDeviceInfoReadBusConfig, cabinet | object),
        row("getDrvMonComponentStatusByAddress", &Calls::getDrvMonComponentStatusByAddress, cabinet),
        row("getDrvMonEventId", &Calls::getDrvMonEventId, cabinet | object),
        row("getDrvMonEventMessageText", &Calls::getDrvMonEventMessageText, cabinet | object | ext),
        row("getDrvMonEventSeverity", &Calls::getDrvMonEventSeverity, cabinet | object),
        row("getDrvMonEventTimestamp", &Calls::getDrvMonEventTimestamp, cabinet | object),
        row("getDrvMonNumberEvents", &Calls::getDrvMonNumberEvents, cabinet),
        row("getElementDescription", &Calls::getElementDescription, cabinet | object | ext),
        row("getElementInstanceID", &Calls::getElementInstanceID, cabinet | object | ext),
        row("getElementManufactureDate", &Calls::getElementManufactureDate, cabinet | object | ext),
        row("getElementManufacturer", &Calls::getElementManufacturer, cabinet | object | ext),
        row("getElementName", &Calls::getElementName, cabinet | object | ext),
        row("getElementPartNumber", &Calls::getElementPartNumber, cabinet | object | ext),
        row("getElementSerialNumber", &Calls::getElementSerialNumber, cabinet | object | ext),
        row("getElementVersion", &Calls::getElementVersion, cabinet | object | ext),
        row("getEnabledLogicalCPUsPerPhysical", &Calls::getEnabledLogicalCPUsPerPhysical, cabinet | object),
        row("getFanDescription", &Calls::getFanDescription, cabinet | object),
        row("getFanDesignation", &Calls::getFanDesignation, cabinet | object),
        row("getFanInstanceID", &Calls::getFanInstanceID, nothing),
        row("getFanManufacturerDate", &Calls::getFanManufacturerDate, cabinet | object),
        row("getFanManufacturer", &Calls::getFanManufacturer, cabinet | object),
        row("getFanName", &Calls::getFanName, cabinet | object),
        row("getFanPartNumber", &Calls::getFanPartNumber, cabinet | object),
        row("getFanQuality", &Calls::getFanQuality, cabinet | object),
        row("getFanSerialNumber", &Calls::getFanSerialNumber, cabinet | object),
        row("getFanStatus", &Calls::getFanStatus, cabinet | object),
        row("getFanVersion", &Calls::getFanVersion, cabinet | object),
        row("getFrontDoorStatus", &Calls::getFrontDoorStatus, nothing),
        row("getGetPhysicalCpuNr", &Calls::getGetPhysicalCpuNr, cabinet | object),
        row("getHousingOpenStatus", &Calls::getHousingOpenStatus, nothing),
        row("getIdentificationAdminURLIpv4", &Calls::getIdentificationAdminURLIpv4, nothing),
        row("getIdentificationAdminURLIpv6", &Calls::getIdentificationAdminURLIpv6, nothing),
        row("getIdentificationAdminURLasFQDN", &Calls::getIdentificationAdminURLasFQDN, nothing),
        row("getIdentificationCabinetNumber", &Calls::getIdentificationCabinetNumber, nothing),
        row("getIdentificationCabinetType", &Calls::getIdentificationCabinetType, cabinet),
        row("getIdentificationChassisCabinetNumber", &Calls::getIdentificationChassisCabinetNumber, cabinet),
        row("getIdentificationParentGateway", &Calls::getIdentificationParentGateway, cabinet),
        row("getIdentificationParentIpAddress", &Calls::getIdentificationParentIpAddress, cabinet),
        row("getIdentificationParentMacAddress", &Calls::getIdentificationParentMacAddress, cabinet | object),
        row("getIdentificationParentNetmask", &Calls::getIdentificationParentNetmask, cabinet),
        row("getIdentificationParentUseDHCP", &Calls::getIdentificationParentUseDHCP, cabinet),
        row("getIdentityInfo", &Calls::getIdentityInfo, cabinet),
        row("getLANControllers", &Calls::getLANControllers, cabinet),
        row("getLVDExtenders", &Calls::getLVDExtenders, cabinet),
        row("getLocationKey", &Calls::getLocationKey, nothing),
        row("getLogAvailable", &Calls::getLogAvailable, cabinet),
        row("getLogMessageActionSummary", &Calls::getLogMessageActionSummary, cabinet | ext),
        row("getLogMessageCauseRead", &Calls::getLogMessageCauseRead, cabinet | ext),
        row("getLogMessageNrEntries", &Calls::getLogMessageNrEntries, cabinet),
        row("getLogMessageReadChunk", &Calls::getLogMessageReadChunk, cabinet | object | ext),
        row("getLogMessageResolutionRead", &Calls::getLogMessageResolutionRead, cabinet | ext),
        row("getLogMessageTextLanguages", &Calls::getLogMessageTextLanguages, cabinet),
        row("getLogicalCPUsPerPhysical", &Calls::getLogicalCPUsPerPhysical, cabinet | object),
        row("getMMBServiceProcessorContainerDescription", &Calls::getMMBServiceProcessorContainerDescription, cabinet | object),
        row("getMMBServiceProcessorContainerInstanceID", &Calls::getMMBServiceProcessorContainerInstanceID, nothing),
        row("getMMBServiceProcessorContainerManufactureDate", &Calls::getMMBServiceProcessorContainerManufactureDate, cabinet | object),
        row("getMMBServiceProcessorContainerManufacturer", &Calls::getMMBServiceProcessorContainerManufacturer, cabinet | object),
        row("getMMBServiceProcessorContainerModel", &Calls::getMMBServiceProcessorContainerModel, cabinet | object),
        row("getMMBServiceProcessorContainerName", &Calls::getMMBServiceProcessorContainerName, cabinet | object),
        row("getMMBServiceProcessorContainerPartNumber", &Calls::getMMBServiceProcessorContainerPartNumber, cabinet | object),
        row("getMMBServiceProcessorContainerSerialNumber", &Calls::getMMBServiceProcessorContainerSerialNumber, cabinet | object),
        row("getMMBServiceProcessorContainerVersion", &Calls::getMMBServiceProcessorContainerVersion, cabinet | object),
        row("getManagementControllerStatus", &Calls::getManagementControllerStatus, nothing),
        row("getMaxNumberLogEntries", &Calls::getMaxNumberLogEntries, cabinet),
        row("getMemoryModuleApproved", &Calls::getMemoryModuleApproved, cabinet | object),
        row("getMemoryModuleConfiguration", &Calls::getMemoryModuleConfiguration, cabinet | object),
        row("getMemoryModuleDescription", &Calls::getMemoryModuleDescription, cabinet | object),
        row("getMemoryModuleFormFactor", &Calls::getMemoryModuleFormFactor, cabinet | object),
        row("getMemoryModuleFrequency", &Calls::getMemoryModuleFrequency, cabinet | object),
        row("getMemoryModuleFrequencyMax", &Calls::getMemoryModuleFrequencyMax, cabinet | object),
        row("getMemoryModuleInstanceID", &Calls::getMemoryModuleInstanceID, nothing),
        row("getMemoryModuleManufactureDate", &Calls::getMemoryModuleManufactureDate, cabinet | object),
        row("getMemoryModuleManufacturer", &Calls::getMemoryModuleManufacturer, cabinet | object),
        row("getMemoryModuleName", &Calls::getMemoryModuleName, cabinet | object),
        row("getMemoryModulePartNumber", &Calls::getMemoryModulePartNumber, cabinet | object),
        row("getMemoryModuleSerialNumber", &Calls::getMemoryModuleSerialNumber, cabinet | object),
        row("getMemoryModuleSize", &Calls::getMemoryModuleSize, cabinet | object),
        row("getMemoryModuleSocketDesignation", &Calls::getMemoryModuleSocketDesignation, cabinet | object),
        row("getMemoryModuleStatus", &Calls::getMemoryModuleStatus, cabinet | object),
        row("getMemoryModuleType", &Calls::getMemoryModuleType, cabinet | object),
        row("getMemoryModuleVersion", &Calls::getMemoryModuleVersion, cabinet | object),
        row("getMemoryModuleVoltage", &Calls::getMemoryModuleVoltage, cabinet | object),
        row("getNetworkInfoIfDefaultGateway", &Calls::getNetworkInfoIfDefaultGateway, cabinet | object | ext),
        row("getNetworkInfoIfIpAddress", &Calls::getNetworkInfoIfIpAddress, cabinet | object | ext),
        row("getNetworkInfoIfIpSubnetMask", &Calls::getNetworkInfoIfIpSubnetMask, cabinet | object | ext),
        row("getNetworkInfoIfMacAddress", &Calls::getNetworkInfoIfMacAddress, cabinet | object),
        row("getNetworkInfoIfUseDHCP", &Calls::getNetworkInfoIfUseDHCP, cabinet | object),
        row("getNetworkInfoNumberInterfaces", &Calls::getNetworkInfoNumberInterfaces, cabinet),
        row("getNumberBladeControllers", &Calls::getNumberBladeControllers, cabinet),
        row("getNumberCPUs", &Calls::getNumberCPUs, cabinet),
        row("getNumberCoresPerPhysicalCPU", &Calls::getNumberCoresPerPhysicalCPU, cabinet | object),
        row("getNumberCpuCoresEnabled", &Calls::getNumberCpuCoresEnabled, cabinet | object),
        row("getNumberFans", &Calls::getNumberFans, cabinet),
        row("getNumberLogicalCPUs", &Calls::getNumberLogicalCPUs, cabinet),
        row("getNumberMMBServiceProcessorContainers", &Calls::getNumberMMBServiceProcessorContainers, cabinet),
        row("getNumberMemoryModules", &Calls::getNumberMemoryModules, cabinet),
        row("getNumberMicroControllers", &Calls::getNumberMicroControllers, cabinet),
        row("getNumberPowerSupplies", &Calls::getNumberPowerSupplies, cabinet),
        row("getNumberServiceProcessorContainers", &Calls::getNumberServiceProcessorContainers, cabinet),
        row("getNumberSystemBoards", &Calls::getNumberSystemBoards, cabinet),
        row("getNumberTempSensors", &Calls::getNumberTempSensors, cabinet),
        row("getNumberVoltages", &Calls::getNumberVoltages, cabinet),
        row("getOSProductName", &Calls::getOSProductName, cabinet),
        row("getOSVersion", &Calls::getOSVersion, cabinet),
        row("getOperatingSystemDMTFType", &Calls::getOperatingSystemDMTFType, cabinet),
        row("getPciBusInfoDeviceList", &Calls::getPciBusInfoDeviceList, cabinet),
        row("getPowerConsumptionComponentDesignation", &Calls::getPowerConsumptionComponentDesignation, cabinet | object | ext),
        row("getPowerConsumptionCurrentValue", &Calls::getPowerConsumptionCurrentValue, cabinet | object | ext),
        row("getPowerConsumptionLimitStatus", &Calls::getPowerConsumptionLimitStatus, cabinet | object | ext),
        row("getPowerConsumptionNumberClassComponents", &Calls::getPowerConsumptionNumberClassComponents, cabinet | ext),
        row("getPowerConsumptionSupportedComponentClasses", &Calls::getPowerConsumptionSupportedComponentClasses, cabinet),
        row("getPowerSupplyDescription", &Calls::getPowerSupplyDescription, cabinet | object),
        row("getPowerSupplyDesignation", &Calls::getPowerSupplyDesignation, cabinet | object),
        row("getPowerSupplyInstanceID", &Calls::getPowerSupplyInstanceID, nothing),
        row("getPowerSupplyLoad", &Calls::getPowerSupplyLoad, cabinet | object),
        row("getPowerSupplyManufactureDate", &Calls::getPowerSupplyManufactureDate, cabinet | object),
        row("getPowerSupplyManufacturer", &Calls::getPowerSupplyManufacturer, cabinet | object),
        row("getPowerSupplyModel", &Calls::getPowerSupplyModel, cabinet | object),
        row("getPowerSupplyName", &Calls::getPowerSupplyName, cabinet | object),
        row("getPowerSupplyNominal", &Calls::getPowerSupplyNominal, cabinet | object),
        row("getPowerSupplyPartNumber", &Calls::getPowerSupplyPartNumber, cabinet | object),
        row("getPowerSupplyRedundancyConfigurationStatus", &Calls::getPowerSupplyRedundancyConfigurationStatus, nothing),
        row("getPowerSupplyRedundancyThresholdStatus", &Calls::getPowerSupplyRedundancyThresholdStatus, nothing),
        row("getPowerSupplySerialNumber", &Calls::getPowerSupplySerialNumber, cabinet | object),
        row("getPowerSupplyStatus", &Calls::getPowerSupplyStatus, cabinet | object),
        row("getPowerSupplyVersion", &Calls::getPowerSupplyVersion, cabinet | object),
        row("getSCSIControllers", &Calls::getSCSIControllers, cabinet),
        row("getServiceProcessorContainerDescription", &Calls::getServiceProcessorContainerDescription, cabinet | object),
        row("getServiceProcessorContainerInstanceID", &Calls::getServiceProcessorContainerInstanceID, nothing),
        row("getServiceProcessorContainerManufactureDate", &Calls::getServiceProcessorContainerManufactureDate, cabinet | object),
        row("getServiceProcessorContainerManufacturer", &Calls::getServiceProcessorContainerManufacturer, cabinet | object),
        row("getServiceProcessorContainerModel", &Calls::getServiceProcessorContainerModel, cabinet | object),
        row("getServiceProcessorContainerName", &Calls::getServiceProcessorContainerName, cabinet | object),
        row("getServiceProcessorContainerPartNumber", &Calls::getServiceProcessorContainerPartNumber, cabinet | object),
        row("getServiceProcessorContainerSerialNumber", &Calls::getServiceProcessorContainerSerialNumber, cabinet | object),
        row("getServiceProcessorContainerVersion", &Calls::getServiceProcessorContainerVersion, cabinet | object),
        row("getStatusTreeNodeAssociationKey", &Calls::getStatusTreeNodeAssociationKey, cabinet),
        row("getStatusTreeNodeCSSStatus", &Calls::getStatusTreeNodeCSSStatus, cabinet),
        row("getStatusTreeNodeDesignation", &Calls::getStatusTreeNodeDesignation, cabinet),
        row("getStatusTreeNodeGELStatus", &Calls::getStatusTreeNodeGELStatus, cabinet),
        row("getStatusTreeNodeGetChild", &Calls::getStatusTreeNodeGetChild, cabinet | object),
        row("getStatusTreeNodeIsCSS", &Calls::getStatusTreeNodeIsCSS, cabinet),
        row("getStatusTreeNodeNrChildren", &Calls::getStatusTreeNodeNrChildren, cabinet),
        row("getStatusTreeSystemStatus", &Calls::getStatusTreeSystemStatus, nothing),
        row("getSystemBoardDescription", &Calls::getSystemBoardDescription, cabinet | object),
        row("getSystemBoardDesignation", &Calls::getSystemBoardDesignation, cabinet | object),
        row("getSystemBoardInstanceID", &Calls::getSystemBoardInstanceID, nothing),
        row("getSystemBoardManufactureDate", &Calls::getSystemBoardManufactureDate, cabinet | object),
        row("getSystemBoardManufacturer", &Calls::getSystemBoardManufacturer, cabinet | object),
        row("getSystemBoardModel", &Calls::getSystemBoardModel, cabinet | object),
        row("getSystemBoardName", &Calls::getSystemBoardName, cabinet | object),
        row("getSystemBoardPartNumber", &Calls::getSystemBoardPartNumber, cabinet | object),
        row("getSystemBoardSerialNumber", &Calls::getSystemBoardSerialNumber, cabinet | object),
        row("getSystemBoardVersion", &Calls::getSystemBoardVersion, cabinet | object),
        row("getSystemShutdownStatus", &Calls::getSystemShutdownStatus, nothing),
        row("getSystemTime", &Calls::getSystemTime, cabinet),
        row("getSystemUUID", &Calls::getSystemUUID, nothing),
        row("getTempSensorDesignation", &Calls::getTempSensorDesignation, cabinet | object),
        row("getTempSensorPurpose", &Calls::getTempSensorPurpose, cabinet | object),
        row("getTempSensorStatus", &Calls::getTempSensorStatus, cabinet | object),
        row("getUmDiffApplicableErrorTxt", &Calls::getUmDiffApplicableErrorTxt, cabinet | object),
        row("getUmDiffApplicableStatus", &Calls::getUmDiffApplicableStatus, cabinet | object),
        row("getUmDiffBinaryLoaded", &Calls::getUmDiffBinaryLoaded, cabinet | object),
        row("getUmDiffComponentId", &Calls::getUmDiffComponentId, cabinet | object),
        row("getUmDiffComponentSubType@0x3306", static_cast<TextOfAlternate>(&Calls::getUmDiffComponentSubType), cabinet | object),
        row("getUmDiffComponentPath", &Calls::getUmDiffComponentPath, cabinet | object),
        row("getUmDiffComponentSubType", static_cast<TextOfKey>(&Calls::getUmDiffComponentSubType), cabinet | object),
        row("getUmDiffComponentType", &Calls::getUmDiffComponentType, cabinet | object),
        row("getUmDiffComponentVersion", &Calls::getUmDiffComponentVersion, cabinet | object),
        row("getUmDiffDownloadSize", &Calls::getUmDiffDownloadSize, cabinet | object),
        row("getUmDiffInstallDuration", &Calls::getUmDiffInstallDuration, cabinet | object),
        row("getUmDiffInstalledVersion", &Calls::getUmDiffInstalledVersion, cabinet | object),
        row("getUmDiffIsMandatoryComponent", &Calls::getUmDiffIsMandatoryComponent, cabinet | object),
        row("getUmDiffMinStepVersion", &Calls::getUmDiffMinStepVersion, cabinet | object),
        row("getUmDiffNumberComponents", &Calls::getUmDiffNumberComponents, cabinet),
        row("getUmDiffPreRequisitesText", &Calls::getUmDiffPreRequisitesText, cabinet | object),
        row("getUmDiffRabVersion", &Calls::getUmDiffRabVersion, cabinet | object),
        row("getUmDiffRebootRequired", &Calls::getUmDiffRebootRequired, cabinet | object),
        row("getUmDiffReleaseNotes", &Calls::getUmDiffReleaseNotes, cabinet | object),
        row("getUmDiffRepos2InstRanking", &Calls::getUmDiffRepos2InstRanking, cabinet | object),
        row("getUmDiffUpdateVendorSeverity", &Calls::getUmDiffUpdateVendorSeverity, cabinet | object),
        row("getUmDiffVendor", &Calls::getUmDiffVendor, cabinet | object),
        row("getUmInstalledComponentSubType", &Calls::getUmInstalledComponentSubType, cabinet | object),
        row("getUmInstalledComponentType", &Calls::getUmInstalledComponentType, cabinet | object),
        row("getUmInstalledComponentVersion", &Calls::getUmInstalledComponentVersion, cabinet | object),
        row("getUmInstalledNumberComponents", &Calls::getUmInstalledNumberComponents, cabinet),
        row("getUmInstalledPCIId", &Calls::getUmInstalledPCIId, cabinet | object),
        row("getUmInstalledRABVersion", &Calls::getUmInstalledRABVersion, cabinet | object),
        row("getUmServerConfigCheckStatus", &Calls::getUmServerConfigCheckStatus, cabinet),
        row("getUmServerLastCheckTime", &Calls::getUmServerLastCheckTime, cabinet),
        row("getUmServerStatus", &Calls::getUmServerStatus, nothing),
        row("getUmServerUpdateCheckErrorCode", &Calls::getUmServerUpdateCheckErrorCode, cabinet),
        row("getUmServerUpdateCheckLogFile", &Calls::getUmServerUpdateCheckLogFile, cabinet),
        row("getUmServerUpdateCheckStatus", &Calls::getUmServerUpdateCheckStatus, cabinet),
        row("getUtilizationHistorySystemPowerConsumption", &Calls::getUtilizationHistorySystemPowerConsumption, ext),
        row("getUtilizationSystemMemory", &Calls::getUtilizationSystemMemory, object),
        row("getVoltageDesignation", &Calls::getVoltageDesignation, cabinet | object),
        row("getVoltageNominal", &Calls::getVoltageNominal, cabinet | object),
        row("getVoltageStatus", &Calls::getVoltageStatus, cabinet | object),
        row("getVoltageThresholds", &Calls::getVoltageThresholds, cabinet | object),
        row("getWANControllers", &Calls::getWANControllers, cabinet),
        row("openControllerCardSession", &Calls::openControllerCardSession, cabinet),
        row("passThroughRequest", &Calls::passThroughRequest, nothing),
        row("setConfAlarmQORVAId", &Calls::setConfAlarmQORVAId, nothing),
        row("setConfCIMRecordLogLanguage", &Calls::setConfCIMRecordLogLanguage, cabinet),
        row("setConfCabinetLocation", &Calls::setConfCabinetLocation, nothing),
        row("setConfDisableFanTest", &Calls::setConfDisableFanTest, nothing),
        row("setConfErrorOffRestartTime", &Calls::setConfErrorOffRestartTime, nothing),
        row("setConfFanDailyTestTime", &Calls::setConfFanDailyTestTime, nothing),
        row("setConfFanFailBehavior", &Calls::setConfFanFailBehavior, cabinet | object),
        row("setConfFanFailShutdownDelay", &Calls::setConfFanFailShutdownDelay, cabinet | object),
        row("setConfNextBootSource", &Calls::setConfNextBootSource, nothing),
        row("setConfRebootRetryCountResetDelay", &Calls::setConfRebootRetryCountResetDelay, nothing),
        row("setConfRebootRetryCounter", &Calls::setConfRebootRetryCounter, nothing),
        row("setConfRetryCounterMax", &Calls::setConfRetryCounterMax, nothing),
        row("setConfRetryZeroAction", &Calls::setConfRetryZeroAction, nothing),
        row("setConfServerAssetTag", &Calls::setConfServerAssetTag, nothing),
        row("setConfServerMgmtIpAddress", &Calls::setConfServerMgmtIpAddress, nothing),
        row("setConfSysShutdownStartDelay", &Calls::setConfSysShutdownStartDelay, nothing),
        row("setConfSystemContact", &Calls::setConfSystemContact, nothing),
        row("setConfTempCriticalBehavior", &Calls::setConfTempCriticalBehavior, cabinet | object),
    };
    // clang-format on
}

struct OptionText {
    CallOption flag;
    const char* name;
    std::optional<std::string> CallArguments::*member;
};

constexpr OptionText optionTexts[] = {{optionCabinet, "--cabinet", &CallArguments::cabinet},
                                      {optionObject, "--object", &CallArguments::object},
                                      {optionExt, "--ext", &CallArguments::ext},
                                      {optionValue, "--value", &CallArguments::value},
                                      {optionNode, "--node", &CallArguments::node}};

}  // namespace

const std::vector<Call>& callTable() {
    static const std::vector<Call> table = makeTable();
    return table;
}

const Call* findTypedCall(std::string_view name) {
    const auto& table = callTable();
    const auto found = std::find_if(table.begin(), table.end(),
                                    [&](const Call& call) { return call.name == name; });
    return found != table.end() ? &*found : nullptr;
}

ScanUse scanUse(std::string_view name) {
    for (const char* list : {"getLANControllers", "getSCSIControllers", "getWANControllers",
                             "getControllerComponentID", "getControllerLocationKey"}) {
        if (name == list) {
            return ScanUse::always;
        }
    }
    return name.starts_with("getElement") ? ScanUse::forControllers : ScanUse::none;
}

void checkArguments(const Call& call, const CallArguments& arguments) {
    for (const OptionText& option : optionTexts) {
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
